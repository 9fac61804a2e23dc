// ApplicationWalk.h - from a path to the records of every application at it or below it.
//
// What is met is judged by its attributes: an executable goes to the icon-header parser, a wrapper
// (a directory named *.app, *.debug or *.profile) to the wrapper parser, and any other directory is
// walked, without the names that begin with "." or end in "~". Links are judged by what they lead
// to. Whatever goes wrong with one entry skips that entry, without a message.
//
// The walk has no depth limit, and unless it is told to (WalkOptions) it does not look for cycles:
// a link to one of its own ancestors is followed each time it is met, until the system refuses the
// path (ELOOP, ENAMETOOLONG). It keeps one directory open, never more. A Judge is told of every
// entry (parsing/Judgement.h).
#pragma once

#include "filesystem/DirectoryListing.h"
#include "finding/WalkOptions.h"
#include "parsing/Judgement.h"
#include "parsing/RecordEncoding.h"
#include "parsing/WayDown.h"

#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace tesker {

class ApplicationWalk {
public:
  // checkMasterStillAlive is called before every status of a path and every listing, and for each
  // path that names nothing that could be searched; it returns while there is anyone to search for.
  explicit ApplicationWalk(std::function<void()> checkMasterStillAlive, SearchBounds bounds = {},
                           WalkOptions options = {})
      : checkMasterStillAlive_(std::move(checkMasterStillAlive)), bounds_(bounds),
        progress_(options.progress), stop_(options.stop), encoder_(options.encoder),
        skipsLinkCycles_(options.skipsLinkCycles) {}

  // Each adds what it finds to the lines, or hands it to the encoder that it was given. An
  // exception that a parser raises for one of the paths themselves passes.
  void doForPaths(const std::vector<NSString> &paths);
  // Follows links; nothing when the path cannot be examined, is relative or has no last name.
  void doForPath(const NSString &path);
  void doForPathInfo(const Entry &entry);

  // The records so far, in the order of the walk; none where an encoder takes them.
  const Records &lines() const { return lines_; }
  // Whether the walk has ended early, since there are more records than the bounds admit.
  bool isFull() const { return isFull_; }

private:
  // What the pair leads to, or nothing; `otherwise` is the verdict where there is nothing.
  std::optional<Entry> followed(const NSString &dir, const NSString &file,
                                JudgementCode otherwise) const;
  void walkDirectory(const Entry &directory);
  void doForListed(const NSString &path, DirectoryListing &listing, std::size_t index,
                   const NSFileAttributes &attributes);
  void add(std::optional<Records> found);
  // Whether to leave out what comes.
  bool hasToStop();

  std::function<void()> checkMasterStillAlive_;
  SearchBounds bounds_;
  ProgressMeter *progress_; // nil where nobody asks
  StopRequest *stop_;       // nil where nobody can
  RecordEncoder *encoder_;  // nil where the lines keep the records
  bool skipsLinkCycles_;
  WayDown way_; // empty where cycles are followed
  std::size_t linksOnTheWay_ = 0;
  Records lines_;
  std::size_t records_ = 0;    // that were found
  std::size_t textLength_ = 0; // of these
  bool isFull_ = false;
};

} // namespace tesker
