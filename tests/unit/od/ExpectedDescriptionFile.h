#ifndef TESTS_UNIT_OD_EXPECTED_DESCRIPTION_FILE_H
#define TESTS_UNIT_OD_EXPECTED_DESCRIPTION_FILE_H

#include <string>
#include <vector>

#include "StandardObjectsTable.h"

namespace test {

/// The parts of a description file that differ from run to run.
struct ExpectedFileData {
  std::string time;  ///< "9:5 AM "
  std::string date;  ///< "3-7-2024"
  std::string orderCode;
  std::string productNumber = "0x0";
  std::string revisionNumber = "0x0";
};

/// Everything before the lists of optional objects.
std::string expectedFileHeader(const ExpectedFileData& data);

/// A whole file of objects that were added in this order and hold their defaults.
std::string expectedFile(const ExpectedFileData& data, const std::vector<ExpectedObject>& objects);

/// The value of "OrderCode=" in a file, which is the vendor's to choose.
std::string orderCodeOf(const std::string& file);

}  // namespace test

#endif
