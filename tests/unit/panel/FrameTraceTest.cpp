// Covers: the trace file of the frames.
//
// | subject                             | functional                        | robustness                         |
// |-------------------------------------|-----------------------------------|------------------------------------|
// | lines of frames                     | identifier, data of 0 to 8 bytes, |                                    |
// |                                     | time                              |                                    |
// | interface name of each kind of port | x                                 |                                    |
// | frames are in the file after a      | x                                 |                                    |
// | flush, when they are many, in the   |                                   |                                    |
// | end; an old trace is emptied        |                                   |                                    |
// | a full file is renamed, the oldest  | x                                 |                                    |
// | goes; one that was moved away is    |                                   |                                    |
// | replaced, one that was not goes on  |                                   |                                    |
// | neither can be done                 |                                   | said, and nothing is lost          |
// | a file that cannot be opened, one   |                                   | x                                  |
// | that cannot be written any more     |                                   |                                    |
// | a pipe that nobody reads            |                                   | not waited for, what is missing is |
// |                                     |                                   | told                               |

#include "FrameTrace.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "CapturedOutput.h"
#include "Frames.h"
#include "MemoryEndPoint.h"
#include "PanelError.h"
#include "TemporaryDirectory.h"

namespace {

using panel::FrameTrace;

struct LineCase {
  const char* name;
  long long microseconds;
  const char* frame;
  const char* line;
};

class FrameTraceLine : public testing::TestWithParam<LineCase> {};

TEST_P(FrameTraceLine, IsThatOfACandumpLog) {
  std::string text = "before\n";
  FrameTrace::appendLine(text, GetParam().microseconds, "bus0", test::frame(GetParam().frame));
  EXPECT_EQ(std::string("before\n") + GetParam().line, text);
}

INSTANTIATE_TEST_SUITE_P(
    Frames, FrameTraceLine,
    testing::Values(LineCase{"OneByte", 1700000000123456, "705#00", "(1700000000.123456) bus0 705#00\n"},
                    LineCase{"NoData", 1700000000000000, "080#", "(1700000000.000000) bus0 080#\n"},
                    LineCase{"LowestIdentifier", 1700000000000001, "000#01 05", "(1700000000.000001) bus0 000#0105\n"},
                    LineCase{"HighestIdentifier", 1700000000999999, "7FF#FF", "(1700000000.999999) bus0 7FF#FF\n"},
                    LineCase{"EightBytes", 1700000001000000, "585#43 18 10 01 C7 03 00 0A",
                             "(1700000001.000000) bus0 585#43181001C703000A\n"}),
    [](const auto& tested) { return std::string(tested.param.name); });

struct NameCase {
  const char* name;
  const char* uri;
  const char* interfaceName;
};

class FrameTraceInterface : public testing::TestWithParam<NameCase> {};

TEST_P(FrameTraceInterface, IsTakenFromTheURI) {
  EXPECT_EQ(GetParam().interfaceName, FrameTrace::getInterfaceName(GetParam().uri));
}

INSTANTIATE_TEST_SUITE_P(URIs, FrameTraceInterface,
                         testing::Values(NameCase{"Virtual", "virtual:bus0", "bus0"},
                                         NameCase{"Kernel", "socketcan:can1", "can1"},
                                         NameCase{"Remote", "socketcand:localhost:29536/vcan0", "vcan0"},
                                         NameCase{"RemoteIPv6", "socketcand:[::1]:29536/vcan0", "vcan0"},
                                         NameCase{"BlanksInside", "virtual:my bus", "my_bus"}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(FrameTrace, FrameIsInTheFileAfterAFlush) {
  const test::TemporaryDirectory directory;
  FrameTrace trace("trace.log", "bus0");
  trace.frameTransferred(test::frame("705#00"), true);
  trace.flush();
  EXPECT_THAT(directory.read("trace.log"), testing::MatchesRegex("\\([0-9]+\\.[0-9]+\\) bus0 705#00\n"));
}

TEST(FrameTrace, BothDirectionsOfAPortAreWritten) {
  const test::TemporaryDirectory directory;
  FrameTrace trace("trace.log", "bus0");
  test::MemoryEndPoint port;
  port.setFrameObserver(&trace);
  port.writeMessage(test::frame("705#00"));
  port.inject("000#01 00");
  KQ::KQCANMessage message;
  port.readMessage(message);
  trace.flush();
  EXPECT_THAT(directory.read("trace.log"), testing::MatchesRegex(".* bus0 705#00\n.* bus0 000#0100\n"));
}

TEST(FrameTrace, FramesAreInTheFileInTheEnd) {
  const test::TemporaryDirectory directory;
  { FrameTrace("trace.log", "bus0").frameTransferred(test::frame("705#00"), true); }
  EXPECT_THAT(directory.read("trace.log"), testing::EndsWith(" bus0 705#00\n"));
}

TEST(FrameTrace, ManyFramesAreWrittenWithoutAFlush) {
  const test::TemporaryDirectory directory;
  FrameTrace trace("trace.log", "bus0");
  for (int i = 0; i < 1000; ++i) {
    trace.frameTransferred(test::frame("705#00"), true);
  }
  const std::string early = directory.read("trace.log");
  EXPECT_THAT(early, testing::EndsWith(" bus0 705#00\n"));
  trace.flush();
  const std::string all = directory.read("trace.log");
  EXPECT_EQ(1000, std::count(all.begin(), all.end(), '\n'));
  EXPECT_EQ(early, all.substr(0, early.size()));
}

TEST(FrameTrace, OldTraceIsEmptied) {
  const test::TemporaryDirectory directory;
  std::ofstream("trace.log") << "(1.000000) old 001#\n";
  const FrameTrace trace("trace.log", "bus0");
  EXPECT_EQ("", directory.read("trace.log"));
}

TEST(FrameTrace, FileThatCannotBeOpenedIsNamed) {
  const test::TemporaryDirectory directory;
  try {
    const FrameTrace trace("nowhere/trace.log", "bus0");
    FAIL() << "opened";
  } catch (const panel::PanelError& error) {
    EXPECT_STREQ("--trace: cannot write 'nowhere/trace.log': No such file or directory", error.what());
  }
}

TEST(FrameTrace, FullDiskIsReportedOnce) {
  test::CapturedOutput output;
  FrameTrace trace("/dev/full", "bus0");
  for (const char* frame : {"705#00", "705#05"}) {
    trace.frameTransferred(test::frame(frame), true);
    trace.flush();
  }
  EXPECT_EQ("tavo-panel: frames are missing in the trace '/dev/full': No space left on device\n", output.takeErrors());
}

// A named pipe as trace.
class PipedTrace : public testing::Test {
protected:
  PipedTrace() { EXPECT_EQ(0, mkfifo("trace.pipe", 0600)); }

  // What is in the pipe at the moment.
  static std::string readAll(int reader) {
    std::string text;
    std::array<char, 4096> part{};
    for (ssize_t count = 0; (count = read(reader, part.data(), part.size())) > 0;) {
      text.append(part.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

  static void transfer(FrameTrace& trace, unsigned int frames) {
    for (unsigned int i = 0; i < frames; ++i) {
      trace.frameTransferred(test::frame("705#00"), true);
    }
    trace.flush();
  }

  const test::TemporaryDirectory directory;
  test::CapturedOutput output;
};

TEST_F(PipedTrace, IsNotWaitedFor) {
  FrameTrace trace("trace.pipe", "bus0");
  transfer(trace, 1);
  const int reader = open("trace.pipe", O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_THAT(readAll(reader), testing::MatchesRegex("\\([0-9]+\\.[0-9]+\\) bus0 705#00\n"));
  close(reader);
}

TEST_F(PipedTrace, ThatNobodyReadsLeavesFramesOutAndSaysHowMany) {
  constexpr unsigned int FRAMES = 10000;
  FrameTrace trace("trace.pipe", "bus0");
  transfer(trace, FRAMES);
  EXPECT_EQ("", output.takeErrors());
  const int reader = open("trace.pipe", O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  std::string text = readAll(reader);
  trace.flush();
  text += readAll(reader);
  const auto lines = static_cast<unsigned int>(std::count(text.begin(), text.end(), '\n'));
  EXPECT_GT(lines, 0U);
  EXPECT_LT(lines, FRAMES);
  EXPECT_EQ("tavo-panel: " + std::to_string(FRAMES - lines) +
                " frames are missing in the trace 'trace.pipe': it was not read\n",
            output.takeErrors());
  transfer(trace, 1);
  text += readAll(reader);
  EXPECT_EQ(lines + 1, std::count(text.begin(), text.end(), '\n'));
  EXPECT_EQ("", output.takeErrors());
  close(reader);
}

TEST_F(PipedTrace, KeepsEveryLineWhole) {
  FrameTrace trace("trace.pipe", "bus0");
  transfer(trace, 10000);
  const int reader = open("trace.pipe", O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  std::string text = readAll(reader);
  trace.flush();
  text += readAll(reader);
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    ASSERT_THAT(line, testing::MatchesRegex("\\([0-9]+\\.[0-9]+\\) bus0 705#00"));
  }
  close(reader);
}

// Trace files that are full after two lines of (1700000000.123456) bus0 NNN#
class RotatedTrace : public testing::Test {
protected:
  static constexpr panel::TraceRotation TWO_LINES{60, 2};

  // A line each.
  static void transfer(FrameTrace& trace, const std::vector<std::string>& frames) {
    for (const std::string& frame : frames) {
      trace.frameTransferred(test::frame(frame.c_str()), true);
      trace.flush();
    }
  }

  // The frames in a file, without what stands before them.
  std::string read(const std::string& file) const {
    std::istringstream lines(directory.read(file));
    std::string frames;
    for (std::string stamp, bus, frame; lines >> stamp >> bus >> frame;) {
      frames += frame;
    }
    return frames;
  }

  const test::TemporaryDirectory directory;
  test::CapturedOutput output;
};

TEST_F(RotatedTrace, BeginsANewFileWhenTheNextLineWouldNotFit) {
  FrameTrace trace("trace.log", "bus0", TWO_LINES);
  transfer(trace, {"001#", "002#"});
  EXPECT_EQ(-1, access("trace.log.1", F_OK));
  transfer(trace, {"003#"});
  EXPECT_EQ("001#002#", read("trace.log.1"));
  EXPECT_EQ("003#", read("trace.log"));
}

TEST_F(RotatedTrace, LetsTheOldestGo) {
  FrameTrace trace("trace.log", "bus0", TWO_LINES);
  transfer(trace, {"001#", "002#", "003#", "004#", "005#", "006#", "007#"});
  EXPECT_EQ("003#004#", read("trace.log.2"));
  EXPECT_EQ("005#006#", read("trace.log.1"));
  EXPECT_EQ("007#", read("trace.log"));
  EXPECT_EQ(-1, access("trace.log.3", F_OK));
  EXPECT_EQ("", output.takeErrors());
}

TEST_F(RotatedTrace, LineLongerThanAFileHasOneForItself) {
  FrameTrace trace("trace.log", "bus0", {1, 1});
  transfer(trace, {"001#", "002#"});
  EXPECT_EQ("001#", read("trace.log.1"));
  EXPECT_EQ("002#", read("trace.log"));
}

TEST_F(RotatedTrace, ThatCannotBeRenamedGoesOnAndSaysSo) {
  FrameTrace trace("trace.log", "bus0", {60, 1});
  std::filesystem::create_directories("trace.log.1/inside");
  transfer(trace, {"001#", "002#", "003#", "004#"});
  EXPECT_EQ("001#002#003#004#", read("trace.log"));
  EXPECT_EQ("tavo-panel: cannot rename the trace 'trace.log': Is a directory\n", output.takeErrors());
}

TEST_F(RotatedTrace, IsForPlainFiles) {
  try {
    const FrameTrace trace("/dev/null", "bus0", TWO_LINES);
    FAIL() << "opened";
  } catch (const panel::PanelError& error) {
    EXPECT_STREQ("--trace-size: '/dev/null' is no plain file", error.what());
  }
}

TEST_F(RotatedTrace, FileThatWasMovedAwayIsReplaced) {
  FrameTrace trace("trace.log", "bus0");
  transfer(trace, {"001#"});
  std::filesystem::rename("trace.log", "moved.log");
  transfer(trace, {"002#"});
  trace.reopen();
  transfer(trace, {"003#"});
  EXPECT_EQ("001#002#", read("moved.log"));
  EXPECT_EQ("003#", read("trace.log"));
}

TEST_F(RotatedTrace, FileThatWasNotMovedAwayGoesOn) {
  FrameTrace trace("trace.log", "bus0", TWO_LINES);
  transfer(trace, {"001#"});
  trace.reopen();
  transfer(trace, {"002#", "003#"});
  EXPECT_EQ("001#002#", read("trace.log.1"));
  EXPECT_EQ("003#", read("trace.log"));
}

TEST_F(RotatedTrace, FileThatCannotBeOpenedAgainGoesOnAndSaysSo) {
  FrameTrace trace("trace.log", "bus0");
  transfer(trace, {"001#"});
  std::filesystem::rename("trace.log", "moved.log");
  std::filesystem::create_directory("trace.log");
  trace.reopen();
  transfer(trace, {"002#"});
  EXPECT_EQ("001#002#", read("moved.log"));
  EXPECT_EQ("tavo-panel: cannot open the trace 'trace.log' again: Is a directory\n", output.takeErrors());
}

}  // namespace
