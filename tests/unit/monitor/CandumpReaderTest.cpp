// Covers: the lines of candump logs, and whatever else a file may hold.
//
// | subject                                                | functional                                | robustness |
// |--------------------------------------------------------|-------------------------------------------|------------|
// | forms of a line                                        | time, identifier, data, remote, FD, error |            |
// | direction in both forms; what a terminal is shown      | x                                         |            |
// | lines that are none, at the boundary of being one      |                                           | x          |
// | long lines, no line end, blank lines, no bytes, binary |                                           | x          |
// | rubbish                                                |                                           |            |
// | a pipe that brings a line in pieces                    | x                                         |            |

#include "CandumpReader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <thread>

#include "NamedCase.h"

namespace {

using monitor::CandumpReader;
using monitor::LoggedFrame;
using Item = CandumpReader::Item;

// "time interface kind identifier length data direction" of a line; "none" for one that is no frame.
std::string parsed(const std::string& line) {
  static constexpr const char* KINDS[] = {"data", "remote", "extended", "fd", "error"};
  LoggedFrame logged;
  if (!CandumpReader::parseLine(line, logged)) {
    return "none";
  }
  char text[64];
  std::snprintf(text, sizeof text, " %s %X %u ", KINDS[static_cast<unsigned int>(logged.frame.kind)],
                logged.frame.identifier, static_cast<unsigned int>(logged.frame.length));
  std::string result = std::to_string(logged.frame.microseconds) + " " + std::string(logged.interface) + text;
  for (unsigned int i = 0; i < logged.frame.length && logged.frame.kind != monitor::FrameKind::REMOTE; ++i) {
    std::snprintf(text, sizeof text, "%02X", static_cast<unsigned int>(logged.frame.data[i]));
    result += text;
  }
  return result + (logged.direction == ' ' ? "" : std::string(" ") + logged.direction);
}

struct LineCase : test::NamedCase {
  const char* line;
  const char* frame;
};

class CandumpLine : public ::testing::TestWithParam<LineCase> {};

TEST_P(CandumpLine, IsTakenApart) {
  EXPECT_EQ(GetParam().frame, parsed(GetParam().line));
}

const LineCase LINES[] = {
    {{"Usual"}, "(1700000000.123456) can0 705#00", "1700000000123456 can0 data 705 1 00"},
    {{"NoData"}, "(1.000000) can0 080#", "1000000 can0 data 80 0 "},
    {{"EightBytes"}, "(0.0) can0 7FF#0102030405060708", "0 can0 data 7FF 8 0102030405060708"},
    {{"LowerCase"}, "(0.0) can0 1ab#cd", "0 can0 data 1AB 1 CD"},
    {{"DotsBetweenBytes"}, "(0.0) can0 123#11.22.33", "0 can0 data 123 3 112233"},
    {{"Nanoseconds"}, "(1700000000.123456789) can0 705#00", "1700000000123456 can0 data 705 1 00"},
    {{"Milliseconds"}, "(12.345) can0 705#00", "12345000 can0 data 705 1 00"},
    {{"WholeSeconds"}, "(12) can0 705#00", "12000000 can0 data 705 1 00"},
    {{"PaddedSeconds"}, "(0000000012.000001) can0 705#00", "12000001 can0 data 705 1 00"},
    {{"WithoutTime"}, "can0 705#00", "0 can0 data 705 1 00"},
    {{"Received"}, "(0.0) can0 705#00 R", "0 can0 data 705 1 00 R"},
    {{"Sent"}, "(0.0) can0 705#00 T", "0 can0 data 705 1 00 T"},
    {{"LineEndOfOtherSystems"}, "(0.0) can0 705#00 T\r", "0 can0 data 705 1 00 T"},
    {{"Remote"}, "(0.0) can0 705#R", "0 can0 remote 705 0 "},
    {{"RemoteWithLength"}, "(0.0) can0 705#R8", "0 can0 remote 705 8 "},
    {{"RemoteWithLengthAboveEight"}, "(0.0) can0 705#R9", "0 can0 remote 705 8 "},
    {{"Extended"}, "(0.0) can0 1FFFFFFF#00", "0 can0 extended 1FFFFFFF 1 00"},
    {{"ExtendedWithASmallNumber"}, "(0.0) can0 00000705#00", "0 can0 extended 705 1 00"},
    {{"ExtendedRemote"}, "(0.0) can0 00000705#R", "0 can0 extended 705 0 "},
    {{"ErrorFrame"}, "(0.0) can0 20000004#0000000000000000", "0 can0 error 4 8 0000000000000000"},
    {{"FD"}, "(0.0) can0 123##1001122", "0 can0 fd 123 3 001122"},
    {{"FDWithoutData"}, "(0.0) can0 123##1", "0 can0 fd 123 0 "},
    {{"LongerLengthCode"}, "(0.0) can0 123#0102030405060708_C", "0 can0 data 123 8 0102030405060708"},
    {{"Shown"}, "(1.5)  can0  705   [1]  00", "1500000 can0 data 705 1 00"},
    {{"ShownWithoutTime"}, "  can0  705   [8]  00 11 22 33 44 55 66 77", "0 can0 data 705 8 0011223344556677"},
    {{"ShownWithoutData"}, "  can0  080   [0]", "0 can0 data 80 0 "},
    {{"ShownWithLetters"}, "  can0  705   [2]  41 42   'AB'", "0 can0 data 705 2 4142"},
    {{"ShownSent"}, "  can0  TX - -  705   [1]  00", "0 can0 data 705 1 00 T"},
    {{"ShownReceived"}, " (1.0)  can0  RX - -  705   [1]  00", "1000000 can0 data 705 1 00 R"},
    {{"ShownRemote"}, "  can0  705   [0]  remote request", "0 can0 remote 705 0 "},
    {{"ShownFD"}, "  can0  705  [03]  00 11 22", "0 can0 fd 705 3 001122"},
    {{"ShownErrorFrame"}, "  can0  20000004   [1]  00   ERRORFRAME", "0 can0 error 4 1 00"},
    {{"Nothing"}, "", "none"},
    {{"Words"}, "these are words", "none"},
    {{"InterfaceThatSteersATerminal"}, "(1.0) can\x1B 705#00", "none"},
    {{"TimeAlone"}, "(1.0)", "none"},
    {{"NoInterface"}, "(1.0) 705#00", "none"},
    {{"TimeNotClosed"}, "(1.0 can0 705#00", "none"},
    {{"TimeWithoutDigits"}, "(.5) can0 705#00", "none"},
    {{"TimeNegative"}, "(-1.5) can0 705#00", "none"},
    {{"TimeTooLong"}, "(1234567890123.0) can0 705#00", "none"},
    {{"IdentifierTooShort"}, "(1.0) can0 05#00", "none"},
    {{"IdentifierOfFourDigits"}, "(1.0) can0 0705#00", "none"},
    {{"IdentifierTooHigh"}, "(1.0) can0 800#00", "none"},
    {{"ExtendedTooHigh"}, "(1.0) can0 40000000#00", "none"},
    {{"IdentifierOfNineDigits"}, "(1.0) can0 000000705#00", "none"},
    {{"HalfAByte"}, "(1.0) can0 705#0", "none"},
    {{"NineBytes"}, "(1.0) can0 705#010203040506070809", "none"},
    {{"NoDigit"}, "(1.0) can0 705#0G", "none"},
    {{"FDWithoutFlags"}, "(1.0) can0 705##", "none"},
    {{"UnknownDirection"}, "(1.0) can0 705#00 X", "none"},
    {{"MoreBehindIt"}, "(1.0) can0 705#00 R more", "none"},
    {{"ShownTooFew"}, "  can0  705   [2]  00", "none"},
    {{"ShownNineBytes"}, "  can0  705   [9]  00 11 22 33 44 55 66 77 88", "none"},
    {{"ShownLengthNotClosed"}, "  can0  705   [1  00", "none"},
};
INSTANTIATE_TEST_SUITE_P(CandumpReader, CandumpLine, ::testing::ValuesIn(LINES), test::caseName<LineCase>);

TEST(CandumpLineData, TakesSixtyFourBytesOfFD) {
  EXPECT_EQ("0 can0 fd 123 64 A", parsed("(0.0) can0 123##0" + std::string(128, 'A')).substr(0, 18));
}

TEST(CandumpLineData, RefusesSixtyFiveBytesOfFD) {
  EXPECT_EQ("none", parsed("(0.0) can0 123##0" + std::string(130, 'A')));
}

// A pipe whose reading end is read.
class CandumpReaderTest : public ::testing::Test {
protected:
  CandumpReaderTest() { EXPECT_EQ(0, pipe(ends)); }
  ~CandumpReaderTest() override {
    closeWriter();
    close(ends[0]);
  }
  void put(const std::string& text) {
    EXPECT_EQ(static_cast<ssize_t>(text.size()), write(ends[1], text.data(), text.size()));
  }
  void closeWriter() {
    if (ends[1] >= 0) {
      close(ends[1]);
    }
    ends[1] = -1;
  }
  // What all lines are: 'F' for a frame, 'R' for one that is refused.
  std::string readAll(const std::string& text) {
    // More than a pipe holds: the writer must not wait for the reader, nor the other way round.
    std::thread writer([this, &text] {
      put(text);
      closeWriter();
    });
    CandumpReader reader(ends[0]);
    std::string items;
    LoggedFrame logged;
    for (Item item = reader.next(logged); item != Item::END; item = reader.next(logged)) {
      items += item == Item::FRAME ? 'F' : 'R';
      lineNumber = reader.getLineNumber();
    }
    writer.join();
    return items;
  }

