// RecordEncoding.h - the text that carries all records of a search.
//
// The text is a list of pieces with one NUL byte between neighbours. All pieces but the last are
// the object pool: every distinct key and value of all records, as its description, once each, in
// the order in which they are first met. The last piece is the index list: "(" numbers ")",
// lower-case hexadecimal with commas between, namely the number of records and then for each record
// its number of pairs followed by the pool index of the key and of the value of each pair. Within a
// record the keys go from the last to the first in byte order.
//
//   type|app|path|/Apps/Edit.app|name|Edit|/Apps/Mail|(2,3,0,1,2,3,4,5,2,0,1,2,6)
//
// (NUL written as a bar) is {type = app; path = "/Apps/Edit.app"; name = Edit; } and
// {type = app; path = "/Apps/Mail"; }.
//
// Nothing is escaped: a key or value that holds a NUL corrupts the text. Values that are not
// strings travel as their descriptions, and the reader yields every value as a string.
#pragma once

#include "filesystem/TeskerObjectTable.h"
#include "parsing/TKLine.h"
#include "platform/foundation/NSString.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// What one search answers at most, so that no tree of files can fill the memory: some hundred times
// what a desktop with all its applications has. The text of a record is that of its keys and
// values, before they share what is equal.
inline constexpr std::size_t kMostRecords = 1'000'000;
inline constexpr std::size_t kMostRecordText = std::size_t{512} << 20;

// What a search answers at most.
struct SearchBounds {
  std::size_t records = kMostRecords;
  std::size_t text = kMostRecordText; // bytes
};

// How every log line begins that says that an answer is not all there is.
inline constexpr std::string_view kIncompleteLine = "*** Applications Finder: incomplete: ";
// And every one that names a directory that was left out, since it leads back to one above it.
inline constexpr std::string_view kSkippedLinkLine =
    "*** Applications Finder: skipped, for it leads back to ";

// Makes the text of records that come one by one. It keeps none of them, only the strings that they
// are made of, each once.
class RecordEncoder {
public:
  void add(const TKLine &record);
  // The text for all records so far, after which the encoder is used up.
  [[nodiscard]] NSString text() &&;

private:
  // One key of the last record: where its pair stands, and its pool index once that is known.
  struct Key {
    NSString key;
    std::ptrdiff_t place;
    std::optional<std::size_t> index;
  };

  bool hasKeysOfLast(const TKLine &record) const;
  void sortKeys(const TKLine &record);
  void addNumber(std::size_t number);
  std::size_t indexOf(const Ref<NSObject> &object);

  RefPtr<TeskerObjectTable> table_ = TeskerObjectTable::create();
  std::vector<Key> keys_;
  // The pool and the index list, written side by side; the list without its number of records.
  std::string pool_;
  std::string indexes_;
  std::size_t records_ = 0;
};

// The text for the records; "(0)" for none.
[[nodiscard]] NSString encodeParsedApp(const Records &records);

// The records, made in the zone, that the text holds: none for empty text, nothing when it is
// malformed. An index that points outside the pool is logged, "==== Applications Finder: '%s'
// yielded %d"; other malformed text gives nothing without a message. Numbers after the last record
// are ignored. The index list may be any property list with an array of strings as long as it has
// no more than kLargestForeignList bytes; beyond that only what encodeParsedApp writes is read.
[[nodiscard]] std::optional<Records> decodeParsedApp(const NSString &text, NSZone &zone);
inline constexpr std::size_t kLargestForeignList = std::size_t{1} << 20;

// The value of lower-case hexadecimal digits, modulo 2 to the 32nd. No character is refused: any
// byte that is not a decimal digit counts as its value minus 87. Kept: upper-case digits therefore
// yield wrong values rather than an error, and writers have to use lower case.
[[nodiscard]] std::uint32_t decodeHexInt(std::string_view digits);

} // namespace tesker
