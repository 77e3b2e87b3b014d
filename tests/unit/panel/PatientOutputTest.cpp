// Covers: lines for a descriptor that need not take them at once.
//
// | subject                             | functional                     | robustness                         |
// |-------------------------------------|--------------------------------|------------------------------------|
// | lines reach the descriptor, whole,  | x                              |                                    |
// | one by one and at the end           |                                |                                    |
// | a pipe that is full                 |                                | lines are dropped and counted, and |
// |                                     |                                | told of afterwards                 |
// | a line that is longer than the pipe |                                | x                                  |
// | has room is ended before the next   |                                |                                    |
// | makeNonBlocking                     | pipe, socket, file, closed     |                                    |
// |                                     | descriptor; others keep theirs |                                    |

#include "PatientOutput.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <ostream>
#include <string>

#include "TemporaryDirectory.h"

namespace {

class PatientLines : public testing::Test {
protected:
  PatientLines() {
    EXPECT_EQ(0, pipe2(ends, O_CLOEXEC | O_NONBLOCK));
    fcntl(ends[0], F_SETPIPE_SZ, 4096);
  }
  ~PatientLines() override {
    close(ends[0]);
    close(ends[1]);
  }

  std::string readAll() {
    std::string text;
    std::array<char, 4096> part{};
    for (ssize_t count = 0; (count = read(ends[0], part.data(), part.size())) > 0;) {
      text.append(part.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

  void fillPipe() {
    const std::string block(64, 'x');
    while (write(ends[1], block.data(), block.size()) > 0) {
    }
  }

  int ends[2] = {-1, -1};
};

TEST_F(PatientLines, LineGoesOutWhenItIsFlushed) {
  panel::LineDropper lines(ends[1], "it");
  std::ostream stream(&lines);
  stream << "state " << 5 << '\n';
  EXPECT_EQ("", readAll());
  stream.flush();
  EXPECT_EQ("state 5\n", readAll());
}

TEST_F(PatientLines, LineWithoutItsEndWaitsForIt) {
  panel::LineDropper lines(ends[1], "it");
  std::ostream stream(&lines);
  stream << "state " << std::flush;
  EXPECT_EQ("", readAll());
  stream << 5 << std::endl;
  EXPECT_EQ("state 5\n", readAll());
}

TEST_F(PatientLines, LineWithoutItsEndGoesOutInTheEnd) {
  {
    panel::LineDropper lines(ends[1], "it");
    std::ostream(&lines) << "state";
  }
  EXPECT_EQ("state\n", readAll());
}

TEST_F(PatientLines, LinesWithoutRoomAreDroppedAndCounted) {
  fillPipe();
  panel::LineDropper lines(ends[1], "it");
  std::ostream stream(&lines);
  stream << "one\ntwo\n" << std::flush << "three" << std::endl;
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(3U, lines.getDroppedLines());
}

TEST_F(PatientLines, WhatIsMissingIsToldBeforeTheNextLine) {
  fillPipe();
  panel::LineDropper lines(ends[1], "it");
  std::ostream stream(&lines);
  stream << "one\ntwo\n" << std::flush;
  readAll();
  stream << "three" << std::endl;
  EXPECT_EQ("tavo-panel: 2 lines are missing here, it was not read\nthree\n", readAll());
  EXPECT_EQ(0U, lines.getDroppedLines());
}

TEST_F(PatientLines, WhatIsMissingIsToldWithoutANextLine) {
  fillPipe();
  panel::LineDropper lines(ends[1], "it");
  std::ostream stream(&lines);
  stream << "one" << std::endl;
  readAll();
  stream.flush();
  EXPECT_EQ("tavo-panel: 1 lines are missing here, it was not read\n", readAll());
}

TEST_F(PatientLines, LineThatIsBegunIsEndedBeforeTheNext) {
  panel::LineDropper lines(ends[1], "it");
  std::ostream stream(&lines);
  const std::string longLine(6000, 'y');
  stream << longLine << std::endl;
  const std::string begin = readAll();
  ASSERT_LT(begin.size(), longLine.size());
  stream << "next" << std::endl;
  EXPECT_EQ(longLine + "\nnext\n", begin + readAll());
}

TEST_F(PatientLines, ReaderThatIsGoneDoesNoHarm) {
  const auto handler = std::signal(SIGPIPE, SIG_IGN);
  close(ends[0]);
  ends[0] = -1;
  {
    panel::LineDropper lines(ends[1], "it");
    std::ostream stream(&lines);
    stream << "one" << std::endl;
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(1U, lines.getDroppedLines());
  }
  std::signal(SIGPIPE, handler);
}

bool isNonBlocking(int descriptor) {
  return (fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
}

TEST(NonBlocking, PipeIsForThisDescriptorOnly) {
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  const int shared = dup(ends[1]);
  panel::makeNonBlocking(ends[1]);
  EXPECT_TRUE(isNonBlocking(ends[1]));
  EXPECT_FALSE(isNonBlocking(shared));
  EXPECT_EQ(1, write(ends[1], "x", 1));
  char letter = 0;
  EXPECT_EQ(1, read(ends[0], &letter, 1));
  for (const int descriptor : {ends[0], ends[1], shared}) {
    close(descriptor);
  }
}

TEST(NonBlocking, SocketIs) {
  int ends[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
  panel::makeNonBlocking(ends[1]);
  EXPECT_TRUE(isNonBlocking(ends[1]));
  close(ends[0]);
  close(ends[1]);
}

TEST(NonBlocking, FileKeepsItsPlace) {
  const test::TemporaryDirectory directory;
  const int file = open("log", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(7, write(file, "before ", 7));
  panel::makeNonBlocking(file);
  ASSERT_EQ(5, write(file, "after", 5));
  close(file);
  EXPECT_EQ("before after", directory.read("log"));
}

TEST(NonBlocking, ClosedDescriptorDoesNoHarm) {
  panel::makeNonBlocking(-1);
}

}  // namespace
