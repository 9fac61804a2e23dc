// Silence.h - keeps a fuzzer's millions of log lines from being written.
#pragma once

#include "platform/foundation/NSLog.h"

inline void silenceLogs() { static const tesker::LogSilence silence; }
