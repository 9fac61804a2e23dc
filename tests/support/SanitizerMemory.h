// SanitizerMemory.h - what a sanitizer needs on top of what a program itself needs.
#pragma once

namespace tesker::test {

// AddressSanitizer keeps what is freed for a while, and memory beside every block.
#ifdef __SANITIZE_ADDRESS__
inline constexpr long kSanitizerMebibytes = 2048;
#else
inline constexpr long kSanitizerMebibytes = 0;
#endif

} // namespace tesker::test
