#include "KQEmergencyHandler.h"

#include "ClearFrame.h"
#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "ObjectIndexes.h"

namespace KQ {

namespace {

// Bit of the error register for an error class, the high byte of the emergency error code.
unsigned char errorRegisterBit(unsigned char errorClass) {
  switch (errorClass) {
    case 0x10:
      return 0x01;  // generic
    case 0x20:
      return 0x02;  // current
    case 0x30:
      return 0x04;  // voltage
    case 0x40:
      return 0x08;  // temperature
    case 0x81:
      return 0x10;  // communication
    case 0xFF:
      return 0x20;  // device profile
    default:
      return 0x80;  // manufacturer specific
  }
}

}  // namespace

int KQEmergencyHandler::init() {
  declareServedCOBIDs(typeid(KQEmergencyHandler));  // none
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  cobID = objectDictionary->getPointerToValue(object::COB_ID_EMCY, 0);
  return cobID != nullptr ? KQ_OK : KQ_MISSING_OBJECT;
}

int KQEmergencyHandler::updateErrorRegister(unsigned char errorClass, bool set) {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  int errorRegister = 0;
  const int result = objectDictionary->getValue(object::ERROR_REGISTER, 0, errorRegister);
  if (result != KQ_OK) {
    return result;
  }
  const int bit = errorRegisterBit(errorClass);
  errorRegister = set ? errorRegister | bit : errorRegister & ~bit;
  // The register is closed to the bus; only the device's own, forced writes reach it.
  return objectDictionary->setValue(object::ERROR_REGISTER, 0, errorRegister, true);
}

int KQEmergencyHandler::sendEmergencyMessage(unsigned char errorClass, unsigned char low) {
  if (!enabled || instance == nullptr || instance->getEndPoint() == nullptr || cobID == nullptr ||
      objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  if (updateErrorRegister(errorClass, true) != KQ_OK) {
    return KQ_NOT_WRITTEN;
  }
  int errorRegister = 0;
  objectDictionary->getValue(object::ERROR_REGISTER, 0, errorRegister);
  clearFrame(outgoingMessage);
  outgoingMessage.identifier = static_cast<unsigned int>(*cobID);
  outgoingMessage.length = 8;
  outgoingMessage.data[0] = low;
  outgoingMessage.data[1] = errorClass;
  outgoingMessage.data[2] = static_cast<unsigned char>(errorRegister);
  return sendCANMessage();
}

int KQEmergencyHandler::sendEmergencyMessage(unsigned short errorCode) {
  return sendEmergencyMessage(static_cast<unsigned char>(errorCode >> 8), static_cast<unsigned char>(errorCode & 0xFF));
}

int KQEmergencyHandler::handleMessage(KQCANMessage* /*message*/) {
  return KQ_NOT_HANDLED;
}

}  // namespace KQ
