// Every system call of every request fails in turn.
#include "platform/foundation/NSException.h"
#include "tests/caching/Requests.h"

#include <cerrno>
#include <new>

namespace tesker::test {

class FaultTest : public RequestsTest {
protected:
  // Asks with the n-th call raising; whether the exception came out. It must be the very one.
  bool raises(const Request &request, std::size_t n, FakeDisk::Fault fault) {
    disk.failCall(n, fault);
    try {
      static_cast<void>(request.ask());
      return false;
    } catch (const NSException &exception) {
      EXPECT_EQ(fault, FakeDisk::Fault::raise);
      EXPECT_EQ(exception.name(), FakeDisk::kRaisedName);
      EXPECT_EQ(exception.reason(), disk.takeAllCalls().back()) << "another exception";
    } catch (const std::bad_alloc &) {
      EXPECT_EQ(fault, FakeDisk::Fault::badAlloc);
    }
    return true;
  }

  // Whether the request answers an exception of the file-system layer itself: the type cache does,
  // where it follows a link and where it reads the device of the directory; a listing with
  // attributes gives nothing; and what is stale and cannot be checked is taken as changed. A lack
  // of memory is not such an exception.
  static bool mayAnswer(const Request &request, State state, FakeDisk::Fault fault) {
    if (fault == FakeDisk::Fault::badAlloc)
      return false;
    return request.name == "type of a link" || request.name == "type of a directory" ||
           request.name == "listing with attributes" ||
           (state == State::stale && (request.name == "listing" || request.name == "children"));
  }
};

TEST_F(FaultTest, AnExceptionOutOfAnyCallPassesAndLeavesNothingBehind) {
  for (const auto &request : allRequests())
    for (const auto state : {State::cold, State::stale})
      for (const auto fault : {FakeDisk::Fault::raise, FakeDisk::Fault::badAlloc}) {
        prepare(state, request);
        const std::string right = request.ask();
        for (std::size_t n = 1;; ++n) {
          SCOPED_TRACE(request.name + (state == State::cold ? ", cold" : ", stale") + ", call " +
                       std::to_string(n));
          prepare(state, request);
          const bool raised = raises(request, n, fault);
          if (!disk.failed())
            break;
          EXPECT_TRUE(raised || mayAnswer(request, state, fault));
          disk.failNone();
          checkNothingIsHalfMade();
          if (raised) {
            EXPECT_EQ(request.ask(), right) << "asked again";
          }
        }
      }
}

TEST_F(FaultTest, AnErrorOfAnyCallIsAnAnswerAndIsGoneAfterAValidation) {
  for (const auto &request : allRequests()) {
    prepare(State::cold, request);
    const std::string right = request.ask();
    for (std::size_t n = 1;; ++n) {
      SCOPED_TRACE(request.name + ", call " + std::to_string(n));
      prepare(State::cold, request);
      disk.failCall(n, FakeDisk::Fault::error, EIO);
      EXPECT_NO_THROW(static_cast<void>(request.ask()));
      if (!disk.failed())
        break;
      checkNothingIsHalfMade();
      forgetAll();
      EXPECT_EQ(request.ask(), right);
    }
  }
}

TEST_F(FaultTest, FlushesResetAndValidationRaiseOnlyWhatTheClockRaises) {
  for (const auto &request : allRequests())
    static_cast<void>(request.ask());
  disk.failCall(1, FakeDisk::Fault::raise);
  EXPECT_THROW(manager().validate(7), NSException);
  disk.failCall(1, FakeDisk::Fault::raise);
  EXPECT_NO_THROW(static_cast<void>(manager().flushVeryOld(0)));
  EXPECT_NO_THROW(manager().flushDir("/dir"_ns));
  disk.failCall(1, FakeDisk::Fault::raise);
  EXPECT_THROW(manager().reset(), NSException);
}

} // namespace tesker::test
