// KeyedHash.h - hashes that nobody outside of the process can foretell.
//
// File names and the contents of application files are chosen by others. With a hash that they
// could compute, they could choose thousands of texts for one place of a table, and every look-up
// would walk over all of them. So the hash (SipHash-1-3) depends on a key that is the process's
// own: hashes are good for tables that live in this process and must not be written down or sent.
//
// Any thread may ask.
#pragma once

#include <cstddef>
#include <string_view>

namespace tesker {

// The hash of the bytes, the same for equal bytes as long as the process lives.
[[nodiscard]] std::size_t keyedHash(std::string_view bytes);

// The hash of two hashes, in that order; for objects made of others.
[[nodiscard]] std::size_t keyedHash(std::size_t first, std::size_t second);

} // namespace tesker
