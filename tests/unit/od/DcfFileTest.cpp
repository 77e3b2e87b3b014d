// Covers: the description file as a whole: its fixed parts, its clock, its lists of objects, and where it goes.
//
// | subject                                         | functional                                     | robustness |
// |-------------------------------------------------|------------------------------------------------|------------|
// | whole text                                      | fresh node, empty dictionary, with application |            |
// |                                                 | objects                                        |            |
// | creation and modification time                  | 12-hour clock, dates                           |            |
// | product and revision number, readable or not    | x                                              |            |
// | lists of objects                                | bounds, early end, numbering                   |            |
// | "cout", replacing a file, file names            | x                                              |            |
// | locale of the application, format of its output | x                                              |            |
// | stream                                          |                                                |            |
// | a file that cannot be opened                    |                                                | x          |

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <locale>
#include <string>
#include <vector>

#include "ChangedStreamFormat.h"
#include "DcfFixture.h"
#include "KQErrorCodes.h"

using namespace KQ;

namespace {

class DcfFile : public test::DcfFixture {};

TEST_F(DcfFile, OfAFreshNode) {
  dictionary.createPreDefinedConnectionSet();
  const std::string text = directory.read("tavo_default.dcf");
  test::ExpectedFileData data = fileDataOf(text);
  data.productNumber = "0x54";
  data.revisionNumber = "0x1";
  EXPECT_EQ(test::expectedFile(data, test::standardObjects({})), text);
}

TEST_F(DcfFile, OfAnEmptyDictionary) {
  const std::string text = exported();
  EXPECT_EQ(test::expectedFileHeader(fileDataOf(text)) +
                "[OptionalObjects]\nSupportedObjects=0\n\n[ManufacturerObjects]\nSupportedObjects=0\n\n",
            text);
}

TEST_F(DcfFile, OfANodeWithManyApplicationObjects) {
  dictionary.createPreDefinedConnectionSet();
  std::vector<test::ExpectedObject> objects = test::standardObjects({});
  for (unsigned short i = 0; i < 60; ++i) {
    const auto index = static_cast<unsigned short>(0x2000 + 7 * i);
    dictionary.addEntry(index, OBJECT_TYPE_VAR, "Variable");
    dictionary.addSubentry(index, 0, ACCESS_RWR, DATA_TYPE_UNSIGNED32, "Variable", true, i, "", 0);
    objects.push_back({index, 7, "Variable", 0, "Variable", "rwr", 7, i, "", 0, 0x7FFFFFFF, true});
  }
  const std::string text = exported();
  test::ExpectedFileData data = fileDataOf(text);
  data.productNumber = "0x54";
  data.revisionNumber = "0x1";
  EXPECT_EQ(test::expectedFile(data, objects), text);
}

TEST_F(DcfFile, NamesAnOrderCode) {
  EXPECT_NE("", test::orderCodeOf(exported()));
}

TEST_F(DcfFile, HasNoCarriageReturn) {
  dictionary.createPreDefinedConnectionSet();
  EXPECT_EQ(std::string::npos, exported().find('\r'));
}

// ---- clock

struct ClockRow {
  const char* name;
  long seconds;  // since the start of 2024-03-07
  const char* time;
};

class DcfClock : public test::DcfFixture, public testing::WithParamInterface<ClockRow> {};

TEST_P(DcfClock, IsWrittenInTwelveHours) {
  test::wallClock = MORNING - 9 * 3600 - 5 * 60 + GetParam().seconds;
  const std::string text = exported();
  EXPECT_NE(std::string::npos,
            text.find(std::string("\nCreationTime=") + GetParam().time + "\nCreationDate=3-7-2024\nCreatedBy="));
  EXPECT_NE(std::string::npos, text.find(std::string("\nModificationTime=") + GetParam().time +
                                         "\nModificationDate=3-7-2024\nModifiedBy"));
}

constexpr long at(long hours, long minutes) {
  return hours * 3600 + minutes * 60;
}

const ClockRow CLOCK[] = {
    {"Midnight", at(0, 0), "12:0 AM "},
    {"HalfPastMidnight", at(0, 30), "12:30 AM "},
    {"One", at(1, 0), "1:0 AM "},
    {"Morning", at(9, 5), "9:5 AM "},
    {"Ten", at(10, 10), "10:10 AM "},
    {"BeforeNoon", at(11, 59), "11:59 AM "},
    {"Noon", at(12, 0), "12:0 PM "},
    {"AfterNoon", at(12, 59), "12:59 PM "},
    {"Thirteen", at(13, 7), "1:7 PM "},
    {"Evening", at(22, 9), "10:9 PM "},
    {"LastMinute", at(23, 59), "11:59 PM "},
};

INSTANTIATE_TEST_SUITE_P(Hours, DcfClock, testing::ValuesIn(CLOCK), test::rowName());

struct DateRow {
  const char* name;
  long seconds;
  const char* date;
};

class DcfDate : public test::DcfFixture, public testing::WithParamInterface<DateRow> {};

TEST_P(DcfDate, IsMonthDayYear) {
  test::wallClock = GetParam().seconds;
  const std::string text = exported();
  EXPECT_NE(std::string::npos, text.find(std::string("\nCreationDate=") + GetParam().date + "\n"));
  EXPECT_NE(std::string::npos, text.find(std::string("\nModificationDate=") + GetParam().date + "\n"));
}

const DateRow DATES[] = {
    {"FirstOfTheYear", 1704067200, "1-1-2024"},
    {"LastOfTheYear", 1704067199, "12-31-2023"},
    {"LeapDay", 1709164800, "2-29-2024"},
};

INSTANTIATE_TEST_SUITE_P(Days, DcfDate, testing::ValuesIn(DATES), test::rowName());

// ---- product and revision number

class DcfIdentity : public test::DcfFixture {
protected:
  // The two lines as they stand in the file.
  std::string numbers() {
    const std::string text = exported();
    const std::size_t begin = text.find("ProductNumber=");
    return text.substr(begin, text.find("OrderCode=") - begin);
  }
};

TEST_F(DcfIdentity, NumbersComeFromTheIdentityObject) {
  addObject(0x1018, 2, 0xABC);
  addObject(0x1018, 3, -1);
  EXPECT_EQ("ProductNumber=0xabc\nRevisionNumber=0xffffffff\n", numbers());
}

TEST_F(DcfIdentity, CurrentValuesCount) {
  addObject(0x1018, 2, 1);
  addObject(0x1018, 3, 2);
  dictionary.setValue(0x1018, 2, 0x11, true);
  dictionary.setValue(0x1018, 3, 0x12, true);
  EXPECT_EQ("ProductNumber=0x11\nRevisionNumber=0x12\n", numbers());
}

TEST_F(DcfIdentity, MissingRevisionShowsTheProductNumber) {
  addObject(0x1018, 2, 0x54);
  EXPECT_EQ("ProductNumber=0x54\nRevisionNumber=0x54\n", numbers());
}

TEST_F(DcfIdentity, MissingProductShowsZero) {
  addObject(0x1018, 3, 0x54);
  EXPECT_EQ("ProductNumber=0x0\nRevisionNumber=0x54\n", numbers());
}

TEST_F(DcfIdentity, UnreadableRevisionShowsTheProductNumber) {
  addObject(0x1018, 2, 0x54);
  addObject(0x1018, 3, 0x55, DATA_TYPE_UNSIGNED32, ACCESS_WO);
  EXPECT_EQ("ProductNumber=0x54\nRevisionNumber=0x54\n", numbers());
}

// ---- lists of objects

class DcfList : public test::DcfFixture {
protected:
  void addEntries(const std::vector<unsigned short>& indexes) {
    for (const unsigned short index : indexes) {
      dictionary.addEntry(index, OBJECT_TYPE_VAR, "Object");
    }
  }
};

TEST_F(DcfList, MandatoryObjectsAreFixed) {
  addEntries({0x1000});
  EXPECT_EQ("SupportedObjects=3\n1=0x1000\n2=0x1001\n3=0x1018\n", section(exported(), "MandatoryObjects"));
}

TEST_F(DcfList, MandatoryObjectsAreNotOptional) {
  addEntries({0x0001, 0x0FFF, 0x1000, 0x1001, 0x1018});
  EXPECT_EQ("SupportedObjects=0\n", section(exported(), "OptionalObjects"));
}

struct SingleRow {
  const char* name;
  unsigned short index;
  const char* optional;
  const char* manufacturer;
};

class DcfListBound : public DcfList, public testing::WithParamInterface<SingleRow> {};

TEST_P(DcfListBound, SingleEntryStandsInItsList) {
  addEntries({GetParam().index});
  const std::string text = exported();
  EXPECT_EQ(GetParam().optional, section(text, "OptionalObjects"));
  EXPECT_EQ(GetParam().manufacturer, section(text, "ManufacturerObjects"));
}

constexpr const char* NONE = "SupportedObjects=0\n";

const SingleRow BOUNDS[] = {
    {"LastMandatory", 0x1001, NONE, NONE},
    {"FirstOptional", 0x1002, "SupportedObjects=1\n1=0x1002\n", NONE},
    {"BeforeIdentity", 0x1017, "SupportedObjects=1\n1=0x1017\n", NONE},
    {"Identity", 0x1018, NONE, NONE},
    {"AfterIdentity", 0x1019, "SupportedObjects=1\n1=0x1019\n", NONE},
    {"LastOptional", 0x1FFF, "SupportedObjects=1\n1=0x1fff\n", NONE},
    {"FirstManufacturer", 0x2000, NONE, "SupportedObjects=1\n1=0x2000\n"},
    {"DeviceProfile", 0x6000, NONE, "SupportedObjects=1\n1=0x6000\n"},
    {"Highest", 0xFFFF, NONE, "SupportedObjects=1\n1=0xffff\n"},
};

INSTANTIATE_TEST_SUITE_P(Bounds, DcfListBound, testing::ValuesIn(BOUNDS), test::rowName());

// The map hands out new indexes of a bucket of their own first: 0x1006, 0x2000, 0x1005, and so on.
TEST_F(DcfList, OptionalObjectsEndAtTheFirstManufacturerObject) {
  addEntries({0x1005, 0x2000, 0x1006});
  EXPECT_EQ("SupportedObjects=1\n1=0x1006\n", section(exported(), "OptionalObjects"));
}

TEST_F(DcfList, OptionalObjectsBeforeTheFirstManufacturerObjectStandInMapOrder) {
  addEntries({0x2000, 0x1005, 0x1006});
  EXPECT_EQ("SupportedObjects=2\n1=0x1006\n2=0x1005\n", section(exported(), "OptionalObjects"));
}

TEST_F(DcfList, ManufacturerObjectsHaveNoEarlyEnd) {
  addEntries({0x2000, 0x1005, 0x2001, 0x1006});
  EXPECT_EQ("SupportedObjects=2\n1=0x2001\n2=0x2000\n", section(exported(), "ManufacturerObjects"));
}

// ---- where it goes

TEST_F(DcfFile, GoesToStandardOutputAsCout) {
  dictionary.createPreDefinedConnectionSet();
  const std::string text = directory.read("tavo_default.dcf");
  EXPECT_EQ(KQ_OK, dictionary.storeParameters("cout"));
  EXPECT_EQ(text, output.takeOutput());
  EXPECT_FALSE(std::filesystem::exists("cout"));
}

TEST_F(DcfFile, DoesNotDependOnTheFormatOfStandardOutput) {
  const std::string text = exported();
  const test::ChangedStreamFormat format;
  EXPECT_EQ(KQ_OK, dictionary.storeParameters("cout"));
  EXPECT_EQ(text, output.takeOutput());
  EXPECT_TRUE(format.isKept());
}

// Numbers as people in some countries write them.
class GroupedDigits : public std::numpunct<char> {
protected:
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST_F(DcfFile, DoesNotDependOnTheLocale) {
  dictionary.createPreDefinedConnectionSet();
  const std::string text = exported();
  const std::locale before = std::locale::global(std::locale(std::locale(), new GroupedDigits));
  const std::string grouped = exported();
  std::locale::global(before);
  EXPECT_EQ(text, grouped);
}

TEST_F(DcfFile, OtherSpellingsOfCoutAreFiles) {
  EXPECT_EQ(KQ_OK, dictionary.storeParameters("Cout"));
  EXPECT_EQ("", output.takeOutput());
  EXPECT_TRUE(std::filesystem::exists("Cout"));
}

TEST_F(DcfFile, PrintsNothingToStandardOutput) {
  exported();
  EXPECT_EQ("", output.takeOutput());
}

TEST_F(DcfFile, ReplacesALongerFile) {
  std::ofstream("export.dcf") << std::string(100000, 'x');
  const std::string text = exported();
  EXPECT_EQ(test::expectedFileHeader(fileDataOf(text)) +
                "[OptionalObjects]\nSupportedObjects=0\n\n[ManufacturerObjects]\nSupportedObjects=0\n\n",
            text);
}

TEST_F(DcfFile, SecondExportReplacesTheFirst) {
  const std::string first = exported();
  EXPECT_EQ(first, exported());
}

TEST_F(DcfFile, NameInTheFileIsAlwaysTheSame) {
  EXPECT_NE(std::string::npos, exported().find("\nFileName=tavo.dcf\n"));
}

struct UnopenableRow {
  const char* name;
  const char* fileName;
};

class UnopenableDcfFile : public test::DcfFixture, public testing::WithParamInterface<UnopenableRow> {};

TEST_P(UnopenableDcfFile, IsReported) {
  std::filesystem::create_directory("directory.dcf");
  EXPECT_EQ(KQ_FILE_ERROR, dictionary.storeParameters(GetParam().fileName));
  EXPECT_EQ("", output.takeOutput());
}

const UnopenableRow UNOPENABLE[] = {
    {"Directory", "directory.dcf"}, {"MissingDirectory", "missing/export.dcf"}, {"NoName", ""}};

INSTANTIATE_TEST_SUITE_P(Files, UnopenableDcfFile, testing::ValuesIn(UNOPENABLE), test::rowName());

}  // namespace
