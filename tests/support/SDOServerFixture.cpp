#include "SDOServerFixture.h"

#include <cstdio>

#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"

namespace test {

namespace {

std::string hexadecimal(unsigned int byte) {
  char text[4];
  std::snprintf(text, sizeof text, "%02X", byte & 0xFFu);
  return text;
}

}  // namespace

void SDOServerFixture::bind(KQ::KQVariable& variable) {
  ASSERT_EQ(KQ::KQ_OK, node.canopen().addVariable(&variable)) << variable.getName();
}

void SDOServerFixture::addOwnNumber(unsigned short index, unsigned char subIndex, int bits, bool isSigned,
                                    int accessMode) {
  KQ::KQVariable variable(index, subIndex, "number", KQ::STORAGE_TYPE_INTEGER, bits, isSigned);
  variable.setAccessMode(accessMode);
  bind(variable);
}

void SDOServerFixture::addOwnNumber(unsigned short index, unsigned char subIndex, int bits, bool isSigned, int minimum,
                                    int maximum) {
  KQ::KQVariable variable(index, subIndex, "number", KQ::STORAGE_TYPE_INTEGER, bits, isSigned);
  variable.setMinimum(minimum);
  variable.setMaximum(maximum);
  bind(variable);
}

void SDOServerFixture::addOwnText(unsigned short index, unsigned char subIndex, const std::string& text,
                                  int accessMode) {
  KQ::KQVariable variable(index, subIndex, "text", KQ::STORAGE_TYPE_STRING);
  variable.setInitialText(text);
  variable.setAccessMode(accessMode);
  bind(variable);
}

void SDOServerFixture::addObject(unsigned short index, unsigned char subIndex, KQ::KQCANopenDataType dataType,
                                 KQ::KQCANopenAccessType accessType) {
  const bool isText = dataType == KQ::DATA_TYPE_VISIBLE_STRING;
  const KQ::KQVariable variable(index, subIndex, "object", isText ? KQ::STORAGE_TYPE_STRING : KQ::STORAGE_TYPE_INTEGER);
  ASSERT_EQ(KQ::KQ_OK, KQ::KQDEI::instance()->addVariable(&variable));
  addObjectWithoutVariable(index, subIndex, dataType, accessType);
}

void SDOServerFixture::addObjectWithoutVariable(unsigned short index, unsigned char subIndex,
                                                KQ::KQCANopenDataType dataType, KQ::KQCANopenAccessType accessType) {
  node.dictionary().addEntry(index, KQ::OBJECT_TYPE_RECORD, "object");
  ASSERT_EQ(KQ::KQ_OK,
            node.dictionary().addSubentry(index, subIndex, accessType, dataType, "object", false, 0, std::string(), 0));
}

void SDOServerFixture::addChannel(unsigned short index, int first, int second) {
  KQ::KQCANopenObjectDictionary& dictionary = node.dictionary();
  ASSERT_EQ(KQ::KQ_OK, dictionary.addEntry(index, KQ::OBJECT_TYPE_RECORD, "SDO parameter"));
  dictionary.addSubentry(index, 1, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32, "first", false, first, std::string(), 0);
  dictionary.addSubentry(index, 2, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32, "second", false, second, std::string(), 0);
  ASSERT_EQ(KQ::KQ_OK, server().init());
}

void SDOServerFixture::store(unsigned short index, unsigned char subIndex, int value) {
  ASSERT_EQ(KQ::KQ_OK, KQ::KQDEI::instance()->setVariableValue(index, subIndex, value, false, false));
}

int SDOServerFixture::stored(unsigned short index, unsigned char subIndex) {
  int value = 0;
  EXPECT_EQ(KQ::KQ_OK, KQ::KQDEI::instance()->getVariableValue(index, subIndex, &value));
  return value;
}

std::string SDOServerFixture::storedText(unsigned short index, unsigned char subIndex) {
  std::string value;
  EXPECT_EQ(KQ::KQ_OK, KQ::KQDEI::instance()->getVariableValue(index, subIndex, &value));
  return value;
}

std::string pattern(std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text += static_cast<char>('a' + i % 26);
  }
  return text;
}

std::string segment(unsigned int command, const std::string& text) {
  std::string bytes = hexadecimal(command);
  for (std::size_t i = 0; i < 7; ++i) {
    bytes += ' ' + hexadecimal(i < text.size() ? static_cast<unsigned char>(text[i]) : 0u);
  }
  return bytes;
}

std::string multiplexer(unsigned short index, unsigned char subIndex) {
  return hexadecimal(index & 0xFFu) + ' ' + hexadecimal(index >> 8u) + ' ' + hexadecimal(subIndex);
}

}  // namespace test
