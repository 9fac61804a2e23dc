// CheckFindings.h - what is wrong with a description, as a compiler says it.
#pragma once

#include "command/Terminal.h"
#include "parsing/Judgement.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

struct Finding {
  std::string file;
  std::size_t line = 0;                     // from 1; 0 where there is none
  std::size_t column = 0;                   // in bytes, from 1; 0 where there is none
  std::optional<std::uint64_t> offset = {}; // in the file
  bool isError = false;                     // something was not taken; otherwise a warning
  std::string word = {};                    // stable: "malformed-list"
  std::string text = {};                    // one sentence, without an end
};

// What a judge was told of an entry or of a place in it.
[[nodiscard]] Finding findingOf(const Remark &remark, const std::string &path);

// What is odd about an extension, as a sentence; empty where nothing is.
[[nodiscard]] std::string oddityOf(std::string_view extension);

// "FILE:LINE:COLUMN: error: TEXT [WORD]", less what there is not; a line.
[[nodiscard]] std::string lineOf(const Finding &finding, const Terminal &terminal = {});

// Findings of one file or wrapper, until they are told: each once, and in the order of their
// places.
class Findings {
public:
  static constexpr std::size_t kMost = 10'000; // beyond, that there are more is all that is told

  void add(Finding finding);
  [[nodiscard]] std::vector<Finding> sorted() &&;

private:
  std::vector<Finding> all_;
};

} // namespace tesker
