// Covers: KQEeprom: the data of the device.
//
// | subject      | functional                                      | robustness                                      |
// |--------------|-------------------------------------------------|-------------------------------------------------|
// | sources      | defaults, file, environment, in this order of   |                                                 |
// |              | precedence                                      |                                                 |
// | product type | decimal, hexadecimal, octal, limits of 32 bits, | x                                               |
// |              | not a number                                    |                                                 |
// | file         |                                                 | missing, other lines, blanks, carriage returns, |
// |              |                                                 | first line counts                               |

#include "KQEeprom.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <cstdlib>

#include <fstream>
#include <map>
#include <string>

namespace KQ {
namespace {

// Starts without any of the variables, writes files to a name of its own, and puts everything back.
class Eeprom : public testing::Test {
protected:
  Eeprom() {
    for (const char* name : {"KQ_PRODUCT_TYPE", "KQ_SERIAL_NUMBER", "KQ_EEPROM_FILE"}) {
      if (const char* value = getenv(name)) {
        before[name] = value;
      }
      unsetenv(name);
    }
  }

  ~Eeprom() override {
    for (const char* name : {"KQ_PRODUCT_TYPE", "KQ_SERIAL_NUMBER", "KQ_EEPROM_FILE"}) {
      unsetenv(name);
    }
    for (const auto& [name, value] : before) {
      setenv(name.c_str(), value.c_str(), 1);
    }
    unlink(fileName.c_str());
  }

  void writeFile(const std::string& text) {
    std::ofstream(fileName, std::ios::binary) << text;
    setenv("KQ_EEPROM_FILE", fileName.c_str(), 1);
  }

private:
  const std::string fileName{testing::TempDir() + "kq_eeprom_test_" + std::to_string(getpid())};
  std::map<std::string, std::string> before;
};

TEST_F(Eeprom, HasDefaults) {
  EXPECT_EQ(0x54U, KQEeprom::getProductType());
  EXPECT_EQ("100000101", KQEeprom::getSerialNumber());
}

TEST_F(Eeprom, ReadsTheFile) {
  writeFile("product_type=18\nserial_number=200000203\n");
  EXPECT_EQ(18U, KQEeprom::getProductType());
  EXPECT_EQ("200000203", KQEeprom::getSerialNumber());
}

TEST_F(Eeprom, PrefersTheEnvironmentToTheFile) {
  writeFile("product_type=18\nserial_number=200000203\n");
  setenv("KQ_PRODUCT_TYPE", "19", 1);
  setenv("KQ_SERIAL_NUMBER", "300000304", 1);
  EXPECT_EQ(19U, KQEeprom::getProductType());
  EXPECT_EQ("300000304", KQEeprom::getSerialNumber());
}

TEST_F(Eeprom, TakesEachValueFromWhereItIsGiven) {
  writeFile("serial_number=200000203\n");
  setenv("KQ_PRODUCT_TYPE", "19", 1);
  EXPECT_EQ(19U, KQEeprom::getProductType());
  EXPECT_EQ("200000203", KQEeprom::getSerialNumber());
}

TEST_F(Eeprom, HasDefaultsWhenTheFileIsMissing) {
  setenv("KQ_EEPROM_FILE", "/nonexistent/eeprom", 1);
  EXPECT_EQ(0x54U, KQEeprom::getProductType());
  EXPECT_EQ("100000101", KQEeprom::getSerialNumber());
}

TEST_F(Eeprom, PassesOverOtherLines) {
  writeFile("# made in week 7\n\nproduct_type\n=5\nproduct_type_old=6\nproduct_type=7\nproduct_type=8\n");
  EXPECT_EQ(7U, KQEeprom::getProductType());
}

TEST_F(Eeprom, ToleratesBlanksAndCarriageReturns) {
  writeFile("product_type = 0x12 \r\nserial_number =\t400000405\r\n");
  EXPECT_EQ(0x12U, KQEeprom::getProductType());
  EXPECT_EQ("400000405", KQEeprom::getSerialNumber());
}

TEST_F(Eeprom, EmptySerialNumberCountsAsNotGiven) {
  setenv("KQ_SERIAL_NUMBER", "", 1);
  writeFile("serial_number=\n");
  EXPECT_EQ("100000101", KQEeprom::getSerialNumber());
}

struct ProductTypeCase {
  const char* name;
  const char* text;
  unsigned int expected;
};

class ProductType : public Eeprom, public testing::WithParamInterface<ProductTypeCase> {};

TEST_P(ProductType, IsANumberOf32Bits) {
  setenv("KQ_PRODUCT_TYPE", GetParam().text, 1);
  EXPECT_EQ(GetParam().expected, KQEeprom::getProductType());
}

INSTANTIATE_TEST_SUITE_P(Texts, ProductType,
                         testing::Values(ProductTypeCase{"Zero", "0", 0}, ProductTypeCase{"Decimal", "84", 84},
                                         ProductTypeCase{"Hexadecimal", "0x55", 0x55},
                                         ProductTypeCase{"Octal", "010", 8},
                                         ProductTypeCase{"Largest", "4294967295", 0xFFFFFFFFU},
                                         ProductTypeCase{"TooLarge", "4294967296", 0x54},
                                         ProductTypeCase{"FarTooLarge", "99999999999999999999", 0x54},
                                         ProductTypeCase{"Negative", "-1", 0x54}, ProductTypeCase{"Empty", "", 0x54},
                                         ProductTypeCase{"Word", "panel", 0x54}, ProductTypeCase{"Tail", "12x", 0x54}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace KQ
