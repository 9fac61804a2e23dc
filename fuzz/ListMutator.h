// ListMutator.h - changes a property list where it tells: a value, a pair or an element as a whole,
// how deep it is nested, how it is quoted, what kind it is. About half of what is left is a
// property list, the rest nearly one.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

class ListMutator {
public:
  explicit ListMutator(unsigned seed) : random_(seed) {}

  // The list with one change.
  std::string mutated(std::string_view list);
  // A number below the count, which is not 0.
  std::size_t pick(std::size_t count) { return random_() % count; }

private:
  // Where a value stands, a key among them.
  struct Place {
    std::size_t start, end;
    std::size_t length() const { return end - start; }
  };

  static std::vector<Place> valuesOf(std::string_view list);
  static Place elementAt(std::string_view list, Place value);
  std::string otherWriting(std::string_view value);
  std::string nested(std::string_view value);
  std::string quoted(std::string_view value);

  std::minstd_rand random_;
};
