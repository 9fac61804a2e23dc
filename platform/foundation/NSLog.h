// NSLog.h - diagnostics: the system log and the program's own log.
//
// Two channels, as syslog(3) and standard error know them. Texts are given as the formats that
// stand in the documents, with their arguments as texts (formatted()).
#pragma once

#include <cstddef>
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

// What one search may log, so that no tree of files, and no list of paths, can fill the disk that
// the log lies on: some hundred times what a desktop full of faulty applications is worth.
inline constexpr std::size_t kMostLogLines = 10'000;
inline constexpr std::size_t kMostLogText = std::size_t{16} << 20; // bytes

// While the newest of these lives, only the first lines are written: so many, and none after those
// that together have more bytes. At its end one line more, to the system log, tells how many were
// left out, if any were: "*** Log: %d more lines left out".
class LogBound {
public:
  explicit LogBound(std::size_t lines = kMostLogLines, std::size_t text = kMostLogText);
  ~LogBound();
  LogBound(const LogBound &) = delete;
  LogBound &operator=(const LogBound &) = delete;

  // Tells at once what was left out, and lets everything through from now on: for one who has to
  // say why the process ends.
  static void liftAll();

private:
  friend bool isLogged(std::string_view line);
  void tell();

  LogBound *before_;
  std::size_t linesLeft_;
  std::size_t textLeft_;
  std::size_t leftOut_ = 0;
};

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

// While one lives, nothing is logged: for those who tell in another way what is found in files.
class LogSilence final : LogSink {
public:
  LogSilence() : before_(setLogSink(this)) {}
  ~LogSilence() override { setLogSink(before_); }
  LogSilence(const LogSilence &) = delete;
  LogSilence &operator=(const LogSilence &) = delete;

private:
  void log(std::string_view) override {}
  void syslog(std::string_view) override {}

  LogSink *before_;
};

} // namespace tesker
