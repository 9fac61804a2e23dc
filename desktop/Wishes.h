// Wishes.h - how far a verb may go.
#pragma once

namespace tesker {

struct Wishes {
  bool change = true; // false: nothing is, and the outcome is what would be done
  bool remove = true; // what it has made and is no longer wanted
};

} // namespace tesker
