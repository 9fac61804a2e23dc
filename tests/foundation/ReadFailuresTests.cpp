#include "platform/foundation/ReadFailures.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <system_error>

namespace tesker {
namespace {

TEST(ReadFailuresTest, AFileThatIsNotThereOrNotOursOrSpecialIsAnOrdinaryAnswer) {
  const ReadFailures failures;
  for (const int error : {ENOENT, ENOTDIR, EACCES, EPERM, ELOOP, ENAMETOOLONG, ENXIO, ENODEV})
    noteReadFailure(error);
  EXPECT_EQ(failures.count(), 0U);
  EXPECT_EQ(failures.firstError(), 0);
}

TEST(ReadFailuresTest, EverythingElseIsCountedAndTheFirstKept) {
  const ReadFailures failures;
  noteReadFailure(ENOENT);
  noteReadFailure(ESTALE);
  noteReadFailure(EIO);
  EXPECT_EQ(failures.count(), 2U);
  EXPECT_EQ(failures.firstError(), ESTALE);
}

TEST(ReadFailuresTest, ALackOfMemoryOrDescriptorsRaises) {
  const ReadFailures failures;
  EXPECT_THROW(noteReadFailure(ENOMEM), std::bad_alloc);
  for (const int error : {EMFILE, ENFILE})
    try {
      noteReadFailure(error);
      ADD_FAILURE() << error;
    } catch (const std::system_error &raised) {
      EXPECT_EQ(raised.code().value(), error);
    }
  EXPECT_EQ(failures.count(), 0U);
}

TEST(ReadFailuresTest, TheNewestHearsAndNobodyWithoutOne) {
  noteReadFailure(ENOMEM);
  const ReadFailures outer;
  {
    const ReadFailures inner;
    noteReadFailure(EIO);
    EXPECT_EQ(inner.count(), 1U);
  }
  EXPECT_EQ(outer.count(), 0U);
  noteReadFailure(EIO);
  EXPECT_EQ(outer.count(), 1U);
}

} // namespace
} // namespace tesker
