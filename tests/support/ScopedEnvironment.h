// ScopedEnvironment.h - an environment variable that is as it was afterwards.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace tesker::test {

class ScopedEnvironment {
public:
  // Sets the variable; nil unsets it.
  ScopedEnvironment(const char *variable, const char *value) : variable_(variable) {
    if (const char *before = std::getenv(variable))
      before_ = before;
    set(value);
  }
  ScopedEnvironment(const char *variable, const std::string &value)
      : ScopedEnvironment(variable, value.c_str()) {}
  ~ScopedEnvironment() { set(before_ ? before_->c_str() : nullptr); }
  ScopedEnvironment(const ScopedEnvironment &) = delete;
  ScopedEnvironment &operator=(const ScopedEnvironment &) = delete;

private:
  void set(const char *value) const {
    if (value != nullptr)
      ::setenv(variable_, value, 1);
    else
      ::unsetenv(variable_);
  }

  const char *variable_;
  std::optional<std::string> before_;
};

} // namespace tesker::test
