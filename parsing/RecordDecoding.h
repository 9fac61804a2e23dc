// RecordDecoding.h - the records back out of the text that carries them, one at a time. What others
// call is in RecordEncoding.h.
//
// The sender of the text may be hostile. What reading it takes beside the records themselves is at
// most about twice the text: numbers are read where they stand, and a piece of the pool becomes a
// string when a record first wants it, the same bytes for all.
#pragma once

#include "parsing/RecordEncoding.h"
#include "platform/foundation/NSString.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// The pieces of the pool, found by their numbers.
class PoolTexts {
public:
  // The pool with a NUL behind every piece; borrowed.
  explicit PoolTexts(std::string_view pool);
  std::size_t count() const { return count_; }
  // Precondition: the index is below the count.
  const NSString &at(std::size_t index) {
    const auto &block = strings_[index / kBlock];
    return block && (*block)[index % kBlock] ? (*block)[index % kBlock] : make(index);
  }

private:
  // Where every fourth piece begins: in between a look is cheaper than the memory.
  static constexpr std::size_t kStride = 4;
  static constexpr std::size_t kBlock = 512;
  using Block = std::array<NSString, kBlock>;

  const NSString &make(std::size_t index);
  std::string_view pieceAt(std::size_t index);

  std::string_view pool_;
  std::size_t count_ = 0;
  std::vector<std::uint32_t> starts_;
  // The piece behind the one that was last looked for, which is wanted next as a rule.
  struct {
    std::size_t index = 0;
    std::size_t start = 0;
  } following_;
  std::vector<std::unique_ptr<Block>> strings_; // made as they are wanted
};

// The numbers of the index list, one after the other. They are read where they stand while the list
// has the form in which it is written: digits with single commas between them. At the first byte of
// another form, which any property list of strings may have, it is written out in that form first.
class IndexNumbers {
public:
  // The list's bytes; borrowed. Every method that goes through it raises an NSException where it
  // finds that they are not a list that may be read.
  explicit IndexNumbers(std::string_view list);
  // The next one. Raises when there is none left.
  std::uint32_t next();
  // Takes all that are left.
  void checkRest();
  // How many there can be at most from here on.
  std::size_t most() const { return rest_.size() / 2 + 1; }
  // The same numbers from the first on.
  void rewind();
  // How many have been taken.
  std::size_t taken() const { return taken_; }
  // The number's text, as it stands in the list.
  NSString tokenAt(std::size_t place) const;

private:
  std::uint32_t nextOfAnotherForm();
  void rewrite();

  std::string_view list_;
  std::string rewritten_; // a list in another form, in the plain one
  std::string_view plain_;
  std::string_view rest_;
  std::size_t taken_ = 0;
};

// All methods raise an NSException where the text is malformed; a bad index is logged first.
class RecordReader {
public:
  // The text is borrowed; not empty.
  RecordReader(std::string_view text, NSZone &zone);

  // How many records are announced.
  std::uint32_t count() const { return count_; }
  // The next record; nothing after the last.
  std::optional<TKLine> next();
  // Goes through the rest as next() does, without making records, and back to the first.
  void check();

private:
  struct IndexPair {
    std::size_t key;
    std::size_t value;
  };
  IndexPair nextPair();
  [[noreturn]] void refuse(std::size_t place, std::uint32_t number);

  NSZone &zone_;
  IndexNumbers numbers_;
  PoolTexts texts_;
  std::uint32_t count_;
  std::uint32_t read_ = 0;
};

} // namespace tesker
