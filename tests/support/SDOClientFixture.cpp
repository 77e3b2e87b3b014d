#include "SDOClientFixture.h"

#include <cstdio>

#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQVariable.h"
#include "StoredVariable.h"

namespace test {

namespace {

constexpr unsigned int REQUESTS_TO_NODE_6 = 0x606;
constexpr unsigned int REQUESTS_TO_NODE_7 = 0x607;
constexpr unsigned int FIRST_REMOTE_KEY = 0x60000010;

}  // namespace

SDOClientFixture::SDOClientFixture() {
  node.init();
  node.canopen().addSDOChannel(REQUESTS_TO_NODE_6, 0x586, 6, KQ::SDO_CHANNEL_CLIENT, "remote");
  node.canopen().addSDOChannel(REQUESTS_TO_NODE_7, 0x587, 7, KQ::SDO_CHANNEL_CLIENT, "other");
  node.canopen().setSDOEventListener(&events);
  node.cycle();
  node.output.takeOutput();
}

void SDOClientFixture::bind(unsigned char subIndex, KQ::KQVariable& variable) {
  variable.setExternalIdentifier(FIRST_REMOTE_KEY + subIndex);
  variable.setChannelName("remote");
  ASSERT_EQ(KQ::KQ_OK, node.canopen().addVariable(&variable));
  ASSERT_EQ(KQ::KQ_OK, node.canopen().setSDOServerID(INDEX, subIndex, REQUESTS_TO_NODE_6));
}

void SDOClientFixture::addNumber(unsigned char subIndex, int bits, bool isSigned, int initial) {
  KQ::KQVariable variable(INDEX, subIndex, "number", KQ::STORAGE_TYPE_INTEGER, bits, isSigned);
  variable.setInitialValue(initial);
  bind(subIndex, variable);
}

void SDOClientFixture::addText(unsigned char subIndex, const std::string& initial) {
  KQ::KQVariable variable(INDEX, subIndex, "text", KQ::STORAGE_TYPE_STRING);
  variable.setInitialText(initial);
  bind(subIndex, variable);
}

void SDOClientFixture::moveToOtherServer(unsigned char subIndex) {
  ASSERT_EQ(KQ::KQ_OK, node.canopen().setSDOServerID(INDEX, subIndex, REQUESTS_TO_NODE_7));
}

int SDOClientFixture::write(unsigned char subIndex, int value) {
  return node.canopen().updateRequest(keyOf(subIndex), value);
}

int SDOClientFixture::write(unsigned char subIndex, const std::string& text) {
  return node.canopen().updateRequest(keyOf(subIndex), text);
}

int SDOClientFixture::read(unsigned char subIndex) {
  return node.canopen().getValueRequest(keyOf(subIndex));
}

Frames SDOClientFixture::sendWrite(unsigned char subIndex, int value) {
  EXPECT_EQ(KQ::KQ_OK, write(subIndex, value));
  return node.cycle();
}

Frames SDOClientFixture::sendWrite(unsigned char subIndex, const std::string& text) {
  EXPECT_EQ(KQ::KQ_OK, write(subIndex, text));
  return node.cycle();
}

Frames SDOClientFixture::sendRead(unsigned char subIndex) {
  EXPECT_EQ(KQ::KQ_OK, read(subIndex));
  return node.cycle();
}

void SDOClientFixture::ask() {
  ASSERT_EQ(Frames{"606#40 00 60 11 00 00 00 00"}, sendRead(1));
  node.output.takeOutput();
}

int SDOClientFixture::offer(const std::string& text) {
  KQ::KQCANMessage message = frame(text);
  return client().handleMessage(&message);
}

unsigned int SDOClientFixture::keyOf(unsigned char subIndex) {
  return static_cast<unsigned int>(INDEX) << 16 | subIndex;
}

int SDOClientFixture::stored(unsigned char subIndex) {
  int value = 0;
  KQ::KQDEI::instance()->getVariableValue(INDEX, subIndex, &value);
  return value;
}

std::string SDOClientFixture::storedText(unsigned char subIndex) {
  std::string value;
  KQ::KQDEI::instance()->getVariableValue(INDEX, subIndex, &value);
  return value;
}

bool SDOClientFixture::isValid(unsigned char subIndex) {
  return test::isValid(INDEX, subIndex);
}

std::vector<std::string> SDOClientFixture::takeEvents() {
  std::vector<std::string> texts;
  for (const KQ::KQSignal& signal : events.signals) {
    char text[40];
    EXPECT_EQ(6, signal.getType());
    std::snprintf(text, sizeof text, "%d %08X %d", signal.getCode(), signal.getFirstValue(), signal.getFlag() ? 1 : 0);
    texts.emplace_back(text);
  }
  events.signals.clear();
  return texts;
}

}  // namespace test
