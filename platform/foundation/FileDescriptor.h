// FileDescriptor.h - a descriptor with an owner.
#pragma once

#include "platform/foundation/OperatingSystem.h"

#include <utility>

namespace tesker {

// Closes its descriptor, if it has one, when it goes. Moves, never copies.
class FileDescriptor {
public:
  FileDescriptor() = default;
  // Owns the descriptor from now on; negative means none.
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor &&other) noexcept : descriptor_(other.release()) {}
  FileDescriptor &operator=(FileDescriptor &&other) noexcept {
    if (this != &other) {
      reset();
      descriptor_ = other.release();
    }
    return *this;
  }
  FileDescriptor(const FileDescriptor &) = delete;
  FileDescriptor &operator=(const FileDescriptor &) = delete;
  ~FileDescriptor() { reset(); }

  explicit operator bool() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }
  // Gives the descriptor up without closing it; negative when there was none.
  int release() { return std::exchange(descriptor_, -1); }
  void reset() {
    if (descriptor_ >= 0)
      OperatingSystem::current().close(release());
  }

private:
  int descriptor_ = -1;
};

} // namespace tesker
