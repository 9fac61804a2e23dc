#include "platform/foundation/NSLog.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <syslog.h>
#include <unistd.h>
#include <utility>

namespace tesker {

namespace {

LogSink *currentSink = nullptr;

// One write for the whole line, so that lines of several processes do not mix.
void writeLineToStandardError(std::string_view text) {
  std::string line(text);
  line += '\n';
  const char *rest = line.data();
  std::size_t left = line.size();
  while (left > 0) {
    const ssize_t written = ::write(STDERR_FILENO, rest, left);
    if (written < 0 && errno == EINTR)
      continue;
    if (written <= 0)
      return;
    rest += written;
    left -= static_cast<std::size_t>(written);
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
      text += kind == 's' ? argument->substr(0, argument->find('\0')) : *argument;
      ++argument;
      ++i;
    } else {
      text += format[i];
    }
  }
  return text;
}

void NSLog(std::string_view text) {
  const int savedErrno = errno;
  if (currentSink != nullptr)
    currentSink->log(text);
  else
    writeLineToStandardError(text);
  errno = savedErrno;
}

void NSLog(std::string_view format, std::initializer_list<std::string_view> arguments) {
  NSLog(formatted(format, arguments));
}

void syslogError(std::string_view text) {
  const int savedErrno = errno;
  if (currentSink != nullptr) {
    currentSink->syslog(text);
  } else {
    ::syslog(LOG_ERR, "%s", std::string(text).c_str());
    const char *wanted = std::getenv("TESKER_LOG_STDERR");
    if (wanted != nullptr && std::strcmp(wanted, "1") == 0)
      writeLineToStandardError(text);
  }
  errno = savedErrno;
}

void syslogError(std::string_view format, std::initializer_list<std::string_view> arguments) {
  syslogError(formatted(format, arguments));
}

LogSink *setLogSink(LogSink *sink) { return std::exchange(currentSink, sink); }

} // namespace tesker
