#include "finding/ApplicationFinder.h"

#include "finding/ApplicationWalk.h"
#include "finding/StopRequest.h"
#include "parsing/RecordEncoding.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/ReadFailures.h"

#include <cstring>
#include <string>
#include <utility>

namespace tesker {

namespace {

void logIncomplete(std::string_view why, std::initializer_list<std::string_view> arguments) {
  syslogError(std::string(kIncompleteLine).append(why), arguments);
}

void logWhatIsMissing(const ApplicationWalk &walk, const SearchBounds &bounds,
                      const ReadFailures &failures) {
  if (walk.isFull())
    logIncomplete("more than %d records, or %d bytes in them",
                  {std::to_string(bounds.records), std::to_string(bounds.text)});
  if (failures.count() > 0)
    logIncomplete("%d times something could not be read, first: %s",
                  {std::to_string(failures.count()), std::strerror(failures.firstError())});
}

} // namespace

NSString ApplicationFinder::findAppsInSearchPath(const NSString &path,
                                                 const NSString &previous) const {
  return findAppsForDockPaths({path}, previous);
}

NSString ApplicationFinder::findAppsForDockPaths(const std::vector<NSString> &paths,
                                                 const NSString &previous) const {
  const ReadFailures failures;
  RecordEncoder encoder;
  WalkOptions options = options_;
  options.encoder = &encoder;
  ApplicationWalk walk(checkMasterStillAlive_, bounds_, options);
  {
    const LogBound bound; // which what is missing must not fall under
    walk.doForPaths(paths);
  }
  logWhatIsMissing(walk, bounds_, failures);
  const NSString text = std::move(encoder).text();
  // A part is never called unchanged: it says nothing of the rest.
  const bool isPart = options_.stop != nullptr && options_.stop->wasObeyed();
  if (isPart)
    logIncomplete("the search was stopped", {});
  return text == previous && !isPart ? nullptr : text;
}

} // namespace tesker
