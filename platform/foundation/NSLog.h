// NSLog.h - diagnostics: the system log and the program's own log.
//
// Two channels, as syslog(3) and standard error know them. Texts are given as the formats that
// stand in the documents, with their arguments as texts (formatted()).
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace tesker {

// The format with its placeholders replaced by the arguments, in order: "%s" (the argument up to a
// NUL, as a C string is printed), "%@" (the argument whole) and "%d" (a number already written
// out). "%%" is one percent sign. A placeholder without an argument stays as it is.
//
// Control characters in an argument are written out, so that a file's name cannot end the line and
// forge the next one, or drive the terminal that shows it: a line feed as "\n", a tab as "\t", the
// others below 0x20 and 0x7f as "\x1b". All other bytes, backslashes among them, are as they were.
std::string formatted(std::string_view format, std::initializer_list<std::string_view> arguments);

// Where memory is lacking for the whole line, the format is logged without its arguments: nothing
// here raises.

// Writes the text and a line feed to standard error, without any prefix.
void NSLog(std::string_view text);
void NSLog(std::string_view format, std::initializer_list<std::string_view> arguments);

// Writes one line to the system log at priority LOG_ERR. With TESKER_LOG_STDERR=1 in the
// environment the line also goes to standard error, as NSLog writes it.
void syslogError(std::string_view text);
void syslogError(std::string_view format, std::initializer_list<std::string_view> arguments);

// Where log lines go: one call per line, without the line feed.
class LogSink {
public:
  virtual ~LogSink() = default;
  virtual void log(std::string_view text) = 0;    // NSLog
  virtual void syslog(std::string_view text) = 0; // the system log, LOG_ERR
};

// Replaces the sink (nil: back to the real one) and returns the one in force before, or nil when
// that was the real one. The sink is borrowed. For tests that read what was logged.
LogSink *setLogSink(LogSink *sink);

} // namespace tesker
