#include "master/AnswerReading.h"

#include <algorithm>

namespace tesker {

namespace {

// So much, or so many, between two looks at the clock.
constexpr std::size_t kBytesInARow = std::size_t{1} << 20;
constexpr std::size_t kRecordsInARow = 64;

} // namespace

bool AnswerReading::readUntil(const Deadline &pause) {
  const std::string_view bytes = text_.bytes();
  answer_.text.reserve(bytes.size());
  while (answer_.text.size() < bytes.size()) {
    answer_.text += bytes.substr(answer_.text.size(), kBytesInARow);
    if (answer_.text.size() < bytes.size() && pause.passed())
      return false;
  }
  while (std::optional<SearchRecord> record = encoded_.next()) {
    answer_.records.push_back(std::move(*record));
    if (answer_.records.size() % kRecordsInARow == 0 && pause.passed())
      return false;
  }
  return true;
}

} // namespace tesker
