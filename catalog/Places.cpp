#include "catalog/Places.h"

namespace tesker {

namespace {

std::string_view withoutSlashes(std::string_view path) {
  while (path.ends_with('/'))
    path.remove_suffix(1);
  return path;
}

} // namespace

void Places::add(std::string_view path) {
  path = withoutSlashes(path);
  if (!haveOneAtOrAbove(path))
    paths_.emplace(path);
}

bool Places::areConcernedBy(std::string_view mountPoint) const {
  const std::string_view path = withoutSlashes(mountPoint);
  return haveOneAtOrAbove(path) || areBelow(path);
}

bool Places::areBelow(std::string_view path) const {
  const std::string prefix = std::string(path) + "/";
  const auto next = paths_.lower_bound(prefix);
  return next != paths_.end() && next->starts_with(prefix);
}

bool Places::haveOneAtOrAbove(std::string_view path) const {
  for (;;) {
    if (paths_.contains(path))
      return true;
    if (path.empty())
      return false;
    path = path.substr(0, path.rfind('/')); // a canonical path has one
  }
}

} // namespace tesker
