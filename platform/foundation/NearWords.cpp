#include "platform/foundation/NearWords.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>

namespace tesker {

namespace {

constexpr std::size_t kLongestWord = 64;
constexpr std::size_t kLettersOfALongWord = 6;

} // namespace

std::size_t distanceOfWords(std::string_view a, std::string_view b) {
  if (std::max(a.size(), b.size()) > kLongestWord)
    return std::max(a.size(), b.size());
  // rows[i % 3][j]: the distance of the first i bytes of a and the first j of b.
  std::array<std::array<std::size_t, kLongestWord + 1>, 3> rows;
  for (std::size_t i = 0; i <= a.size(); ++i) {
    auto &row = rows[i % 3];
    const auto &last = rows[(i + 2) % 3];
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        row[j] = i + j;
        continue;
      }
      const auto same = [&](std::size_t x, std::size_t y) {
        return withoutCase(a[x - 1]) == withoutCase(b[y - 1]);
      };
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same(i, j) ? 0U : 1U)});
      if (i > 1 && j > 1 && same(i, j - 1) && same(i - 1, j))
        row[j] = std::min(row[j], rows[(i + 1) % 3][j - 2] + 1);
    }
  }
  return rows[a.size() % 3][b.size()];
}

std::string_view nearestWord(std::string_view word, std::span<const std::string_view> known) {
  std::string_view nearest;
  std::size_t least = kLongestWord;
  if (word.empty() || std::ranges::find(known, word) != known.end())
    return nearest;
  for (const std::string_view candidate : known) {
    const std::size_t distance = distanceOfWords(word, candidate);
    if (distance <= (candidate.size() < kLettersOfALongWord ? 1U : 2U) && distance < least) {
      least = distance;
      nearest = candidate;
    }
  }
  return nearest;
}

} // namespace tesker
