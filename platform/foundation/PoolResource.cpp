#include "platform/foundation/PoolResource.h"

#include <new>
#include <utility>

namespace tesker {

PoolResource::~PoolResource() {
  while (chunks_ != nullptr)
    below_.deallocate(std::exchange(chunks_, chunks_->before), kChunkSize, kUnit);
}

void *PoolResource::do_allocate(std::size_t bytes, std::size_t alignment) {
  if (!isPooled(bytes, alignment))
    return below_.allocate(bytes, alignment);
  const std::size_t units = unitsOf(bytes);
  FreeBlock *&first = free_[units];
  return first != nullptr ? std::exchange(first, first->next) : carve(units * kUnit);
}

void PoolResource::do_deallocate(void *block, std::size_t bytes, std::size_t alignment) {
  if (isPooled(bytes, alignment))
    putOnFreeList(block, unitsOf(bytes));
  else
    below_.deallocate(block, bytes, alignment);
}

void *PoolResource::carve(std::size_t size) {
  if (restSize_ < size)
    takeChunk();
  restSize_ -= size;
  return std::exchange(rest_, rest_ + size);
}

void PoolResource::takeChunk() {
  void *memory = below_.allocate(kChunkSize, kUnit); // first of all, for it may raise
  // Too small for what is asked for now, the rest of the chunk before is a block for another time.
  if (restSize_ != 0)
    putOnFreeList(rest_, restSize_ / kUnit);
  chunks_ = new (memory) Chunk{chunks_};
  rest_ = static_cast<std::byte *>(memory) + sizeof(Chunk);
  restSize_ = kChunkSize - sizeof(Chunk);
}

void PoolResource::putOnFreeList(void *block, std::size_t units) noexcept {
  free_[units] = new (block) FreeBlock{free_[units]};
}

} // namespace tesker
