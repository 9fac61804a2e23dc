// Terminal.h - what the person's terminal can show: how much on a line, and whether in colour.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tesker {

// When output is coloured.
enum class ColourChoice {
  automatic, // on a terminal that is not dumb, unless the environment has NO_COLOR
  always,
  never,
};

// Where output goes. As it is by default, nothing is broken, shortened or coloured.
struct Terminal {
  std::size_t columns = 0; // 0: not a terminal, or it does not say
  bool colours = false;
};

// Of the descriptor: the columns that the terminal tells of itself, or else those of COLUMNS.
[[nodiscard]] Terminal terminalAt(int descriptor, ColourChoice choice);

// What a piece of text is, to be told apart at a glance.
enum class Style {
  plain,
  heading, // bold
  place,   // of an error or a warning: bold, too
  dubious, // what is there but of no use here: yellow
  error,   // red
  warning, // magenta
};

// The text in the style, and what ends it; as it is where there are no colours. The text has no
// line feed.
[[nodiscard]] std::string styled(std::string_view text, Style style, const Terminal &terminal);

} // namespace tesker
