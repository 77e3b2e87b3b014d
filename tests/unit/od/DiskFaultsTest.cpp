// Covers: the export of the dictionary when the disk has a fault.
//
// | subject                                                 | functional | robustness                               |
// |---------------------------------------------------------|------------|------------------------------------------|
// | a disk that is full                                     |            | at the start, on "save", again with room |
// | a folder that may not be written, with and without the  |            | x                                        |
// | file in it                                              |            |                                          |
// | a file that is a folder; a folder that is gone          |            | x                                        |
// | a process that is killed while it writes, and the start |            | x                                        |
// | after that                                              |            |                                          |

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include "FreshNodeFixture.h"
#include "KQErrorCodes.h"

using namespace KQ;

namespace {

constexpr int SIGNATURE = 0x65766173;
constexpr const char* INCOMPLETE_DEFAULT =
    "CANopen: the file tavo_default.dcf is incomplete, it could not be written to its end\n";
constexpr const char* INCOMPLETE_SAVE =
    "CANopen: the file tavo.dcf is incomplete, it could not be written to its end\n";

// Whoever writes the file finds no room on the disk.
void fillDiskUnder(const char* fileName) {
  std::filesystem::remove(fileName);
  std::filesystem::create_symlink("/dev/full", fileName);
}

// The working directory may not be written while one lives, whoever runs the tests.
class ReadOnlyFolder {
public:
  ReadOnlyFolder() {
    EXPECT_EQ(0, ::chmod(".", 0555));
    if (user == 0) {
      EXPECT_EQ(0, ::seteuid(NOBODY));
    }
  }
  ~ReadOnlyFolder() {
    EXPECT_EQ(0, ::seteuid(user));
    EXPECT_EQ(0, ::chmod(".", 0755));
  }
  ReadOnlyFolder(const ReadOnlyFolder&) = delete;
  ReadOnlyFolder& operator=(const ReadOnlyFolder&) = delete;

private:
  static constexpr uid_t NOBODY = 65534;
  const uid_t user = ::geteuid();
};

class DiskFaults : public test::FreshNodeFixture {
protected:
  int save() { return dictionary.setValue(0x1010, 1, SIGNATURE, false); }

  bool isComplete(const std::string& fileName) const {
    const std::string text = directory.read(fileName);
    return text.rfind("[FileInfo]\n", 0) == 0 && text.size() > 2 && text.compare(text.size() - 2, 2, "\n\n") == 0;
  }
};

TEST_F(DiskFaults, FullDiskAtTheStartIsOneLineAndChangesNothingElse) {
  fillDiskUnder("tavo_default.dcf");
  dictionary.createPreDefinedConnectionSet();
  EXPECT_EQ(INCOMPLETE_DEFAULT, output.takeErrors());
  EXPECT_EQ(4, storedValue(0x1018, 0));
}

TEST_F(DiskFaults, FullDiskOnSaveIsConfirmedWithOneLine) {
  dictionary.createPreDefinedConnectionSet();
  fillDiskUnder("tavo.dcf");
  EXPECT_EQ(KQ_OK, save());
  EXPECT_EQ(INCOMPLETE_SAVE, output.takeErrors());
  EXPECT_EQ(SIGNATURE, storedValue(0x1010, 1));
}

// The first bytes find room, the others do not.
TEST_F(DiskFaults, DiskThatGetsFullInTheMiddleIsOneLine) {
  dictionary.createPreDefinedConnectionSet();
  rlimit before{};
  ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
  rlimit small = before;
  small.rlim_cur = 1000;
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &small));
  const int result = save();
  EXPECT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &before));
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(KQ_OK, result);
  EXPECT_EQ(INCOMPLETE_SAVE, output.takeErrors());
  EXPECT_EQ(1000U, directory.read("tavo.dcf").size());
}

TEST_F(DiskFaults, NextSaveWithRoomIsWholeAndSaysNothing) {
  dictionary.createPreDefinedConnectionSet();
  fillDiskUnder("tavo.dcf");
  save();
  output.takeErrors();
  std::filesystem::remove("tavo.dcf");
  EXPECT_EQ(KQ_OK, save());
  EXPECT_EQ("", output.takeErrors());
  EXPECT_TRUE(isComplete("tavo.dcf"));
}

TEST_F(DiskFaults, ReadOnlyFolderRefusesTheFile) {
  dictionary.createPreDefinedConnectionSet();
  const ReadOnlyFolder folder;
  EXPECT_EQ(KQ_FILE_ERROR, dictionary.storeParameters("tavo.dcf"));
  EXPECT_EQ(test::ABORT_HARDWARE_ERROR, save());
  EXPECT_EQ("", output.takeErrors());
}

TEST_F(DiskFaults, ReadOnlyFolderAtTheStartChangesNothingElse) {
  const ReadOnlyFolder folder;
  dictionary.createPreDefinedConnectionSet();
  EXPECT_EQ("", output.takeErrors());
  EXPECT_EQ(4, storedValue(0x1018, 0));
}

TEST_F(DiskFaults, FileThatIsAFolderAtTheStartChangesNothingElse) {
  std::filesystem::create_directory("tavo_default.dcf");
  dictionary.createPreDefinedConnectionSet();
  EXPECT_EQ(KQ_FILE_ERROR, dictionary.storeParameters("tavo_default.dcf"));
  EXPECT_EQ("", output.takeErrors());
  EXPECT_EQ(4, storedValue(0x1018, 0));
}

TEST_F(DiskFaults, FolderThatIsGoneRefusesTheFile) {
  dictionary.createPreDefinedConnectionSet();
  EXPECT_EQ(KQ_FILE_ERROR, dictionary.storeParameters("gone/tavo.dcf"));
}

// A pipe as file: the writer has to wait in the middle of its text, and is killed there.
TEST_F(DiskFaults, KilledWhileItSavesItHasAnsweredNothingAndTheNextOneSavesAgain) {
  dictionary.createPreDefinedConnectionSet();
  ASSERT_EQ(0, ::mkfifo("tavo.dcf", 0600));
  int answer[2];
  ASSERT_EQ(0, ::pipe(answer));
  const int reader = ::open("tavo.dcf", O_RDWR | O_CLOEXEC);
  ASSERT_GE(::fcntl(reader, F_SETPIPE_SZ, 4096), 4096);
  const pid_t child = ::fork();
  if (child == 0) {
    const int result = save();
    ::_exit(::write(answer[1], &result, sizeof result) > 0 ? 0 : 1);
  }
  ::close(answer[1]);
  pollfd begun{reader, POLLIN, 0};
  EXPECT_EQ(1, ::poll(&begun, 1, -1));  // the save is under way, and cannot end: nobody takes what is in the pipe
  ::kill(child, SIGKILL);
  int status = 0;
  EXPECT_EQ(child, ::waitpid(child, &status, 0));
  EXPECT_TRUE(WIFSIGNALED(status));
  int unused = 0;
  EXPECT_EQ(0, ::read(answer[0], &unused, sizeof unused)) << "it has answered";
  char text[4096];
  const ssize_t length = ::read(reader, text, sizeof text);
  ::close(answer[0]);
  ::close(reader);
  std::filesystem::remove("tavo.dcf");
  ASSERT_GT(length, 0);
  std::ofstream("tavo.dcf").write(text, length);  // what a disk would hold
  EXPECT_EQ(KQ_OK, save());
  EXPECT_TRUE(isComplete("tavo.dcf"));
}

}  // namespace
