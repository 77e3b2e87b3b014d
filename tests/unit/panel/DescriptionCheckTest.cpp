// Covers: what the panel says of a description that it is only to check.
//
// | subject                                                                         | functional | robustness |
// |---------------------------------------------------------------------------------|------------|------------|
// | exit status and lines of --check for a file that is in order, odd or wrong      | x          |            |
// | each line of a file missing, each key twice, each number in a base that is none |            | x          |
// | each section twice, wrong types, endless lines, rubbish, files that end early   |            | x          |

#include "DescriptionCheck.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>

#include "PanelOptions.h"
#include "TemporaryDirectory.h"
#include "TestSeed.h"

namespace {

constexpr int CLEAN = 0;
constexpr int WARNINGS = 1;
constexpr int ERRORS = 2;

// A line of a file that is in order, and what it leads to when it is missing.
struct Line {
  const char* text;
  int statusWithout;
  bool isNumber = false;
};

constexpr Line LINES[] = {
    {"[FileInfo]", WARNINGS},  // its keys stand before the first section
    {"FileName=app.eds", CLEAN},
    {"CreationDate=11-22-2025", CLEAN},
    {"[DeviceInfo]", WARNINGS},
    {"VendorName=Vendor", CLEAN},
    {"VendorNumber=0x1F0", CLEAN, true},
    {"ProductNumber=500", CLEAN, true},
    {"RevisionNumber=1", CLEAN, true},
    {"[OptionalObjects]", WARNINGS},
    {"SupportedObjects=3", ERRORS, true},
    {"1=0x1017", WARNINGS, true},
    {"2=0x1800", WARNINGS, true},
    {"3=0x1A00", WARNINGS, true},
    {"[ManufacturerObjects]", ERRORS},  // its keys are given twice then, those of the list before
    {"SupportedObjects=2", ERRORS, true},
    {"1=0x2000", WARNINGS, true},
    {"2=0x2001", WARNINGS, true},
    {"[1017]", WARNINGS},  // its keys are taken for those of the list before
    {"ParameterName=Producer heartbeat time", ERRORS},
    {"ObjectType=0x7", CLEAN, true},
    {"DataType=0x0006", ERRORS, true},
    {"AccessType=rw", ERRORS},
    {"DefaultValue=1000", CLEAN, true},
    {"PDOMapping=0", CLEAN, true},
    {"[1800]", ERRORS},
    {"ParameterName=TPDO 1", ERRORS},
    {"ObjectType=0x9", ERRORS, true},
    {"SubNumber=2", ERRORS, true},
    {"[1800sub0]", ERRORS},
    {"ParameterName=Highest sub-index", ERRORS},
    {"DataType=0x0005", ERRORS, true},
    {"AccessType=ro", ERRORS},
    {"DefaultValue=5", CLEAN, true},
    {"[1800sub1]", ERRORS},
    {"ParameterName=COB-ID", ERRORS},
    {"DataType=0x0007", ERRORS, true},
    {"AccessType=rw", ERRORS},
    {"DefaultValue=$NODEID+0x40000180", WARNINGS, true},
    {"[1A00]", ERRORS},
    {"ParameterName=TPDO 1 mapping", ERRORS},
    {"ObjectType=0x9", ERRORS, true},
    {"SubNumber=2", ERRORS, true},
    {"[1A00sub0]", ERRORS},
    {"ParameterName=Number", ERRORS},
    {"DataType=0x0005", ERRORS, true},
    {"AccessType=rw", ERRORS},
    {"DefaultValue=1", CLEAN, true},
    {"[1A00sub1]", ERRORS},
    {"ParameterName=First", ERRORS},
    {"DataType=0x0007", ERRORS, true},
    {"AccessType=rw", ERRORS},
    {"DefaultValue=0x20000010", WARNINGS, true},
    {"[2000]", ERRORS},
    {"ParameterName=Speed", ERRORS},
    {"ObjectType=0x7", CLEAN, true},
    {"DataType=0x0003", ERRORS, true},
    {"AccessType=rw", ERRORS},
    {"LowLimit=-100", CLEAN, true},
    {"HighLimit=100", CLEAN, true},
    {"DefaultValue=-7", CLEAN, true},
    {"PDOMapping=1", WARNINGS, true},
    {"[2001]", ERRORS},
    {"ParameterName=Valve", ERRORS},
    {"ObjectType=0x8", ERRORS, true},
    {"DataType=0x0005", ERRORS, true},
    {"AccessType=rw", ERRORS},
    {"CompactSubObj=2", ERRORS, true},
    {"[2001Name]", WARNINGS},
    {"NrOfEntries=1", ERRORS, true},
    {"1=First valve", WARNINGS},
};

constexpr std::size_t LINE_COUNT = std::size(LINES);

std::string getKey(const Line& line) {
  const std::string text = line.text;
  return text.substr(0, text.find('='));
}

bool isSection(const Line& line) {
  return line.text[0] == '[';
}

// The whole file, one line of it replaced.
std::string withLine(std::size_t number, const std::string& replacement) {
  std::string text;
  for (std::size_t i = 0; i < LINE_COUNT; ++i) {
    text += i == number ? replacement : std::string(LINES[i].text) + "\n";
  }
  return text;
}

class DescriptionCheck : public testing::Test {
protected:
  int check(const std::string& text) {
    std::ofstream("app.eds", std::ios::binary) << text;
    panel::PanelOptions options;
    options.check = "app.eds";
    console.str("");
    return panel::checkDescription(options, console);
  }

