#ifndef TESTS_UNIT_OD_DCF_FIXTURE_H
#define TESTS_UNIT_OD_DCF_FIXTURE_H

#include <ctime>
#include <string>

#include "ExpectedDescriptionFile.h"
#include "FreshNodeFixture.h"
#include "KQTime.h"

namespace test {

/// The wall clock of the tests, in seconds since 1970-01-01 00:00:00 UTC.
inline long wallClock = 0;

/// A dictionary that exports description files, in UTC at 2024-03-07 09:05:00 unless told otherwise.
class DcfFixture : public FreshNodeFixture {
protected:
  static constexpr long MORNING = 1709802300;

  DcfFixture() {
    environment.set("TZ", "UTC");
    ::tzset();
    wallClock = MORNING;
    KQ::KQTime::setSource([] { return wallClock; });
  }

  ~DcfFixture() override { KQ::KQTime::setSource(nullptr); }

  /// The text of an export.
  std::string exported() {
    EXPECT_EQ(0, dictionary.storeParameters("export.dcf"));
    return directory.read("export.dcf");
  }

  /// The lines after a section's "[NAME]" up to the next blank line.
  static std::string section(const std::string& text, const std::string& name) {
    const std::string header = "\n[" + name + "]\n";
    const std::size_t found = text.find(header);
    if (found == std::string::npos) {
      return "no section " + name;
    }
    const std::size_t begin = found + header.size();
    return text.substr(begin, text.find("\n\n", begin) + 1 - begin);
  }

  static ExpectedFileData fileDataOf(const std::string& text) {
    ExpectedFileData data;
    data.time = "9:5 AM ";
    data.date = "3-7-2024";
    data.orderCode = orderCodeOf(text);
    return data;
  }
};

}  // namespace test

#endif
