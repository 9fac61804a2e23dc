#include "command/Terminal.h"

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <charconv>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tesker {

namespace {

// As wide as the system can say that one is.
constexpr std::size_t kWidestTerminal = 65535;

std::size_t columnsOf(int descriptor) {
  struct winsize size {};
  if (::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col != 0)
    return size.ws_col;
  const std::string told = environmentValue("COLUMNS").value_or("");
  std::size_t columns = 0;
  const auto [end, error] = std::from_chars(told.data(), told.data() + told.size(), columns);
  return error == std::errc() && end == told.data() + told.size()
             ? std::min(columns, kWidestTerminal)
             : 0;
}

const char *sequenceFor(Style style) {
  switch (style) {
  case Style::plain:
    return "";
  case Style::heading:
  case Style::place:
    return "\x1b[1m";
  case Style::dubious:
    return "\x1b[33m";
  case Style::error:
    return "\x1b[1;31m";
  case Style::warning:
    return "\x1b[1;35m";
  }
  return "";
}

} // namespace

Terminal terminalAt(int descriptor, ColourChoice choice) {
  Terminal terminal;
  const bool isTerminal = ::isatty(descriptor) == 1;
  if (isTerminal)
    terminal.columns = columnsOf(descriptor);
  terminal.colours = choice == ColourChoice::always ||
                     (choice == ColourChoice::automatic && isTerminal &&
                      environmentValue("TERM") != "dumb" && !environmentValue("NO_COLOR"));
  return terminal;
}

std::string styled(std::string_view text, Style style, const Terminal &terminal) {
  if (!terminal.colours || style == Style::plain || text.empty())
    return std::string(text);
  return sequenceFor(style) + std::string(text) + "\x1b[0m";
}

} // namespace tesker
