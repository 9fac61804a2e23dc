// Result.h - what can fail and says why: the value, or the number of the error.
//
//   const Result<FileImage> image = FileImage::open(path);
//   if (!image)
//     return image.failure();
//   use(*image);
#pragma once

#include <cassert>
#include <optional>
#include <utility>

namespace tesker {

// Why something could not be done: an errno, unless a function says otherwise. Never 0.
struct Failure {
  int error;
};

template <class T = void> class [[nodiscard]] Result {
public:
  Result(T value) : value_(std::move(value)) {}
  Result(Failure failure) : error_(failure.error) { assert(error_ != 0); }

  explicit operator bool() const { return value_.has_value(); }
  T &operator*() { return *value_; }
  const T &operator*() const { return *value_; }
  T *operator->() { return &*value_; }
  const T *operator->() const { return &*value_; }
  // 0 when there is a value.
  int error() const { return error_; }
  // Precondition: there is no value.
  Failure failure() const { return {error_}; }

private:
  std::optional<T> value_;
  int error_ = 0;
};

// What gives nothing but may fail.
template <> class [[nodiscard]] Result<void> {
public:
  Result() = default;
  Result(Failure failure) : error_(failure.error) { assert(error_ != 0); }

  explicit operator bool() const { return error_ == 0; }
  int error() const { return error_; }
  Failure failure() const { return {error_}; }

private:
  int error_ = 0;
};

} // namespace tesker
