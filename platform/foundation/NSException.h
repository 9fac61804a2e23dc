// NSException.h - what "raises" means.
//
// An NSException is thrown by value and caught only where a caller is described to handle it.
// Ordinary failures are results, not exceptions.
#pragma once

#include <exception>
#include <string>

namespace tesker {

class NSException : public std::exception {
public:
  NSException(std::string name, std::string reason)
      : name_(std::move(name)), reason_(std::move(reason)) {}

  const std::string &name() const { return name_; }
  const std::string &reason() const { return reason_; }
  // The reason, for handlers that know only std::exception.
  const char *what() const noexcept override { return reason_.c_str(); }

private:
  std::string name_;
  std::string reason_;
};

// Names of the exceptions that the foundation itself raises.
inline constexpr const char *NSGenericException = "NSGenericException";
inline constexpr const char *NSInvalidArgumentException = "NSInvalidArgumentException";
inline constexpr const char *NSRangeException = "NSRangeException";
inline constexpr const char *NSParseErrorException = "NSParseErrorException";

} // namespace tesker
