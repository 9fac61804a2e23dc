// ApplicationFinder.h - the two questions that a master asks, and their answers.
//
//   const tesker::ApplicationFinder finder([] {});
//   const tesker::NSString text = finder.findAppsInSearchPath("/Applications"_ns, nullptr);
//
// An answer is the text of the encoded records (RecordEncoding.h), or nil when it equals the text
// of the last answer, which the question brings along (nil when there is none).
//
// A file that is not there or may not be read is passed over without a word. Where anything else
// keeps a file or directory from being read, and where there is more than one search answers, the
// rest is answered and a line that begins with kIncompleteLine is logged. A lack of memory or of
// descriptors ends the search: std::bad_alloc and std::system_error pass.
#pragma once

#include "finding/WalkOptions.h"
#include "parsing/RecordEncoding.h"
#include "platform/foundation/NSString.h"

#include <functional>
#include <utility>
#include <vector>

namespace tesker {

class ApplicationFinder {
public:
  // checkMasterStillAlive is called before every status of a path and every listing, and for each
  // path that names nothing that could be searched; it returns while there is anyone to search for.
  explicit ApplicationFinder(std::function<void()> checkMasterStillAlive, SearchBounds bounds = {},
                             WalkOptions options = {})
      : checkMasterStillAlive_(std::move(checkMasterStillAlive)), bounds_(bounds),
        options_(options) {}

  // The applications at the path or below it. An exception that a parser raises for the path itself
  // passes.
  [[nodiscard]] NSString findAppsInSearchPath(const NSString &path, const NSString &previous) const;
  // The same for several paths, in their order.
  [[nodiscard]] NSString findAppsForDockPaths(const std::vector<NSString> &paths,
                                              const NSString &previous) const;

private:
  std::function<void()> checkMasterStillAlive_;
  SearchBounds bounds_;
  WalkOptions options_;
};

} // namespace tesker
