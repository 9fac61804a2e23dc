// TreeMutator.cpp - changes the property lists of the files in a described tree (Tree.h) as lists
// (ListMutator.h), and the tree by whole entries.
#include "fuzz/ListMutator.h"

#include <algorithm>
#include <cstdint>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t most);

namespace {

constexpr char kBetweenEntries = '\xFF';

// Everything from behind the line feed on. What stands before the first entry goes with it.
std::string withOtherContents(std::string_view entry, ListMutator &mutator) {
  const std::size_t head = std::min(entry.find('\n'), entry.size() - 1) + 1;
  return std::string(entry.substr(0, head)) + mutator.mutated(entry.substr(head));
}

std::string mutatedTree(std::string_view tree, ListMutator &mutator) {
  const std::size_t place = mutator.pick(tree.size());
  const std::size_t before = tree.rfind(kBetweenEntries, place);
  const std::size_t start = before == std::string_view::npos ? 0 : before + 1;
  const std::size_t end = std::min(tree.find(kBetweenEntries, start), tree.size());
  const std::string_view entry = tree.substr(start, end - start);
  std::string text(tree);
  if (entry.empty() || (start > 0 && mutator.pick(8) == 0))
    return text.erase(start, entry.size() + 1);
  if (start > 0 && mutator.pick(8) == 0)
    return text.append(1, kBetweenEntries).append(entry);
  return text.replace(start, entry.size(), withOtherContents(entry, mutator));
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t most, unsigned seed) {
  ListMutator mutator(seed);
  if (size == 0 || mutator.pick(2) == 0) // names and headers, the usual way
    return LLVMFuzzerMutate(data, size, most);
  const std::string tree =
      mutatedTree(std::string_view(reinterpret_cast<const char *>(data), size), mutator);
  return tree.copy(reinterpret_cast<char *>(data), most);
}
