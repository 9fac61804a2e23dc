// FaultyOperatingSystem.h - real system calls, of which a chosen one fails.
//
// Calls are counted from 1 over all kinds that read something. The one whose number was chosen (or
// it and all after it) fails with the error; log.back() of a run without a fault tells what each
// number stands for, so a test can say what may become of an answer.
#pragma once

#include "tests/support/CountingOperatingSystem.h"

#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tesker::test {

class FaultyOperatingSystem final : public CountingOperatingSystem {
public:
  struct Fault {
    std::size_t call = 0; // 0: none
    int error = 0;
    bool andAllAfter = false;
  };
  Fault fault;
  // What was called, in order: lines as CountingOperatingSystem writes them, and "next /dir" for
  // the names of a directory.
  std::vector<std::string> calls;

  int statAt(int directory, const char *name, bool followLinks, struct stat &status) override {
    const int result = CountingOperatingSystem::statAt(directory, name, followLinks, status);
    return outcome(result);
  }
  int statDescriptor(int descriptor, struct stat &status) override {
    return outcome(CountingOperatingSystem::statDescriptor(descriptor, status));
  }
  int openAt(int directory, const char *path, int flags, mode_t mode) override {
    const int descriptor = CountingOperatingSystem::openAt(directory, path, flags, mode);
    const int result = outcome(descriptor);
    if (result < 0 && descriptor >= 0) {
      OperatingSystem::close(descriptor);
      errno = fault.error;
    }
    return result;
  }
  ssize_t readAt(int descriptor, void *buffer, std::size_t size, off_t offset) override {
    return outcome(CountingOperatingSystem::readAt(descriptor, buffer, size, offset));
  }
  std::unique_ptr<DirectoryStream> openDirectory(const char *path) override {
    auto stream = CountingOperatingSystem::openDirectory(path);
    if (outcome(stream ? 0 : -1) < 0) {
      stream.reset();
      errno = fault.error != 0 ? fault.error : errno;
      return nullptr;
    }
    return std::make_unique<FaultyStream>(*this, path, std::move(stream));
  }

private:
  class FaultyStream final : public DirectoryStream {
  public:
    FaultyStream(FaultyOperatingSystem &system, const char *path,
                 std::unique_ptr<DirectoryStream> stream)
        : system_(system), path_(path), stream_(std::move(stream)) {}
    std::optional<std::string_view> next() override {
      system_.log.push_back("next " + path_);
      if (system_.outcome(0) < 0) {
        error_ = system_.fault.error;
        return std::nullopt;
      }
      return stream_->next();
    }
    int error() const override { return error_ != 0 ? error_ : stream_->error(); }
    int descriptor() const override { return stream_->descriptor(); }

  private:
    FaultyOperatingSystem &system_;
    std::string path_;
    std::unique_ptr<DirectoryStream> stream_;
    int error_ = 0;
  };

  // The call's own result, or its failure.
  template <class Result> Result outcome(Result result) {
    calls.push_back(log.back());
    const bool fails = fault.call != 0 && (calls.size() == fault.call ||
                                           (fault.andAllAfter && calls.size() > fault.call));
    if (!fails)
      return result;
    errno = fault.error;
    return -1;
  }
};

} // namespace tesker::test
