#include "PDOFixture.h"

#include "KQVariable.h"

namespace test {

namespace {

KQ::KQVariable makeVariable(unsigned short index, unsigned char subIndex, int bits, bool isSigned) {
  return KQ::KQVariable(index, subIndex, "value", KQ::STORAGE_TYPE_INTEGER, bits, isSigned);
}

}  // namespace

PDOFixture::PDOFixture() {
  node.init();
  addObject(0x1006, 0);
  addObject(0x1007, 0);
}

void PDOFixture::addVariable(unsigned short index, unsigned char subIndex, int bits, bool isSigned) {
  const KQ::KQVariable variable = makeVariable(index, subIndex, bits, isSigned);
  ASSERT_EQ(KQ::KQ_OK, KQ::KQDEI::instance()->addVariable(&variable));
  ASSERT_EQ(KQ::KQ_DONE, node.canopen().getApplicationVariables());
}

void PDOFixture::addVariables(unsigned char count, int bits) {
  for (unsigned char subIndex = 1; subIndex <= count; ++subIndex) {
    addVariable(0x2001, subIndex, bits);
  }
}

void PDOFixture::addOwnVariable(unsigned short index, unsigned char subIndex, int bits) {
  KQ::KQVariable variable = makeVariable(index, subIndex, bits, false);
  variable.setMinimum(0);
  variable.setMaximum(static_cast<int>(bits >= 32 ? 0xFFFFFFFFU : (1U << bits) - 1U));
  ASSERT_EQ(KQ::KQ_OK, node.canopen().addVariable(&variable));
}

void PDOFixture::addObject(unsigned short index, unsigned char subIndex, int value) {
  KQ::KQCANopenObjectDictionary& dictionary = node.dictionary();
  dictionary.addEntry(index, subIndex == 0 ? KQ::OBJECT_TYPE_VAR : KQ::OBJECT_TYPE_RECORD, "object");
  ASSERT_EQ(KQ::KQ_OK, dictionary.addSubentry(index, subIndex, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32, "object", true,
                                              value, std::string(), 0));
  ASSERT_EQ(KQ::KQ_OK, dictionary.setLimits(index, subIndex, 0, -1));
}

void PDOFixture::addTransmitPDO(unsigned short number, const PDOParameters& parameters, const Mapping& mapping) {
  addPDO(KQ::PDO_TYPE_TRANSMIT, number, parameters, mapping);
}

void PDOFixture::addReceivePDO(unsigned short number, const PDOParameters& parameters, const Mapping& mapping) {
  addPDO(KQ::PDO_TYPE_RECEIVE, number, parameters, mapping);
}

void PDOFixture::addPDO(KQ::KQCANopenPDOType type, unsigned short number, const PDOParameters& parameters,
                        const Mapping& mapping) {
  ASSERT_EQ(KQ::KQ_OK, node.canopen().addPDO(type, number, parameters.cobID, parameters.eventTimer,
                                             parameters.inhibitTime, parameters.transmissionType, true, nullptr));
  map(static_cast<unsigned short>(number + (type == KQ::PDO_TYPE_RECEIVE ? 0x1600 : 0x1A00)), mapping);
}

void PDOFixture::map(unsigned short mappingIndex, const Mapping& mapping) {
  KQ::KQCANopenObjectDictionary& dictionary = node.dictionary();
  dictionary.addEntry(mappingIndex, KQ::OBJECT_TYPE_RECORD, "PDO mapping");
  dictionary.addSubentry(mappingIndex, 0, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED8, "count", false, 0, std::string(), 0);
  unsigned char subIndex = 0;
  for (const unsigned int entry : mapping) {
    ASSERT_EQ(KQ::KQ_OK, dictionary.addSubentry(mappingIndex, ++subIndex, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32,
                                                "entry", false, static_cast<int>(entry), std::string(), 0));
  }
}

void PDOFixture::start() {
  node.cycle();
  node.receive("000#01 00");
  ASSERT_EQ(KQ::CANOPEN_STATE_OPERATIONAL, node.canopen().getCANopenState());
  node.output.takeOutput();
}

void PDOFixture::startAndSettle() {
  start();
  node.cycle();
}

int PDOFixture::write(unsigned short index, unsigned char subIndex, unsigned int value, bool force) {
  return node.dictionary().setValue(index, subIndex, static_cast<int>(value), force);
}

unsigned int PDOFixture::read(unsigned short index, unsigned char subIndex) {
  int value = 0;
  EXPECT_EQ(KQ::KQ_OK, node.dictionary().getValue(index, subIndex, value));
  return static_cast<unsigned int>(value);
}

void PDOFixture::change(unsigned short index, unsigned short subIndex, int value) {
  ASSERT_EQ(KQ::KQ_OK, KQ::KQDEI::instance()->setVariableValue(index, subIndex, value, true, false));
}

int PDOFixture::stored(unsigned short index, unsigned short subIndex) {
  int value = 0;
  KQ::KQDEI::instance()->getVariableValue(index, subIndex, &value);
  return value;
}

}  // namespace test
