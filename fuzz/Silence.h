// Silence.h - keeps a fuzzer's millions of log lines from being written.
#pragma once

#include "platform/foundation/NSLog.h"

inline void silenceLogs() {
  class Nowhere final : public tesker::LogSink {
    void log(std::string_view) override {}
    void syslog(std::string_view) override {}
  };
  static Nowhere nowhere;
  tesker::setLogSink(&nowhere);
}
