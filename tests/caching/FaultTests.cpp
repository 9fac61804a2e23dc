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
      EXPECT_EQ(fault, FakeDisk::Fault::Raise);
      EXPECT_EQ(exception.name(), FakeDisk::kRaisedName);
      EXPECT_EQ(exception.reason(), disk.takeAllCalls().back()) << "another exception";
    } catch (const std::bad_alloc &) {
      EXPECT_EQ(fault, FakeDisk::Fault::BadAlloc);
    }
    return true;
  }

  // Whether the request answers the failure of that call itself: the type cache does, where it
  // follows a link and where it reads the device of the directory; and what is stale and cannot be
  // checked is taken as changed.
  bool mayAnswer(const Request &request, State state) const {
    return request.name == "type of a link" || request.name == "type of a directory" ||
           (state == State::Stale && (request.name == "listing" || request.name == "children"));
  }
};

TEST_F(FaultTest, AnExceptionOutOfAnyCallPassesAndLeavesNothingBehind) {
  for (const auto &request : allRequests())
    for (const auto state : {State::Cold, State::Stale})
      for (const auto fault : {FakeDisk::Fault::Raise, FakeDisk::Fault::BadAlloc}) {
        prepare(state, request);
        const std::string right = request.ask();
        for (std::size_t n = 1;; ++n) {
          SCOPED_TRACE(request.name + (state == State::Cold ? ", cold" : ", stale") + ", call " +
                       std::to_string(n));
          prepare(state, request);
          const bool raised = raises(request, n, fault);
          if (!disk.failed())
            break;
          EXPECT_TRUE(raised || mayAnswer(request, state));
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
    prepare(State::Cold, request);
    const std::string right = request.ask();
    for (std::size_t n = 1;; ++n) {
      SCOPED_TRACE(request.name + ", call " + std::to_string(n));
      prepare(State::Cold, request);
      disk.failCall(n, FakeDisk::Fault::Error, EIO);
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
  disk.failCall(1, FakeDisk::Fault::Raise);
  EXPECT_THROW(manager().validate(7), NSException);
  disk.failCall(1, FakeDisk::Fault::Raise);
  EXPECT_NO_THROW(static_cast<void>(manager().flushVeryOld(0)));
  EXPECT_NO_THROW(manager().flushDir(*"/dir"_ns));
  disk.failCall(1, FakeDisk::Fault::Raise);
  EXPECT_THROW(manager().reset(), NSException);
}

} // namespace tesker::test
