// The SDO handler's channels, the dispatch of frames to its two roles, and what both roles send with.

#include "KQSDOHandler.h"

#include <algorithm>
#include <mutex>

#include "COBID.h"
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
#include "ObjectIndexes.h"
#include "ObjectKey.h"
#include "SDOFrame.h"

namespace KQ {

KQMutex* const sdoDownloadResponseLocker = KQMutex::create();
KQMutex* const sdoUploadRequestLocker = KQMutex::create();

// ---- channels

int KQSDOHandler::init() {
  dei = KQDEI::instance();
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  // Application threads look channels up while they queue their requests.
  const std::lock_guard<KQMutex> writes(*sdoDownloadResponseLocker);
  const std::lock_guard<KQMutex> reads(*sdoUploadRequestLocker);
  readChannels(object::SERVER_SDO_PARAMETERS.first, object::SERVER_SDO_PARAMETERS.last, serverChannels, nullptr);
  readChannels(object::CLIENT_SDO_PARAMETERS.first, object::CLIENT_SDO_PARAMETERS.last, clientRequestChannels,
               &clientChannels);
  // A channel that was read once stays.
  KQServedCOBIDs& served = declareServedCOBIDs(typeid(KQSDOHandler));
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

// ---- dispatch

int KQSDOHandler::handleMessage(KQCANMessage* message) {
  if (message == nullptr || stateMachine == nullptr || stateMachine->getState() == CANOPEN_STATE_STOPPED) {
    return KQ_INVALID_ARGUMENT;
  }
  const unsigned int cobID = message->identifier & cobid::IDENTIFIER;
  int result = KQ_NOT_HANDLED;
  const auto server = serverChannels.find(cobID);
  if (server != serverChannels.end() && server->second >= 0) {
    handleServerMessage(*message, cobID, static_cast<unsigned int>(server->second));
    result = KQ_OK;
  }
  const auto client = clientChannels.find(cobID);
  if (client != clientChannels.end() && client->second >= 0) {
    result = handleClientMessage(*message, cobID, static_cast<unsigned int>(client->second));
  }
  return result;
}

void KQSDOHandler::handleServerMessage(const KQCANMessage& message, unsigned int requestCOBID,
                                       unsigned int responseCOBID) {
  const unsigned char* const data = message.data;
  const unsigned short index = sdo::index(message);
  const unsigned char subIndex = sdo::subIndex(message);
  switch (sdo::commandSpecifier(message)) {
    case sdo::DOWNLOAD_SEGMENT_REQUEST:
      if (download.inProgress) {
        handleSegmentedSDODownloadSegment(responseCOBID, requestCOBID, data[0], data[1], data[2], data[3], data[4],
                                          data[5], data[6], data[7]);
      }
      break;
    case sdo::INITIATE_DOWNLOAD_REQUEST:
      handleDownloadRequest(message, requestCOBID, responseCOBID);
      break;
    case sdo::INITIATE_UPLOAD_REQUEST:
      sendUploadResponse(index, subIndex, responseCOBID, requestCOBID);
      break;
    case sdo::UPLOAD_SEGMENT_REQUEST:
      if (upload.inProgress) {
        handleSDOUploadSegmentRequest(responseCOBID, static_cast<unsigned short>(requestCOBID & 0xFFFF),
                                      static_cast<int>(sdo::toggle(data[0])));
      }
      break;
    case sdo::ABORT_TRANSFER:
      // The listener is told; a running transfer ends by its time-out.
      signalSDOEvent(keyOf(index, subIndex), false);
      break;
    default:
      sendSDOAbort(index, subIndex, responseCOBID, SDO_ABORT_COMMAND_SPECIFIER);
      break;
  }
}

int KQSDOHandler::handleClientMessage(const KQCANMessage& message, unsigned int responseCOBID,
                                      unsigned int requestCOBID) {
  const unsigned short index = sdo::index(message);
  const unsigned char subIndex = sdo::subIndex(message);
  switch (sdo::commandSpecifier(message)) {
    case sdo::UPLOAD_SEGMENT_RESPONSE:
      return handleSegmentedSDOUploadSegment(message, responseCOBID, requestCOBID);
    case sdo::DOWNLOAD_SEGMENT_RESPONSE_SPECIFIER:
      return handleSegmentedSDODownloadSegmentResponse(message, responseCOBID, requestCOBID);
    case sdo::INITIATE_UPLOAD_RESPONSE:
      return handleSDOUploadResponse(message, responseCOBID, requestCOBID);
    case sdo::INITIATE_DOWNLOAD_RESPONSE:
      return isClientDownloading() && download.requestCOBID == responseCOBID && download.key() == keyOf(index, subIndex)
                 ? handleSegmentedSDODownloadSegmentResponse(message, responseCOBID, requestCOBID)
                 : handleSDODownloadResponse(index, subIndex, responseCOBID);
    case sdo::ABORT_TRANSFER:
      return handleSDOAbortMessage(index, subIndex, responseCOBID);
    default:
      sendSDOAbort(index, subIndex, requestCOBID, SDO_ABORT_COMMAND_SPECIFIER);
      return KQ_OK;
  }
}

// ---- frames that go out

void KQSDOHandler::prepareFrame(unsigned int cobID, unsigned char command, unsigned int key) {
  outgoingMessage.identifier = cobID;
  outgoingMessage.length = sdo::FRAME_LENGTH;
  outgoingMessage.data[0] = command;
  outgoingMessage.data[1] = static_cast<unsigned char>(indexOf(key) & 0xFF);
  outgoingMessage.data[2] = static_cast<unsigned char>(indexOf(key) >> 8);
  outgoingMessage.data[3] = subIndexOf(key);
}

int KQSDOHandler::sendFrame(unsigned int cobID, unsigned char command, unsigned int key, unsigned int number) {
  prepareFrame(cobID, command, key);
  sdo::putLittleEndian(outgoingMessage.data + 4, number);
  return sendCANMessage();
}

int KQSDOHandler::sendExpedited(unsigned int cobID, unsigned char command, unsigned int key, unsigned int data,
                                unsigned int length) {
  const unsigned char lengthCommand = sdo::expeditedCommand(command, length);
  if (length == 0) {  // an empty text leaves the data bytes as they were
    prepareFrame(cobID, lengthCommand, key);
    return sendCANMessage();
  }
  return sendFrame(cobID, lengthCommand, key, sdo::lowBytes(data, length));
}

int KQSDOHandler::sendSegment(Transfer& transfer, const std::string& data) {
  outgoingMessage.identifier = transfer.responseCOBID;
  outgoingMessage.length = sdo::FRAME_LENGTH;
  outgoingMessage.data[0] = sdo::withToggle(sdo::segmentCommand(transfer.remaining()), transfer.toggle);
  sdo::putSegment(outgoingMessage, data, transfer.offset);
  const int result = sendCANMessage();
  transfer.offset += std::min(transfer.remaining(), sdo::SEGMENT_BYTES);
  transfer.tick = KQTick::getTickCount();
  return result;
}

int KQSDOHandler::sendSDOAbort(unsigned short index, unsigned char subIndex, unsigned int cobID,
                               unsigned int abortCode) {
  if (instance == nullptr || instance->getEndPoint() == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  return sendFrame(cobID, sdo::ABORT, keyOf(index, subIndex), abortCode);
}

// ---- transfers

KQSDOHandler::Transfer KQSDOHandler::Transfer::begin(unsigned int key, unsigned int requestCOBID,
                                                     unsigned int responseCOBID, unsigned int size) {
  Transfer transfer;
  transfer.requestCOBID = requestCOBID;
  transfer.responseCOBID = responseCOBID;
  transfer.index = indexOf(key);
  transfer.subIndex = subIndexOf(key);
  transfer.size = size;
  transfer.tick = KQTick::getTickCount();
  return transfer;
}

unsigned int KQSDOHandler::Transfer::key() const {
  return keyOf(index, subIndex);
}

// Whoever sends one segment after the other must not get all the memory that there is.
bool KQSDOHandler::takeBytes(std::string& data, const unsigned char* bytes, std::size_t count) {
  const std::size_t limit =
      instance != nullptr ? instance->getSDOTransferLimit() : KQCANopen::DEFAULT_SDO_TRANSFER_LIMIT;
  if (data.size() + count > limit) {
    std::string().swap(data);  // the slots keep their memory, but not as much as that
    ++refusedTransfers;
    return false;
  }
  data.append(reinterpret_cast<const char*>(bytes), count);
  return true;
}

void KQSDOHandler::signalSDOEvent(unsigned int key, bool clientTransfer) {
  if (sdoEventListener == nullptr) {
    return;
  }
  KQSignal signal(STACK_SIGNAL_TYPE, SIGNAL_SDO_EVENT, key, 0, clientTransfer);
  sdoEventListener->signalOccurred(signal);
}

// ---- the client's variables

KQCANopenDataType KQSDOHandler::localDataTypeOf(unsigned int key) const {
  KQCANopenDataType dataType = DATA_TYPE_NONE;
  if (objectDictionary != nullptr) {
    objectDictionary->getDataType(indexOf(key), subIndexOf(key), dataType);
  }
  return dataType;
}

unsigned int KQSDOHandler::remoteKeyOf(unsigned int localKey) const {
  const KQVariable* const variable = instance != nullptr ? instance->getVariable(localKey) : nullptr;
  const bool hasRemoteKey = variable != nullptr && variable->getExternalIdentifier() != 0;
  const unsigned int key = hasRemoteKey ? variable->getExternalIdentifier() : localKey;
  return keyOf(indexOf(key), subIndexOf(key));  // as a frame holds it, and so an answer names it
}

}  // namespace KQ
