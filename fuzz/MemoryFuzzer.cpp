// MemoryFuzzer.cpp - a heap that has no memory when the input says so: blocks of a zone, a property
// list, a pool and a log line. What raises changes nothing and leaves nothing behind.
//
// The input begins with the number of the allocation that fails, and with whether all after it fail
// too and what is tried.
#include "fuzz/Check.h"
#include "fuzz/Input.h"
#include "fuzz/Silence.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/PoolResource.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListDescription.h"
#include "tests/support/AllocationCount.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory_resource>
#include <new>

using namespace tesker;

namespace {

// Each filled with a byte of its own.
class Blocks {
public:
  explicit Blocks(std::pmr::memory_resource &memory) : memory_(memory) {}
  ~Blocks() {
    for (Block &block : blocks_)
      giveBack(block);
  }
  Blocks(const Blocks &) = delete;
  Blocks &operator=(const Blocks &) = delete;

  // Takes a block in the place, or gives back the one that stands there.
  void change(std::size_t place, std::size_t size, std::size_t alignment) {
    Block &block = blocks_[place % blocks_.size()];
    if (block.bytes != nullptr)
      return giveBack(block);
    try {
      const auto fill = static_cast<unsigned char>(place);
      block = {static_cast<unsigned char *>(memory_.allocate(size, alignment)), size, alignment,
               fill};
      std::fill_n(block.bytes, size, fill);
    } catch (const std::bad_alloc &) {
      check(block.bytes == nullptr);
    }
  }

private:
  struct Block {
    unsigned char *bytes = nullptr;
    std::size_t size = 0, alignment = 0;
    unsigned char fill = 0;
  };

  void giveBack(Block &block) {
    if (block.bytes == nullptr)
      return;
    check(std::all_of(block.bytes, block.bytes + block.size,
                      [&](unsigned char byte) { return byte == block.fill; }));
    memory_.deallocate(block.bytes, block.size, block.alignment);
    block = {};
  }

  std::pmr::memory_resource &memory_;
  std::array<Block, 64> blocks_;
};

void tryBlocks(std::pmr::memory_resource &memory, Input input) {
  check(memory.is_equal(memory) && !memory.is_equal(*std::pmr::new_delete_resource()));
  Blocks blocks(memory);
  while (!input.isEmpty()) {
    const std::size_t place = input.byte(), size = input.byte();
    blocks.change(place, place < 64 ? size : size * 32, place % 8 == 0 ? 64 : 8);
  }
}

void tryZones(NSZone &zone, Input input) {
  const std::size_t inUse = zone.bytesInUse();
  const unsigned which = input.byte() % 3;
  if (which == 0)
    tryBlocks(zone, input);
  if (which == 1)
    tryBlocks(NSDefaultMallocZone(), input);
  PoolResource pool(NSDefaultMallocZone());
  if (which == 2)
    tryBlocks(pool, input);
  check(zone.bytesInUse() == inUse);
}

// Of no kind that lists are made of, so that only its description says what it is.
void tryPool(const NSObject &value) {
  const auto array = NSArray::create();
  {
    const auto pool = NSAutoreleasePool::create();
    NSAutoreleasePool::addObject(array);
    check(array->retainCount() == 2 && !pool->isEqual(*array) && pool->hash() == pool->hash());
    array->addObject(NSString::create(pool->description().bytes()).object());
  }
  check(array->retainCount() == 1 && !array->isEqual(value));
}

void tryList(std::string_view text) {
  try {
    const auto value = propertyList(text);
    NSLog("%@ %s", {text, value->description().bytes()});
    tryPool(*value);
    const auto only = descriptionOnly(*value);
    check(value->description() == only->description() || value->asString());
    if (const NSDictionary *pairs = value->asDictionary()) {
      auto copy = NSDictionary::create();
      copy->addEntriesFromDictionary(*pairs);
      check(copy->isEqual(*pairs));
    }
  } catch (const std::bad_alloc &) {
  } catch (const NSException &exception) {
    check(exception.name() == NSParseErrorException);
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  silenceLogs();
  static NSZone &pooled = NSCreateZone(0, 0);
  static const bool isWarm = (tryList("(a)"), true); // what is made once is kept
  check(isWarm);
  Input input(data, size);
  const std::size_t number = input.byte();
  const unsigned choice = input.byte();
  using Failing = test::FailingAllocation;
  const Failing failing(number, choice >= 128 ? Failing::Which::allFromThen : Failing::Which::one);
  if (choice % 2 == 0) {
    tryZones(pooled, input);
  } else {
    const std::size_t before = test::blocksInUse;
    tryList(input.rest());
    check(test::blocksInUse == before);
  }
  return 0;
}
