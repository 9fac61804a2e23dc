// ReadAheadHints.h - what a master tells the program that reads ahead of its tool.
//
// The program reads it from its standard input. Each hint is a letter and what belongs to it, with
// a NUL behind it, for paths hold any other byte:
//
//   s PATH                 a search path; all of them first, in the order of the search
//   p ENTRIES DIRECTORY    how many entries the tool has seen, and the directory that it is in
//
// One blank stands between two words. What is not understood is passed over.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tesker {

inline constexpr char kSearchPathHint = 's';
inline constexpr char kProgressHint = 'p';
inline constexpr char kHintEnd = '\0';

[[nodiscard]] inline std::string searchPathHint(std::string_view path) {
  return std::string{kSearchPathHint, ' '}.append(path) + kHintEnd;
}

[[nodiscard]] inline std::string progressHint(std::uint64_t entries, std::string_view directory) {
  return std::string{kProgressHint, ' '}
             .append(std::to_string(entries))
             .append(" ")
             .append(directory) +
         kHintEnd;
}

} // namespace tesker
