// PropertyListMutator.cpp - changes an input that is a property list as one (ListMutator.h).
#include "fuzz/ListMutator.h"

#include <cstdint>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t most);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t most, unsigned seed) {
  ListMutator mutator(seed);
  if (mutator.pick(3) == 0) // now and then the usual way, which knows the dictionary
    return LLVMFuzzerMutate(data, size, most);
  const std::string list =
      mutator.mutated(std::string_view(reinterpret_cast<const char *>(data), size));
  return list.copy(reinterpret_cast<char *>(data), most);
}
