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
// Nothing is escaped: a key or value that holds a NUL corrupts the text. Values that are no strings
// travel as their descriptions, and the reader yields every value as a string.
#pragma once

#include "platform/foundation/NSArray.h"
#include "platform/foundation/NSString.h"

#include <cstdint>
#include <string_view>

namespace tesker {

// The text for an array of dictionaries (as a rule TKLines); "(0)" for an empty one. Elements that
// are no dictionaries raise NSInvalidArgumentException.
[[nodiscard]] Ref<NSString> encodeParsedApp(const NSArray &records);

// The records (TKLines in the zone) that the text holds: an empty array for empty text, nil when it
// is malformed. An index that points outside the pool is logged, "==== Applications Finder: '%s'
// yielded %d"; other malformed text gives nil without a message. Numbers after the last record are
// ignored.
[[nodiscard]] RefPtr<NSMutableArray> decodeParsedApp(const NSString &text, NSZone &zone);

// The value of lower-case hexadecimal digits, modulo 2 to the 32nd. No character is refused: any
// byte that is no decimal digit counts as its value minus 87, so upper-case digits yield wrong
// values on purpose and writers have to use lower case.
[[nodiscard]] std::uint32_t decodeHexInt(std::string_view digits);

} // namespace tesker
