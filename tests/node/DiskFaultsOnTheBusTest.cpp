// Covers: what a master that saves hears when the disk has a fault.
//
// | disk                             | robustness                                            |
// |----------------------------------|-------------------------------------------------------|
// | full                             | confirmed, one line on standard error                 |
// | the file is a folder             | abort 0x06060000                                      |
// | the folder may not be written    | abort 0x06060000                                      |
// | any of these at the start        | the node boots, the next save with room is confirmed  |

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "TestNode.h"

namespace {

using test::Frames;

constexpr const char* SAVE = "605#23 10 10 01 73 61 76 65";
const Frames CONFIRMED = {"585#60 10 10 01 00 00 00 00"};
const Frames HARDWARE_ERROR = {"585#80 10 10 01 00 00 06 06"};

void makeFull(const char* fileName) {
  std::filesystem::remove(fileName);
  std::filesystem::create_symlink("/dev/full", fileName);
}

TEST(DiskFaultsOnTheBus, SaveOnAFullDiskIsConfirmedAndReported) {
  test::TestNode node;
  node.boot();
  makeFull("tavo.dcf");
  EXPECT_EQ(node.receive(SAVE), CONFIRMED);
  EXPECT_EQ(node.output.takeErrors(), "CANopen: the file tavo.dcf is incomplete, it could not be written to its end\n");
}

TEST(DiskFaultsOnTheBus, SaveIntoAFolderOfThatNameIsAborted) {
  test::TestNode node;
  node.boot();
  std::filesystem::create_directory("tavo.dcf");
  EXPECT_EQ(node.receive(SAVE), HARDWARE_ERROR);
  EXPECT_EQ(node.output.takeErrors(), "");
}

TEST(DiskFaultsOnTheBus, SaveIntoAReadOnlyFolderIsAborted) {
  constexpr uid_t NOBODY = 65534;
  test::TestNode node;
  node.boot();
  ASSERT_EQ(::chmod(".", 0555), 0);
  const uid_t user = ::geteuid();
  if (user == 0) {
    ASSERT_EQ(::seteuid(NOBODY), 0);
  }
  const Frames answer = node.receive(SAVE);
  ASSERT_EQ(::seteuid(user), 0);
  ASSERT_EQ(::chmod(".", 0755), 0);
  EXPECT_EQ(answer, HARDWARE_ERROR);
}

TEST(DiskFaultsOnTheBus, SaveAfterAFaultIsConfirmedAgain) {
  test::TestNode node;
  node.boot();
  std::filesystem::create_directory("tavo.dcf");
  node.receive(SAVE);
  std::filesystem::remove("tavo.dcf");
  EXPECT_EQ(node.receive(SAVE), CONFIRMED);
  EXPECT_NE(node.directory.read("tavo.dcf"), "");
}

TEST(DiskFaultsOnTheBus, StartOnAFullDiskBoots) {
  test::TestNode node;
  makeFull("tavo_default.dcf");
  node.init();
  EXPECT_EQ(node.cycle(), Frames{"705#00"});
  EXPECT_EQ(node.output.takeErrors(),
            "CANopen: the file tavo_default.dcf is incomplete, it could not be written to its end\n");
}

TEST(DiskFaultsOnTheBus, StartWithAFolderForAFileBoots) {
  test::TestNode node;
  std::filesystem::create_directory("tavo_default.dcf");
  node.init();
  EXPECT_EQ(node.cycle(), Frames{"705#00"});
}

}  // namespace
