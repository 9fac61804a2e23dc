// Places.h - canonical paths, of which it is asked whether a mount changes what is there. Internal
// to the catalog.
#pragma once

#include <set>
#include <string>
#include <string_view>

namespace tesker {

class Places {
public:
  void add(std::string_view path);
  // Whether what is mounted there lies at one of the paths, or above or below it.
  [[nodiscard]] bool areConcernedBy(std::string_view mountPoint) const;

private:
  bool areBelow(std::string_view path) const;
  bool haveOneAtOrAbove(std::string_view path) const;

  std::set<std::string, std::less<>> paths_; // "" is the root
};

} // namespace tesker
