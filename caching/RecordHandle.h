// RecordHandle.h - a reference to file attributes in four bytes.
//
// The attribute cache keeps two references and a link in each of its many entries, which have to
// fit 20 bytes (DirFileStatEntry.h); on a 64-bit machine two pointers alone take 16. A handle is
// the number of a slot in one table of the process, and the slot holds the pointer: resolving is
// one indexed read. The slot belongs to the handle, and with it one reference on the attributes;
// destroying or replacing the handle gives both back, and the slot goes to the next handle made.
// Handle 0 is nil and has no slot. The table grows to the largest number of handles in use at one
// time and stays so.
//
// Threading: one thread.
#pragma once

#include "filesystem/TSStatMethods.h"

#include <cstdint>
#include <utility>

namespace tesker {

class RecordHandle {
public:
  RecordHandle() = default;
  // Takes a slot for the record, none for nil. Raises std::bad_alloc when there is no room.
  explicit RecordHandle(RefPtr<NSFileAttributes> record);
  RecordHandle(RecordHandle &&other) noexcept : slot_(std::exchange(other.slot_, 0)) {}
  RecordHandle &operator=(RecordHandle &&other) noexcept {
    std::swap(slot_, other.slot_);
    return *this;
  }
  ~RecordHandle();

  // The record, borrowed; nil for handle 0.
  NSFileAttributes *get() const;

private:
  std::uint32_t slot_ = 0;
};

} // namespace tesker
