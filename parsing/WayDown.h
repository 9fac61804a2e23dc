// WayDown.h - the directories that a search is in at the moment, so that none is entered twice.
//
// A link can lead back to a directory above it. Followed, it leads in a circle until the system
// refuses the path, and where two such links meet, for longer than anybody waits. A search that is
// told to leaves such a directory out: what is in it is being searched already. Directories are
// told apart by device and inode, which their attributes have.
#pragma once

#include "filesystem/DirectoryListing.h"

#include <vector>

namespace tesker {

class WayDown {
public:
  // A directory, which is borrowed, is on the way while this lives; nothing where way is nil.
  class Step {
  public:
    Step(WayDown *way, const Entry &directory) : way_(way) {
      if (way_ != nullptr)
        way_->directories_.push_back(&directory);
    }
    ~Step() {
      if (way_ != nullptr)
        way_->directories_.pop_back();
    }
    Step(const Step &) = delete;
    Step &operator=(const Step &) = delete;

  private:
    WayDown *way_;
  };

  // Whether the directory is on the way. If so that is logged, in a line that begins with
  // kSkippedLinkLine, and it is the verdict on the entry.
  [[nodiscard]] bool leadsBack(const Entry &directory) const;

private:
  std::vector<const Entry *> directories_; // from the outermost to the innermost
};

} // namespace tesker