  int ends[2]{-1, -1};
  std::uint64_t lineNumber{0};
};

const std::string LINE = "(1.0) can0 705#00";

TEST_F(CandumpReaderTest, ReadsOneLineAfterTheOther) {
  EXPECT_EQ("FRF", readAll(LINE + "\n" + "rubbish\n" + LINE + "\n"));
}

TEST_F(CandumpReaderTest, TakesALastLineWithoutItsEnd) {
  EXPECT_EQ("FF", readAll(LINE + "\n" + LINE));
}

TEST_F(CandumpReaderTest, LeavesOutBlankLinesButCountsThem) {
  EXPECT_EQ("F", readAll("\n \r\n" + LINE + "\n"));
  EXPECT_EQ(3U, lineNumber);
}

TEST_F(CandumpReaderTest, FindsNothingInNothing) {
  EXPECT_EQ("", readAll(""));
}

TEST_F(CandumpReaderTest, RefusesAnEndlessLineAndGoesOnBehindIt) {
  EXPECT_EQ("RF", readAll(LINE + std::string(1000000, ' ') + "\n" + LINE + "\n"));
}

TEST_F(CandumpReaderTest, RefusesALineThatIsALittleTooLong) {
  EXPECT_EQ("RF", readAll(LINE + std::string(4080, ' ') + "\n" + LINE + "\n"));
}

TEST_F(CandumpReaderTest, RefusesAnEndlessLineAtTheEnd) {
  EXPECT_EQ("FR", readAll(LINE + "\n" + std::string(1000000, 'x')));
}

TEST_F(CandumpReaderTest, TakesAnyBytes) {
  EXPECT_EQ("RF", readAll(std::string("\0\xFF\x80(1.0) can0\n", 14) + LINE + "\n"));
}

TEST_F(CandumpReaderTest, FindsEveryLineWhereverThePiecesEnd) {
  std::string text;
  for (int i = 0; i < 50000; ++i) {
    text += LINE + std::string(static_cast<std::size_t>(i % 7), ' ') + "\n";
  }
  EXPECT_EQ(std::string(50000, 'F'), readAll(text));
}

TEST_F(CandumpReaderTest, SaysWhetherALineIsThere) {
  put(LINE + "\n" + LINE.substr(0, 9));
  CandumpReader reader(ends[0]);
  LoggedFrame logged;
  EXPECT_FALSE(reader.hasLine());
  reader.next(logged);
  EXPECT_FALSE(reader.hasLine());
  put(LINE.substr(9) + "\n" + LINE + "\n");
  reader.next(logged);
  EXPECT_TRUE(reader.hasLine());
}

TEST_F(CandumpReaderTest, SaysWhyItCouldNotReadOn) {
  CandumpReader reader(ends[1]);
  LoggedFrame logged;
  EXPECT_EQ(Item::END, reader.next(logged));
  EXPECT_EQ(EBADF, reader.getError());
}

}  // namespace
