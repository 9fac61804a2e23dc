#include "platform/foundation/NSLog.h"

#include "platform/foundation/Files.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <new>
#include <syslog.h>
#include <unistd.h>
#include <utility>

namespace tesker {

namespace {

LogSink *currentSink = nullptr;
LogBound *currentBound = nullptr;

// One write for the whole line, so that lines of several processes do not mix. When standard error
// takes nothing there is nowhere to say so.
void writeLineToStandardError(std::string_view text) {
  try {
    (void)writeAll(STDERR_FILENO, std::string(text) + '\n');
  } catch (const std::bad_alloc &) {
    (void)writeAll(STDERR_FILENO, text);
    (void)writeAll(STDERR_FILENO, "\n");
  }
}

// Bytes of 0x80 and above are left alone: they belong to UTF-8 characters.
void appendWithoutControls(std::string &text, std::string_view argument) {
  for (const char byte : argument) {
    const auto code = static_cast<unsigned char>(byte);
    if (byte == '\n') {
      text += "\\n";
    } else if (byte == '\t') {
      text += "\\t";
    } else if (code < 0x20 || code == 0x7F) {
      text += "\\x";
      appendHexadecimal(text, std::string_view(&byte, 1));
    } else {
      text += byte;
    }
  }
}

} // namespace

std::string formatted(std::string_view format, std::initializer_list<std::string_view> arguments) {
  std::string text;
  const auto *argument = arguments.begin();
  for (std::size_t i = 0; i < format.size(); ++i) {
    const char kind = format[i] == '%' && i + 1 < format.size() ? format[i + 1] : '\0';
    if (kind == '%') {
      text += '%';
      ++i;
    } else if ((kind == 's' || kind == 'd' || kind == '@') && argument != arguments.end()) {
      appendWithoutControls(text,
                            kind == 's' ? argument->substr(0, argument->find('\0')) : *argument);
      ++argument;
      ++i;
    } else {
      text += format[i];
    }
  }
  return text;
}

// Whether the line is one of those that may be written; to be asked once for each.
bool isLogged(std::string_view line) {
  LogBound *bound = currentBound;
  if (bound == nullptr)
    return true;
  if (bound->linesLeft_ == 0 || bound->textLeft_ == 0) {
    ++bound->leftOut_;
    return false;
  }
  --bound->linesLeft_;
  bound->textLeft_ -= std::min(bound->textLeft_, line.size());
  return true;
}

LogBound::LogBound(std::size_t lines, std::size_t text)
    : before_(std::exchange(currentBound, this)), linesLeft_(lines), textLeft_(text) {}

LogBound::~LogBound() {
  currentBound = nullptr;
  tell();
  currentBound = before_;
}

void LogBound::liftAll() {
  for (LogBound *bound = std::exchange(currentBound, nullptr); bound != nullptr;
       bound = bound->before_)
    bound->tell();
}

void LogBound::tell() {
  if (const std::size_t count = std::exchange(leftOut_, 0); count > 0)
    syslogError("*** Log: %d more lines left out", {std::to_string(count)});
}

void NSLog(std::string_view text) {
  if (!isLogged(text))
    return;
  const int savedErrno = errno;
  if (currentSink != nullptr)
    currentSink->log(text);
  else
    writeLineToStandardError(text);
  errno = savedErrno;
}

void NSLog(std::string_view format, std::initializer_list<std::string_view> arguments) {
  try {
    NSLog(formatted(format, arguments));
  } catch (const std::bad_alloc &) {
    NSLog(format);
  }
}

void syslogError(std::string_view text) {
  if (!isLogged(text))
    return;
  const int savedErrno = errno;
  if (currentSink != nullptr) {
    currentSink->syslog(text);
  } else {
    const auto length = static_cast<int>(std::min<std::size_t>(text.size(), INT_MAX));
    ::syslog(LOG_ERR, "%.*s", length, text.data());
    // Not environmentValue, which takes memory.
    const char *toStandardError = std::getenv("TESKER_LOG_STDERR");
    if (toStandardError != nullptr && std::string_view(toStandardError) == "1")
      writeLineToStandardError(text);
  }
  errno = savedErrno;
}

void syslogError(std::string_view format, std::initializer_list<std::string_view> arguments) {
  try {
    syslogError(formatted(format, arguments));
  } catch (const std::bad_alloc &) {
    syslogError(format);
  }
}

LogSink *setLogSink(LogSink *sink) { return std::exchange(currentSink, sink); }

} // namespace tesker
