// HintReader.h - hints of a master, out of the bytes that come (parsing/ReadAheadHints.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace tesker {

class HintReader {
public:
  // A hint is not longer than two paths may be; a longer one is passed over.
  static constexpr std::size_t kLongestHint = 8192;

  struct Listener {
    std::function<void(std::string_view path)> searchPath;
    std::function<void(std::uint64_t entries, std::string_view directory)> progress;
  };

  explicit HintReader(Listener listener) : listener_(std::move(listener)) {}

  // Tells the listener of each hint that is whole now.
  void take(std::string_view bytes);

private:
  void tell(std::string_view hint) const;

  Listener listener_;
  std::string begun_; // of a hint whose end has not come yet
  bool isTooLong_ = false;
};

} // namespace tesker
