// Covers: what a master that saves hears when the disk has a fault.
//
// | subject                       | functional | robustness                                           |
// |-------------------------------|------------|------------------------------------------------------|
// | full                          |            | confirmed, one line on standard error                |
// | the file is a folder          |            | abort 0x06060000                                     |
// | the folder may not be written |            | abort 0x06060000                                     |
// | any of these at the start     |            | the node boots, the next save with room is confirmed |

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
  EXPECT_EQ(CONFIRMED, node.receive(SAVE));
  EXPECT_EQ("CANopen: the file tavo.dcf is incomplete, it could not be written to its end\n", node.output.takeErrors());
}

TEST(DiskFaultsOnTheBus, SaveIntoAFolderOfThatNameIsAborted) {
  test::TestNode node;
  node.boot();
  std::filesystem::create_directory("tavo.dcf");
  EXPECT_EQ(HARDWARE_ERROR, node.receive(SAVE));
  EXPECT_EQ("", node.output.takeErrors());
}

TEST(DiskFaultsOnTheBus, SaveIntoAReadOnlyFolderIsAborted) {
  constexpr uid_t NOBODY = 65534;
  test::TestNode node;
  node.boot();
  ASSERT_EQ(0, ::chmod(".", 0555));
  const uid_t user = ::geteuid();
  if (user == 0) {
    ASSERT_EQ(0, ::seteuid(NOBODY));
  }
  const Frames answer = node.receive(SAVE);
  ASSERT_EQ(0, ::seteuid(user));
  ASSERT_EQ(0, ::chmod(".", 0755));
  EXPECT_EQ(HARDWARE_ERROR, answer);
}

TEST(DiskFaultsOnTheBus, SaveAfterAFaultIsConfirmedAgain) {
  test::TestNode node;
  node.boot();
  std::filesystem::create_directory("tavo.dcf");
  node.receive(SAVE);
  std::filesystem::remove("tavo.dcf");
  EXPECT_EQ(CONFIRMED, node.receive(SAVE));
  EXPECT_NE("", node.directory.read("tavo.dcf"));
}

TEST(DiskFaultsOnTheBus, StartOnAFullDiskBoots) {
  test::TestNode node;
  makeFull("tavo_default.dcf");
  node.init();
  EXPECT_EQ(Frames{"705#00"}, node.cycle());
  EXPECT_EQ("CANopen: the file tavo_default.dcf is incomplete, it could not be written to its end\n",
            node.output.takeErrors());
}

TEST(DiskFaultsOnTheBus, StartWithAFolderForAFileBoots) {
  test::TestNode node;
  std::filesystem::create_directory("tavo_default.dcf");
  node.init();
  EXPECT_EQ(Frames{"705#00"}, node.cycle());
}

}  // namespace
