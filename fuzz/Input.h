// Input.h - a fuzzer's input, taken piece by piece from its beginning.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

class Input {
public:
  Input(const std::uint8_t *data, std::size_t size)
      : left_(reinterpret_cast<const char *>(data), size) {}
  explicit Input(std::string_view bytes) : left_(bytes) {}

  bool isEmpty() const { return left_.empty(); }
  std::string_view rest() const { return left_; }

  // At most so many bytes: what there is.
  std::string_view take(std::size_t count) {
    const std::string_view taken = left_.substr(0, count);
    left_.remove_prefix(taken.size());
    return taken;
  }
  // 0 when there is none.
  std::uint8_t byte() {
    const std::string_view taken = take(1);
    return taken.empty() ? 0 : static_cast<std::uint8_t>(taken.front());
  }
  // What stands before the separator, or all there is; the separator is passed over.
  std::string_view upTo(char separator) {
    const std::string_view taken = take(std::min(left_.find(separator), left_.size()));
    take(1);
    return taken;
  }

private:
  std::string_view left_;
};