  // Each line says how bad it is, and names the file; nothing in it troubles a terminal.
  void expectClearLines(int status) {
    std::istringstream lines(console.str());
    std::string line;
    std::string last;
    for (; std::getline(lines, line); last = line) {
      EXPECT_LT(line.size(), 400U);
      for (const char letter : line) {
        ASSERT_TRUE(static_cast<unsigned char>(letter) >= 0x20 && static_cast<unsigned char>(letter) < 0x7F) << line;
      }
      EXPECT_NE(std::string::npos, line.find("app.eds: ")) << line;
    }
    EXPECT_EQ(console.str().find("error: app.eds: ") != std::string::npos, status == ERRORS) << console.str();
    EXPECT_EQ(last.find("; 0 errors, 0 warnings") != std::string::npos, status == CLEAN) << console.str();
  }

  std::ostringstream console;
  const test::TemporaryDirectory directory;
};

TEST_F(DescriptionCheck, FileInOrderIsClean) {
  EXPECT_EQ(CLEAN, check(withLine(LINE_COUNT, "")));
  EXPECT_EQ("app.eds: 2 application objects, 1 PDOs for node 5; 0 errors, 0 warnings\n", console.str());
}

TEST_F(DescriptionCheck, MissingFileIsAnError) {
  panel::PanelOptions options;
  options.check = "missing.eds";
  EXPECT_EQ(ERRORS, panel::checkDescription(options, console));
  EXPECT_EQ(
      "error: missing.eds: cannot be read: No such file or directory\n"
      "missing.eds: 0 application objects, 0 PDOs for node 5; 1 errors, 0 warnings\n",
      console.str());
}

TEST_F(DescriptionCheck, EmptyFileIsAnError) {
  EXPECT_EQ(ERRORS, check(""));
}

TEST_F(DescriptionCheck, NodeIDIsThatOfTheFileUnlessItIsGiven) {
  std::ofstream("app.eds") << withLine(LINE_COUNT, "") << "[DeviceComissioning]\nNodeID=0x20\n";
  panel::PanelOptions options;
  options.check = "app.eds";
  panel::checkDescription(options, console);
  EXPECT_NE(std::string::npos, console.str().find("for node 32;"));
  options.isNodeIDGiven = true;
  console.str("");
  panel::checkDescription(options, console);
  EXPECT_NE(std::string::npos, console.str().find("for node 5;"));
}

class BrokenDescriptionLine : public DescriptionCheck, public testing::WithParamInterface<std::size_t> {};

TEST_P(BrokenDescriptionLine, Missing) {
  const int status = check(withLine(GetParam(), ""));
  EXPECT_EQ(LINES[GetParam()].statusWithout, status) << LINES[GetParam()].text << '\n' << console.str();
  expectClearLines(status);
}

TEST_P(BrokenDescriptionLine, GivenTwice) {
  const std::string line = std::string(LINES[GetParam()].text) + "\n";
  const int status = check(withLine(GetParam(), line + line));
  EXPECT_EQ(isSection(LINES[GetParam()]) ? WARNINGS : ERRORS, status) << line << console.str();
  EXPECT_NE(std::string::npos,
            console.str().find(isSection(LINES[GetParam()]) ? "is given more than once" : "is given 2 times"));
  expectClearLines(status);
}

TEST_P(BrokenDescriptionLine, CutInItsMiddle) {
  const std::string line = LINES[GetParam()].text;
  const std::string start = withLine(GetParam(), "\1");
  const int status = check(start.substr(0, start.find('\1')) + line.substr(0, line.size() / 2));
  EXPECT_GE(status, CLEAN);
  EXPECT_LE(status, ERRORS);
  expectClearLines(status);
}

INSTANTIATE_TEST_SUITE_P(Lines, BrokenDescriptionLine, testing::Range(std::size_t{0}, LINE_COUNT));

std::vector<std::size_t> getNumberLines() {
  std::vector<std::size_t> lines;
  for (std::size_t i = 0; i < LINE_COUNT; ++i) {
    if (LINES[i].isNumber) {
      lines.push_back(i);
    }
  }
  return lines;
}

class BrokenDescriptionNumber : public DescriptionCheck,
                                public testing::WithParamInterface<std::tuple<std::size_t, const char*>> {};

TEST_P(BrokenDescriptionNumber, IsAnErrorThatNamesKeyAndText) {
  const auto [number, found] = GetParam();
  const std::string key = getKey(LINES[number]);
  const int status = check(withLine(number, key + "=" + found + "\n"));
  EXPECT_EQ(ERRORS, status) << LINES[number].text << '\n' << console.str();
  EXPECT_NE(std::string::npos, console.str().find("] " + key + ": '" + found + "'")) << console.str();
  EXPECT_NE(std::string::npos, console.str().find("expected"));
  expectClearLines(status);
}

INSTANTIATE_TEST_SUITE_P(Bases, BrokenDescriptionNumber,
                         testing::Combine(testing::ValuesIn(getNumberLines()),
                                          testing::Values("10h", "0b1", "0x1G", "08", "1e3", "five", "$NODEID-1",
                                                          "99999999999999999999", "-99999999999")));

struct BrokenCase {
  const char* name;
  std::string text;
  int status;
  const char* message;
};

class BrokenDescription : public DescriptionCheck, public testing::WithParamInterface<BrokenCase> {};

TEST_P(BrokenDescription, IsToldClearly) {
  const int status = check(GetParam().text);
  EXPECT_EQ(GetParam().status, status) << console.str();
  EXPECT_NE(std::string::npos, console.str().find(GetParam().message)) << console.str();
  expectClearLines(status);
}

const std::string GOOD = withLine(LINE_COUNT, "");
const std::string LISTED =
    "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=1\n1=0x2000\n[2000]\nParameterName=V\n";

INSTANTIATE_TEST_SUITE_P(
    Texts, BrokenDescription,
    testing::Values(
        BrokenCase{"NoEds", "this is no EDS\n", ERRORS, "line 1: 'this is no EDS' is neither [section] nor key=value"},
        BrokenCase{"EndlessName",
                   LISTED + "DataType=5\nAccessType=rw\nDefaultValue=" + std::string(1000000, '1') + "\n", ERRORS,
                   "...' is not a number"},
        BrokenCase{"EndlessRubbish", GOOD + std::string(1000000, '='), ERRORS, "===...' is neither"},
        BrokenCase{"EndlessSection", GOOD + "[" + std::string(1000000, '2') + "]\n", CLEAN, "2..."},
        BrokenCase{"EndlessKey", GOOD + std::string(1000000, 'k') + "=1\n", WARNINGS, "kkk...: is no sub-index"},
        BrokenCase{"OpenSection", GOOD + "[2002\n", ERRORS, "'[2002' has no ']', expected [section]"},
        BrokenCase{"NoKey", GOOD + "=5\n", ERRORS, "'=5' is neither [section] nor key=value"},
        BrokenCase{"ZeroBytes", GOOD + std::string("a=\0b\n", 5), ERRORS,
                   "'a=?b' has bytes of value 0, expected a text"},
        BrokenCase{"EscapeSequence", GOOD + "\x1B[2J\n", ERRORS, "'?[2J' is neither"},
        BrokenCase{"UTF16", std::string("\xFF\xFE[\0F\0i\0l\0e\0]\0", 14), ERRORS, "has bytes of value 0"},
        BrokenCase{"OldMacintoshLineEnds", "[ManufacturerObjects]\rSupportedObjects=0\r[DeviceInfo]\r", CLEAN,
                   "0 errors"}),
    [](const auto& tested) { return std::string(tested.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Objects, BrokenDescription,
    testing::Values(
        BrokenCase{"AccessUnknown", LISTED + "DataType=5\nAccessType=read\n", ERRORS,
                   "[2000] AccessType: 'read', expected ro, wo, rw, rwr, rww or const"},
        BrokenCase{"ObjectTypeUnknown", LISTED + "ObjectType=3\nDataType=5\nAccessType=rw\n", ERRORS,
                   "[2000] ObjectType: '3', expected VAR (0x7), ARRAY (0x8), RECORD (0x9)"},
        BrokenCase{"DataTypeOutOfRange", LISTED + "DataType=0x10000\nAccessType=rw\n", ERRORS,
                   "[2000] DataType: '0x10000' is out of range, expected a number from 1 to 0xFFFF"},
        BrokenCase{"DataTypeZero", LISTED + "DataType=0\nAccessType=rw\n", ERRORS,
                   "[2000] DataType: '0' is out of range"},
        BrokenCase{"DefaultTooLarge", LISTED + "DataType=5\nAccessType=rw\nDefaultValue=256\n", ERRORS,
                   "[2000] DefaultValue: '256' does not fit into UNSIGNED8, expected 0 to 255"},
        BrokenCase{"DefaultNegative", LISTED + "DataType=7\nAccessType=rw\nDefaultValue=-1\n", ERRORS,
                   "[2000] DefaultValue: '-1' does not fit into UNSIGNED32, expected 0 to 4294967295"},
        BrokenCase{"DefaultOutsideLimits", LISTED + "DataType=5\nAccessType=rw\nHighLimit=10\nDefaultValue=11\n",
                   ERRORS, "[2000] DefaultValue: '11' is outside LowLimit to HighLimit, expected the lowest to 10"},
        BrokenCase{"LimitTooLarge", LISTED + "DataType=5\nAccessType=rw\nHighLimit=0x100\n", ERRORS,
                   "[2000] HighLimit: '0x100' does not fit into UNSIGNED8"},
        BrokenCase{"TextForANumber", LISTED + "DataType=5\nAccessType=rw\nDefaultValue=on\n", ERRORS,
                   "[2000] DefaultValue: 'on' is not a number, expected decimal, 0x hexadecimal or 0 octal"},
        BrokenCase{"MappingNeitherYesNorNo", LISTED + "DataType=5\nAccessType=rw\nPDOMapping=2\n", ERRORS,
                   "[2000] PDOMapping: '2' is out of range, expected a number from 0 to 1"},
        BrokenCase{"SubNumberZero", LISTED + "ObjectType=9\nSubNumber=0\n", ERRORS,
                   "[2000] SubNumber: '0' is out of range"},
        BrokenCase{"CompactTooMany", LISTED + "ObjectType=8\nDataType=5\nAccessType=rw\nCompactSubObj=255\n", ERRORS,
                   "[2000] CompactSubObj: '255' is out of range, expected a number from 0 to 254"},
        BrokenCase{"IndexTooLarge", "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=1\n1=0x10000\n", ERRORS,
                   "[ManufacturerObjects] 1: '0x10000' is out of range, expected a number from 1 to 0xFFFF"},
        BrokenCase{"CommissionedNodeIDTooHigh", GOOD + "[DeviceComissioning]\nNodeID=128\n", ERRORS,
                   "[DeviceComissioning] NodeID: '128' is out of range, expected a number from 1 to 127"},
        BrokenCase{"DomainLeftOut", LISTED + "DataType=0xF\nAccessType=rw\n", WARNINGS,
                   "[2000] DataType: DOMAIN is not a type that a variable can hold"}),
    [](const auto& tested) { return std::string(tested.param.name); });

// Most of it is no text; some begins like one.
TEST_F(DescriptionCheck, RubbishIsNoReasonToCrash) {
  std::mt19937 random(test::chooseSeed());
  for (int i = 0; i < 50; ++i) {
    std::string text = GOOD.substr(0, random() % GOOD.size());
    for (int k = 0; k < 2000; ++k) {
      text += static_cast<char>(random());
    }
    expectClearLines(check(text));
  }
}

TEST_F(DescriptionCheck, ChangedBytesAreNoReasonToCrash) {
  std::mt19937 random(test::chooseSeed());
  for (int i = 0; i < 300; ++i) {
    std::string text = GOOD;
    for (int k = 0; k < 5; ++k) {
      text[random() % text.size()] = "[]=\n\r\t;$0x9sub-+\xFF"[random() % 18];
    }
    expectClearLines(check(text));
  }
}

}  // namespace
