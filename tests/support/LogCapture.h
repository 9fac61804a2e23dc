// LogCapture.h - keeps what is logged while it lives, in place of writing it.
#pragma once

#include "platform/foundation/NSLog.h"

#include <string>
#include <vector>

namespace tesker::test {

class LogCapture final : public LogSink {
public:
  LogCapture() : before_(setLogSink(this)) {}
  ~LogCapture() override { setLogSink(before_); }
  LogCapture(const LogCapture &) = delete;
  LogCapture &operator=(const LogCapture &) = delete;

  void log(std::string_view text) override { logged.emplace_back(text); }
  void syslog(std::string_view text) override { syslogged.emplace_back(text); }

  std::vector<std::string> logged;    // through NSLog, in order
  std::vector<std::string> syslogged; // through the system log, in order

private:
  LogSink *before_;
};

} // namespace tesker::test
