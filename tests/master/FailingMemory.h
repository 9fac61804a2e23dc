// FailingMemory.h - the memory of this process runs out on demand, for the libraries too.
#pragma once

#include <cstddef>

namespace tesker::test {

// While it lives, the request of that number for memory, counted from here and from 1, is refused;
// or that one and all after it.
class FailingMemory {
public:
  enum class Which { one, allFromThen };
  FailingMemory(std::size_t number, Which which);
  ~FailingMemory();
  FailingMemory(const FailingMemory &) = delete;
  FailingMemory &operator=(const FailingMemory &) = delete;

  // Whether a request has been refused yet.
  bool hasHappened() const;
};

} // namespace tesker::test
