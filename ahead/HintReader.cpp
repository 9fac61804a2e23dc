#include "ahead/HintReader.h"

#include "parsing/ReadAheadHints.h"

#include <charconv>

namespace tesker {

void HintReader::take(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find(kHintEnd);
    const std::string_view part = bytes.substr(0, end);
    isTooLong_ = isTooLong_ || part.size() > kLongestHint - begun_.size();
    if (!isTooLong_)
      begun_ += part;
    if (end == std::string_view::npos)
      return;
    if (!isTooLong_)
      tell(begun_);
    begun_.clear();
    isTooLong_ = false;
    bytes.remove_prefix(end + 1);
  }
}

void HintReader::tell(std::string_view hint) const {
  if (hint.size() < 2 || hint[1] != ' ')
    return;
  const std::string_view rest = hint.substr(2);
  if (hint[0] == kSearchPathHint)
    return listener_.searchPath(rest);
  std::uint64_t entries = 0;
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), entries);
  const std::string_view behind = rest.substr(static_cast<std::size_t>(end - rest.data()));
  if (hint[0] == kProgressHint && error == std::errc() && behind.starts_with(' '))
    listener_.progress(entries, behind.substr(1));
}

} // namespace tesker
