// The SDO handler's channels and the dispatch of frames to its two roles.

#include "KQSDOHandler.h"

#include <mutex>

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenSignal.h"
#include "KQCANopenStateMachine.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQMutex.h"
#include "KQSDOAbortCode.h"
#include "KQSignal.h"
#include "KQSignalListener.h"
#include "KQTick.h"
#include "KQVariable.h"
#include "SDOFrame.h"

namespace KQ {

KQMutex* const sdoDownloadResponseLocker = KQMutex::create();
KQMutex* const sdoUploadRequestLocker = KQMutex::create();

namespace {

constexpr unsigned short FIRST_SERVER_PARAMETER = 0x1200;
constexpr unsigned short LAST_SERVER_PARAMETER = 0x127F;
constexpr unsigned short FIRST_CLIENT_PARAMETER = 0x1280;
constexpr unsigned short LAST_CLIENT_PARAMETER = 0x12FF;

constexpr unsigned int keyOf(unsigned short index, unsigned char subIndex) {
  return static_cast<unsigned int>(index) << 16 | subIndex;
}

}  // namespace

int KQSDOHandler::init() {
  dei = KQDEI::instance();
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  // Application threads look channels up while they queue their requests.
  const std::lock_guard<KQMutex> writes(*sdoDownloadResponseLocker);
  const std::lock_guard<KQMutex> reads(*sdoUploadRequestLocker);
  KQServedCOBIDs& served = declareServedCOBIDs(typeid(KQSDOHandler));
  readChannels(FIRST_SERVER_PARAMETER, LAST_SERVER_PARAMETER, serverChannels, nullptr);
  readChannels(FIRST_CLIENT_PARAMETER, LAST_CLIENT_PARAMETER, clientRequestChannels, &clientChannels);
  // A channel that was read once stays.
  for (const auto& channel : serverChannels) {
    served.add(channel.first);
  }
  for (const auto& channel : clientChannels) {
    served.add(channel.first);
  }
  return KQ_OK;
}

void KQSDOHandler::readChannels(unsigned short first, unsigned short last, std::map<unsigned int, int>& byRequest,
                                std::map<unsigned int, int>* byResponse) {
  for (const ObjectDictionaryEntry* const entry : objectDictionary->getEntries(first, last)) {
    int request = 0;
    int response = 0;
    if (objectDictionary->getValue(entry->index, 1, request) != KQ_OK ||
        objectDictionary->getValue(entry->index, 2, response) != KQ_OK) {
      continue;
    }
    byRequest[static_cast<unsigned int>(request)] = response;
    if (byResponse != nullptr) {
      (*byResponse)[static_cast<unsigned int>(response)] = request;
    }
  }
}

inline int KQSDOHandler::handleServerMessage(const KQCANMessage& message, unsigned int requestCOBID) {
  const auto channel = serverChannels.find(requestCOBID);
  if (channel == serverChannels.end() || channel->second < 0) {
    return KQ_NOT_HANDLED;
  }
  dispatchServerRequest(message, requestCOBID, static_cast<unsigned int>(channel->second));
  return KQ_OK;
}

int KQSDOHandler::handleMessage(KQCANMessage* message) {
  if (message == nullptr || stateMachine == nullptr || stateMachine->getState() == CANOPEN_STATE_STOPPED) {
    return KQ_INVALID_ARGUMENT;
  }
  const unsigned int cobID = message->identifier & sdo::COB_ID_MASK;
  const int serverResult = handleServerMessage(*message, cobID);
  const auto channel = clientChannels.find(cobID);
  if (channel == clientChannels.end() || channel->second < 0) {
    return serverResult;
  }
  return handleClientMessage(*message, cobID, static_cast<unsigned int>(channel->second));
}

int KQSDOHandler::sendSDOAbort(unsigned short index, unsigned char subIndex, unsigned int cobID,
                               unsigned int abortCode) {
  if (instance == nullptr || instance->getEndPoint() == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  prepareFrame(cobID, sdo::ABORT, index, subIndex);
  sdo::putLittleEndian(outgoingMessage.data + 4, abortCode);
  return sendCANMessage();
}

void KQSDOHandler::prepareFrame(unsigned int cobID, unsigned char command, unsigned short index,
                                unsigned char subIndex) {
  outgoingMessage.identifier = cobID;
  outgoingMessage.length = sdo::FRAME_LENGTH;
  outgoingMessage.data[0] = command;
  outgoingMessage.data[1] = static_cast<unsigned char>(index & 0xFF);
  outgoingMessage.data[2] = static_cast<unsigned char>(index >> 8);
  outgoingMessage.data[3] = subIndex;
}

void KQSDOHandler::checkSDOTimeouts(unsigned int* nextDue) {
  if (!isTransferPending()) {
    return;
  }
  const unsigned int now = KQTick::getTickCount();
  checkConfirmationTimeouts(now, nextDue);
  checkDownloadTimeout(now);
  checkUploadTimeout(now);
}

bool KQSDOHandler::isTimedOut(unsigned int now, unsigned int lastStep) const {
  // The difference counts on over the wrap of the tick, a sum would not.
  return instance != nullptr && now - lastStep > instance->getSDOTimeout();
}

void KQSDOHandler::checkDownloadTimeout(unsigned int now) {
  if (!downloadInProgress || !isTimedOut(now, downloadTick)) {
    return;
  }
  // As client this is the COB-ID on which the server answers, not the one that the client sends on.
  const unsigned int cobID = downloadIsClient ? downloadRequestCOBID : downloadResponseCOBID;
  sendSDOAbort(downloadIndex, downloadSubIndex, cobID, SDO_ABORT_TIMED_OUT);
  downloadInProgress = false;
  signalSDOEvent(keyOf(downloadIndex, downloadSubIndex), false);
}

void KQSDOHandler::checkUploadTimeout(unsigned int now) {
  const bool isPending = uploadInProgress || uploadResponseCOBID != 0;
  if (!isPending || !isTimedOut(now, uploadTick)) {
    return;
  }
  const unsigned int key = remoteKeyOf(keyOf(uploadIndex, uploadSubIndex));
  sendSDOAbort(static_cast<unsigned short>(key >> 16), static_cast<unsigned char>(key & 0xFF), uploadResponseCOBID,
               SDO_ABORT_TIMED_OUT);
  if (dei != nullptr) {
    dei->markValueAsInvalid(uploadIndex, uploadSubIndex, true);
  }
  resetUpload();
}

void KQSDOHandler::resetUpload() {
  uploadInProgress = false;
  uploadRequestCOBID = 0;
  uploadResponseCOBID = 0;
  uploadData.clear();
  uploadOffset = 0;
  uploadLength = 0;
  uploadToggle = 0;
  uploadIndex = 0;
  uploadSubIndex = 0;
  uploadTick = 0;
}

unsigned int KQSDOHandler::remoteKeyOf(unsigned int localKey) const {
  const KQVariable* const variable = instance != nullptr ? instance->getVariable(localKey) : nullptr;
  const bool hasRemoteKey = variable != nullptr && variable->getExternalIdentifier() != 0;
  return hasRemoteKey ? variable->getExternalIdentifier() : localKey;
}

void KQSDOHandler::signalSDOEvent(unsigned int key, bool clientTransfer) {
  if (sdoEventListener == nullptr) {
    return;
  }
  KQSignal signal(STACK_SIGNAL_TYPE, SIGNAL_SDO_EVENT, key, 0, clientTransfer);
  sdoEventListener->signalOccurred(signal);
}

}  // namespace KQ
