#include "filesystem/TSStatMethods.h"

#include <gtest/gtest.h>

namespace tesker::test {
namespace {

NSFileAttributes withMode(mode_t mode) {
  struct stat status {};
  status.st_mode = mode;
  return NSFileAttributes(status);
}

NSFileAttributes withIdentity(dev_t device, ino_t inode) {
  struct stat status {};
  status.st_dev = device;
  status.st_ino = inode;
  return NSFileAttributes(status);
}

NSFileAttributes withOwner(uid_t user, gid_t group) {
  struct stat status {};
  status.st_uid = user;
  status.st_gid = group;
  return NSFileAttributes(status);
}

NSFileAttributes withTimes(time_t modification, time_t change) {
  struct stat status {};
  status.st_mtime = modification;
  status.st_ctime = change;
  return NSFileAttributes(status);
}

// The predicates that hold, by their initials: link, directory, regular, device, magic directory,
// net directory.
std::string predicates(mode_t mode) {
  const auto attributes = withMode(mode);
  std::string held;
  for (const auto &[name, holds] : {std::pair('L', attributes.isLink()),
                                    {'D', attributes.isDirectory()},
                                    {'R', attributes.isRegular()},
                                    {'V', attributes.isDevice()},
                                    {'M', attributes.isMagicDirectory()},
                                    {'N', attributes.isNetDirectory()}})
    if (holds)
      held += name;
  return held;
}

TEST(FileAttributes, ALinkWithTheStickyBitIsAMagicAndANetDirectory) {
  EXPECT_EQ(predicates(0xA3FF), "LMN");
}

TEST(FileAttributes, AnOrdinaryLinkIsOnlyALink) { EXPECT_EQ(predicates(0xA1FF), "L"); }

TEST(FileAttributes, ADirectoryIsANetDirectoryButNotMagic) {
  EXPECT_EQ(predicates(0x41ED), "DN");
  EXPECT_EQ(predicates(0x43FF), "DN"); // sticky, as /tmp
}

TEST(FileAttributes, ARegularFileIsOnlyThat) {
  EXPECT_EQ(predicates(0x81A4), "R");
  EXPECT_EQ(predicates(0x83A4), "R"); // sticky
}

TEST(FileAttributes, CharacterAndBlockDevicesAreDevices) {
  EXPECT_EQ(predicates(0x21B6), "V");
  EXPECT_EQ(predicates(0x61B0), "V");
}

TEST(FileAttributes, AFifoOrASocketIsNeitherADeviceNorRegular) {
  EXPECT_EQ(predicates(0x11A4), "");
  EXPECT_EQ(predicates(0xC1ED), "");
}

TEST(FileAttributes, CanExecuteIsTheMaskedExecuteBitsThemselves) {
  EXPECT_EQ(withMode(0x81A4).canExecute(), 0);
  EXPECT_EQ(withMode(0x81C0).canExecute(), 0x40);
  EXPECT_EQ(withMode(0x8049).canExecute(), 0x49);
  EXPECT_EQ(withMode(0x8001).canExecute(), 0x01);
}

TEST(FileAttributes, FullPermissionsIsTheWholeModeWithItsType) {
  EXPECT_EQ(withMode(0x81A4).fullPermissions(), 0x81A4);
  EXPECT_EQ(withMode(0xFFFF).fullPermissions(), 0xFFFF);
}

TEST(FileAttributes, IdsAreCutTo16BitsAndSigned) {
  const auto attributes = withOwner(65534, 70000);
  EXPECT_EQ(attributes._getUID(), -2);
  EXPECT_EQ(attributes._getGID(), 4464);
  EXPECT_EQ(withOwner(0, 0)._getUID(), 0);
  EXPECT_EQ(withOwner(32768, 65535)._getUID(), -32768);
  EXPECT_EQ(withOwner(32768, 65535)._getGID(), -1);
}

TEST(FileAttributes, TheInodeIsCutTo16Bits) {
  EXPECT_EQ(withIdentity(1, 70000)._getINode(), 4464);
  EXPECT_EQ(withIdentity(1, 40000)._getINode(), 40000 - 65536);
}

TEST(FileAttributes, TheDeviceIsCutTo32Bits) {
  EXPECT_EQ(withIdentity(0x1'0000'0801, 1)._getStatDev(), 0x801);
  EXPECT_EQ(withIdentity(0xFFFF'FFFF, 1)._getStatDev(), -1);
}

TEST(FileAttributes, IdentityIsDeviceAndInodeInFull) {
  const auto file = withIdentity(1, 70000);
  EXPECT_TRUE(file.areEqualUID(withIdentity(1, 70000)));
  EXPECT_FALSE(file.areEqualUID(withIdentity(1, 4464)));
  EXPECT_FALSE(file.areEqualUID(withIdentity(1, 70000 + (ino_t{1} << 32))));
  EXPECT_FALSE(file.areEqualUID(withIdentity(1 + (dev_t{1} << 32), 70000)));
}

TEST(FileAttributes, EqualInodesOnDifferentDevicesAreNotTheSameFile) {
  EXPECT_FALSE(withIdentity(1, 5).areEqualUID(withIdentity(2, 5)));
}

TEST(FileAttributes, IsSameDeviceLooksAtTheDeviceOnly) {
  EXPECT_TRUE(withIdentity(7, 1).isSameDevice(withIdentity(7, 2)));
  EXPECT_FALSE(withIdentity(7, 1).isSameDevice(withIdentity(8, 1)));
}

TEST(FileAttributes, BuildDirFileUIDStoresBothNumbersInFull) {
  EXPECT_EQ(withIdentity(0x1'0000'0801, 0x2'0000'0003).buildDirFileUID(),
            (DirFileUID{0x1'0000'0801, 0x2'0000'0003}));
}

TEST(FileAttributes, TimesAreThoseOfContentsAndStatus) {
  const auto attributes = withTimes(1000, 2000);
  EXPECT_EQ(attributes._mtime(), 1000);
  EXPECT_EQ(attributes._getLastChangeTime(), 2000);
  EXPECT_EQ(attributes.fileModificationDate(), 1000);
  EXPECT_EQ(attributes.fileChangeDate(), 2000);
}

TEST(FileAttributes, TimesKeep32Bits) {
  const auto attributes = withTimes(time_t{1} << 31, -1);
  EXPECT_EQ(attributes._mtime(), INT32_MIN);
  EXPECT_EQ(attributes._getLastChangeTime(), -1);
  EXPECT_EQ(attributes.fileChangeDate(), -1);
}

} // namespace
} // namespace tesker::test
