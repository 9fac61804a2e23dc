// NearWords.h - the known word that a mistyped one may have been meant to be.
//
// Pure functions, for any thread. ASCII letters count as equal whatever their case.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace tesker {

// How many bytes have to be put in, left out, replaced, or exchanged with their neighbour to make
// one word of the other. Words of more than 64 bytes are as far apart as they are long.
[[nodiscard]] std::size_t distanceOfWords(std::string_view a, std::string_view b);

// The known word that is nearest, the first of several; empty when none is near: one slip away, or
// two where the known word has six letters and more. A word that is known itself is near none.
[[nodiscard]] std::string_view nearestWord(std::string_view word,
                                           std::span<const std::string_view> known);

} // namespace tesker
