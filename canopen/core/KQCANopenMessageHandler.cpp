#include "KQCANopenMessageHandler.h"

#include "DiagnosticLine.h"
#include "KQCANopen.h"
#include "KQErrorCodes.h"

namespace KQ {

namespace {

constexpr int SEND_ATTEMPTS = 26;

// What is left to do for a frame that the port refused at the first attempt.
[[gnu::noinline]] int sendAgain(KQEndPoint* endPoint, const KQCANMessage& message) {
  int result = KQ_NOT_AVAILABLE;
  for (int attempt = 1; attempt < SEND_ATTEMPTS && endPoint != nullptr; ++attempt) {
    result = endPoint->writeMessage(message);
    if (result == KQ_OK) {
      return KQ_OK;
    }
  }
  printErrorLine("CANopen: Error sending CAN message");
  return result;
}

}  // namespace

KQCANopenMessageHandler::KQCANopenMessageHandler() = default;

KQCANopenMessageHandler::KQCANopenMessageHandler(const KQCANopenMessageHandler& other)
    : objectDictionary(other.objectDictionary), emergencyHandler(other.emergencyHandler), instance(other.instance) {}

KQCANopenMessageHandler& KQCANopenMessageHandler::operator=(const KQCANopenMessageHandler& other) {
  if (this != &other) {
    outgoingMessage = other.outgoingMessage;
    objectDictionary = other.objectDictionary;
    emergencyHandler = other.emergencyHandler;
    instance = other.instance;
    declaringClass = nullptr;
    servedCOBIDs.clear();
  }
  return *this;
}

const KQServedCOBIDs* KQCANopenMessageHandler::getServedCOBIDs() const {
  return declaringClass != nullptr && *declaringClass == typeid(*this) ? &servedCOBIDs : nullptr;
}

KQServedCOBIDs& KQCANopenMessageHandler::declareServedCOBIDs(const std::type_info& declarer) {
  declaringClass = &declarer;
  servedCOBIDs.clear();
  return servedCOBIDs;
}

int KQCANopenMessageHandler::sendCANMessage() {
  KQEndPoint* const endPoint = instance != nullptr ? instance->getEndPoint() : nullptr;
  const bool isSent = endPoint != nullptr && endPoint->writeMessage(outgoingMessage) == KQ_OK;
  return isSent ? KQ_OK : sendAgain(endPoint, outgoingMessage);
}

}  // namespace KQ
