#ifndef TESTS_UNIT_OD_DICTIONARY_FIXTURE_H
#define TESTS_UNIT_OD_DICTIONARY_FIXTURE_H

#include <gtest/gtest.h>

#include <string>

#include "CapturedOutput.h"
#include "KQCANopenObjectDictionary.h"

namespace test {

/// SDO abort codes that the dictionary itself answers with.
constexpr int ABORT_WRITE_ONLY = 0x06010001;
constexpr int ABORT_READ_ONLY = 0x06010002;
constexpr int ABORT_UNSUPPORTED_ACCESS = 0x06010000;
constexpr int ABORT_HARDWARE_ERROR = 0x06060000;
constexpr int ABORT_TOO_LONG = 0x06070012;
constexpr int ABORT_VALUE_RANGE = 0x06090030;
constexpr int ABORT_VALUE_TOO_HIGH = 0x06090031;
constexpr int ABORT_NO_SIGNATURE = 0x08000023;

/// The stored form of a 32-bit pattern.
constexpr int stored(unsigned int pattern) {
  return static_cast<int>(pattern);
}

/// The full range of an unsigned 32-bit object.
constexpr int NO_UPPER_LIMIT = -1;

constexpr unsigned int objectKey(unsigned short index, unsigned char subIndex) {
  return static_cast<unsigned int>(index) << 16 | subIndex;
}

/// Names the cases of a table by the member `name` of its rows.
struct RowName {
  template <typename Row>
  std::string operator()(const testing::TestParamInfo<Row>& info) const {
    return info.param.name;
  }
};

inline RowName rowName() {
  return {};
}

/// An empty dictionary without store, instance and handlers; what it prints is captured.
class DictionaryFixture : public testing::Test {
protected:
  /// Adds an UNSIGNED32 "rw" sub-entry without limits, and its entry when there is none: a VAR, so that sub-index 0
  /// keeps the value given.
  void addObject(unsigned short index, unsigned char subIndex, int value,
                 KQ::KQCANopenDataType dataType = KQ::DATA_TYPE_UNSIGNED32,
                 KQ::KQCANopenAccessType access = KQ::ACCESS_RW) {
    dictionary.addEntry(index, KQ::OBJECT_TYPE_VAR, "Object");
    ASSERT_EQ(0, dictionary.addSubentry(index, subIndex, access, dataType, "Part", false, value, "", 0));
    ASSERT_EQ(0, dictionary.setLimits(index, subIndex, 0, NO_UPPER_LIMIT));
  }

  void addText(unsigned short index, unsigned char subIndex, const std::string& text,
               KQ::KQCANopenAccessType access = KQ::ACCESS_RW) {
    dictionary.addEntry(index, KQ::OBJECT_TYPE_VAR, "Object");
    ASSERT_EQ(0,
              dictionary.addSubentry(index, subIndex, access, KQ::DATA_TYPE_VISIBLE_STRING, "Text", false, 0, text, 0));
  }

  /// The value that the dictionary itself holds.
  int storedValue(unsigned short index, unsigned char subIndex) const {
    const int* const value = dictionary.getPointerToValue(index, subIndex);
    EXPECT_NE(nullptr, value);
    return value == nullptr ? 0 : *value;
  }

  CapturedOutput output;
  KQ::KQCANopenObjectDictionary dictionary;
};

}  // namespace test

#endif
