// The client role of the SDO handler: variables that live in the dictionaries of other nodes.

#include <algorithm>
#include <iostream>
#include <mutex>

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenSignal.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQMutex.h"
#include "KQSDOAbortCode.h"
#include "KQSDOHandler.h"
#include "KQSignal.h"
#include "KQSignalListener.h"
#include "KQTick.h"
#include "KQVariable.h"
#include "SDOFrame.h"

namespace KQ {

namespace {

using Lock = std::lock_guard<KQMutex>;

/// Value of a queued read, which has none.
constexpr int NO_VALUE = -1;

constexpr unsigned short indexOf(unsigned int key) {
  return static_cast<unsigned short>(key >> 16);
}

constexpr unsigned char subIndexOf(unsigned int key) {
  return static_cast<unsigned char>(key & 0xFF);
}

constexpr unsigned int keyOf(unsigned short index, unsigned char subIndex) {
  return static_cast<unsigned int>(index) << 16 | subIndex;
}

unsigned int localKeyOf(const KQVariable& variable) {
  return static_cast<unsigned int>(variable.getFirstAddress()) << 16 | variable.getSecondAddress();
}

/// A number as the bytes of a transfer, of which it may take more than its own four.
std::string bytesOf(int value, unsigned int size) {
  std::string bytes(size, value < 0 ? '\xFF' : '\0');
  for (unsigned int i = 0; i < size && i < sizeof value; ++i) {
    bytes[i] = static_cast<char>(static_cast<unsigned int>(value) >> 8 * i & 0xFFU);
  }
  return bytes;
}

/// The number that bytesOf() was made from.
int numberOf(const std::string& bytes) {
  unsigned int value = 0;
  for (unsigned int i = 0; i < bytes.size() && i < sizeof value; ++i) {
    value |= static_cast<unsigned int>(static_cast<unsigned char>(bytes[i])) << 8 * i;
  }
  return static_cast<int>(value);
}

}  // namespace

// ---- requests of the application

int KQSDOHandler::addVariableSDOServerMapping(unsigned short index, unsigned char subIndex, unsigned int requestCOBID) {
  const Lock writes(*sdoDownloadResponseLocker);
  const Lock reads(*sdoUploadRequestLocker);
  variableSDOServerMappings[keyOf(index, subIndex)] = requestCOBID;
  return KQ_OK;
}

int KQSDOHandler::findChannel(unsigned int key, SDODownloadRequestParameter& request) const {
  const auto mapping = variableSDOServerMappings.find(key);
  if (mapping == variableSDOServerMappings.end()) {
    return KQ_NOT_FOUND;
  }
  const auto channel = clientRequestChannels.find(mapping->second);
  if (channel == clientRequestChannels.end()) {
    return KQ_NOT_FOUND;
  }
  if (static_cast<int>(mapping->second) < 0 || channel->second < 0) {
    return KQ_DISABLED;
  }
  request.key = key;
  request.requestCOBID = mapping->second;
  request.responseCOBID = channel->second;
  return KQ_OK;
}

int KQSDOHandler::queueDownloadRequest(unsigned int key, int value, const std::string& text, unsigned int dataType) {
  const Lock lock(*sdoDownloadResponseLocker);
  SDODownloadRequestParameter request;
  const int result = findChannel(key, request);
  if (result == KQ_OK) {
    request.value = value;
    request.stringValue = text;
    request.dataType = dataType;
    downloadRequests[key] = request;
    hasDownloadRequests = true;
  }
  return result;
}

int KQSDOHandler::handleUpdateRequest(unsigned int key, int value) {
  return queueDownloadRequest(key, value, std::string(), DATA_TYPE_NONE);
}

int KQSDOHandler::handleUpdateRequest(unsigned int key, const std::string& value) {
  return queueDownloadRequest(key, 0, value, DATA_TYPE_VISIBLE_STRING);
}

int KQSDOHandler::handleGetValueRequest(unsigned int key) {
  const Lock lock(*sdoUploadRequestLocker);
  SDODownloadRequestParameter request;
  const int result = findChannel(key, request);
  if (result == KQ_OK) {
    request.value = NO_VALUE;
    uploadQueue.push_back(request);
    hasUploadRequests = true;
  }
  return result;
}

// ---- requests to the servers

void KQSDOHandler::sendQueuedDownloadRequests() {
  if (!hasDownloadRequests.load(std::memory_order_acquire)) {
    return;
  }
  const Lock lock(*sdoDownloadResponseLocker);
  for (auto it = downloadRequests.begin(); it != downloadRequests.end(); it = downloadRequests.erase(it)) {
    const SDODownloadRequestParameter& request = it->second;
    sendSDODownloadRequest(request.key, static_cast<unsigned int>(request.responseCOBID), request.requestCOBID,
                           request.value, request.stringValue, localDataTypeOf(request.key));
  }
  hasDownloadRequests = !downloadRequests.empty();
}

KQCANopenDataType KQSDOHandler::localDataTypeOf(unsigned int key) const {
  KQCANopenDataType dataType = DATA_TYPE_NONE;
  if (objectDictionary != nullptr) {
    objectDictionary->getDataType(indexOf(key), subIndexOf(key), dataType);
  }
  return dataType;
}

int KQSDOHandler::sendSDODownloadRequest(unsigned int key, unsigned int responseCOBID, unsigned int requestCOBID,
                                         int value, const std::string& stringValue, int dataType) {
  if (instance == nullptr || instance->getEndPoint() == nullptr || objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  if (dataType == DATA_TYPE_NONE) {
    return KQ_NOT_FOUND;
  }
  const bool isText = dataType == DATA_TYPE_VISIBLE_STRING;
  const int size = isText ? static_cast<int>(stringValue.size())
                          : objectDictionary->getNumberOfBytesByDatatType(static_cast<KQCANopenDataType>(dataType));
  if (size < 0) {
    return SDO_ABORT_LENGTH_MISMATCH;
  }
  const KQVariable* const variable = instance->getVariable(key);
  if (variable != nullptr && variable->getExternalIdentifier() == 0) {
    return KQ_NO_FREE_INDEX;
  }
  const unsigned int remoteKey = remoteKeyOf(key);
  if (static_cast<unsigned int>(size) > sdo::EXPEDITED_BYTES) {
    return sendSegmentedDownloadRequest(remoteKey, responseCOBID, requestCOBID,
                                        isText ? stringValue : bytesOf(value, static_cast<unsigned int>(size)),
                                        static_cast<unsigned int>(size));
  }
  const SDODownloadResponseStorage confirmation{responseCOBID, requestCOBID, value, stringValue, 0, key};
  return sendExpeditedDownloadRequest(remoteKey, confirmation, static_cast<unsigned int>(size), isText);
}

int KQSDOHandler::sendSegmentedDownloadRequest(unsigned int remoteKey, unsigned int responseCOBID,
                                               unsigned int requestCOBID, const std::string& data, unsigned int size) {
  prepareFrame(requestCOBID, sdo::SEGMENTED_DOWNLOAD_REQUEST, indexOf(remoteKey), subIndexOf(remoteKey));
  sdo::putLittleEndian(outgoingMessage.data + 4, size);
  if (sendCANMessage() == KQ_OK) {
    // The slot's names are those of the server side: the response COB-ID is the one that this node sends on.
    downloadOffset = 0;
    downloadResponseCOBID = requestCOBID;
    downloadRequestCOBID = responseCOBID;
    downloadSize = size;
    downloadIndex = indexOf(remoteKey);
    downloadSubIndex = subIndexOf(remoteKey);
    downloadToggle = 0;
    downloadData = data;
    downloadConfirmed = false;
    downloadInProgress = true;
    downloadIsClient = true;
    downloadTick = KQTick::getTickCount();
  }
  return KQ_NOT_AVAILABLE;
}

int KQSDOHandler::sendExpeditedDownloadRequest(unsigned int remoteKey, const SDODownloadResponseStorage& confirmation,
                                               unsigned int size, bool isText) {
  prepareFrame(confirmation.requestCOBID, sdo::expeditedCommand(sdo::EXPEDITED_DOWNLOAD_REQUEST, size),
               indexOf(remoteKey), subIndexOf(remoteKey));
  if (size > 0) {  // an empty text leaves the data bytes as they were
    const std::string& data = isText ? confirmation.stringValue : bytesOf(confirmation.value, size);
    sdo::putLittleEndian(outgoingMessage.data + 4, 0);
    std::copy(data.begin(), data.end(), outgoingMessage.data + 4);
  }
  const int result = sendCANMessage();
  if (result != KQ_OK) {
    return result;
  }
  SDODownloadResponseStorage& stored = downloadResponses[remoteKey];
  stored = confirmation;
  stored.deadline = KQTick::getTickCount() + instance->getSDOTimeout();
  return KQ_OK;
}

void KQSDOHandler::sendNextQueuedUploadRequest() {
  if (uploadResponseCOBID != 0 || !hasUploadRequests.load(std::memory_order_acquire)) {
    return;
  }
  const Lock lock(*sdoUploadRequestLocker);
  if (uploadQueue.empty()) {
    return;
  }
  const SDODownloadRequestParameter request = uploadQueue.front();
  uploadQueue.pop_front();
  hasUploadRequests = !uploadQueue.empty();
  sendSDOUploadRequest(request.key, static_cast<unsigned int>(request.responseCOBID), request.requestCOBID);
}

int KQSDOHandler::sendSDOUploadRequest(unsigned int key, unsigned int responseCOBID, unsigned int requestCOBID) {
  if (instance == nullptr || instance->getEndPoint() == nullptr || objectDictionary == nullptr) {
    return KQ_MISSING_OBJECT;
  }
  uploadIndex = indexOf(key);
  uploadSubIndex = subIndexOf(key);
  uploadResponseCOBID = responseCOBID;
  uploadRequestCOBID = requestCOBID;
  uploadData.clear();  // a master's upload may have left its text
  uploadTick = KQTick::getTickCount();
  const unsigned int remoteKey = remoteKeyOf(key);
  prepareFrame(requestCOBID, sdo::UPLOAD_REQUEST, indexOf(remoteKey), subIndexOf(remoteKey));
  sdo::putLittleEndian(outgoingMessage.data + 4, 0);
  return sendCANMessage();
}

int KQSDOHandler::sendUploadSDOSegmentRequest(unsigned int cobID) {
  uploadToggle ^= 1U;
  prepareFrame(cobID, sdo::withToggle(sdo::UPLOAD_SEGMENT, uploadToggle), 0, 0);
  sdo::putLittleEndian(outgoingMessage.data + 4, 0);
  uploadTick = KQTick::getTickCount();
  return sendCANMessage();
}

// ---- answers of the servers

int KQSDOHandler::handleClientMessage(const KQCANMessage& message, unsigned int responseCOBID,
                                      unsigned int requestCOBID) {
  if (instance == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  const unsigned short index = sdo::index(message);
  const unsigned char subIndex = sdo::subIndex(message);
  const bool isDownloading = downloadInProgress && downloadIsClient;
  switch (sdo::commandSpecifier(message)) {
    case sdo::UPLOAD_SEGMENT_RESPONSE:
      return handleSegmentedSDOUploadSegment(message, responseCOBID, requestCOBID);
    case sdo::DOWNLOAD_SEGMENT_RESPONSE_SPECIFIER:
      return isDownloading ? handleSegmentedSDODownloadSegmentResponse(message, responseCOBID, requestCOBID)
                           : static_cast<int>(KQ_UNEXPECTED);
    case sdo::INITIATE_UPLOAD_RESPONSE:
      return handleSDOUploadResponse(message, responseCOBID, requestCOBID);
    case sdo::INITIATE_DOWNLOAD_RESPONSE:
      return isDownloading && index == downloadIndex && subIndex == downloadSubIndex
                 ? handleSegmentedSDODownloadSegmentResponse(message, responseCOBID, requestCOBID)
                 : handleSDODownloadResponse(index, subIndex, responseCOBID);
    case sdo::ABORT_TRANSFER:
      return handleSDOAbortMessage(index, subIndex, responseCOBID);
    default:
      sendSDOAbort(index, subIndex, requestCOBID, SDO_ABORT_COMMAND_SPECIFIER);
      return KQ_OK;
  }
}

int KQSDOHandler::handleSDODownloadResponse(unsigned short index, unsigned char subIndex, unsigned int cobID) {
  const auto it = downloadResponses.find(keyOf(index, subIndex));
  if (it == downloadResponses.end()) {
    return KQ_NOT_FOUND;
  }
  if (it->second.responseCOBID != cobID) {
    return KQ_MISMATCH;
  }
  const SDODownloadResponseStorage confirmed = it->second;
  const int result = writeLocalEntry(confirmed.localKey, confirmed.value, confirmed.stringValue);
  signalSDOEvent(confirmed.localKey, true);
  downloadResponses.erase(keyOf(index, subIndex));
  return result;
}

int KQSDOHandler::writeLocalEntry(unsigned int key, int value, const std::string& text) {
  switch (localDataTypeOf(key)) {
    case DATA_TYPE_NONE:
      return KQ_NO_STORAGE_TYPE;
    case DATA_TYPE_VISIBLE_STRING:
      return objectDictionary->setValue(indexOf(key), subIndexOf(key), text, true);
    default:
      return objectDictionary->setValue(key, value, true);
  }
}

int KQSDOHandler::handleSegmentedSDODownloadSegmentResponse(const KQCANMessage& message, unsigned int responseCOBID,
                                                            unsigned int requestCOBID) {
  if (downloadConfirmed) {
    return finishClientDownload(responseCOBID);
  }
  if (responseCOBID != downloadRequestCOBID || requestCOBID != downloadResponseCOBID) {
    return KQ_UNEXPECTED;
  }
  const bool isSegmentResponse = sdo::commandSpecifier(message) == sdo::DOWNLOAD_SEGMENT_RESPONSE_SPECIFIER;
  if (!isSegmentResponse) {
    downloadToggle = 0;
    return sendNextDownloadSegment();
  }
  if (sdo::toggle(message.data[0]) != downloadToggle) {
    downloadInProgress = false;
    return sendSDOAbort(downloadIndex, downloadSubIndex, downloadResponseCOBID, SDO_ABORT_TOGGLE_BIT);
  }
  downloadToggle ^= 1U;
  return sendNextDownloadSegment();
}

int KQSDOHandler::sendNextDownloadSegment() {
  const auto offset = static_cast<unsigned int>(downloadOffset);
  const unsigned int remaining = downloadSize - offset;
  downloadConfirmed = remaining <= sdo::SEGMENT_BYTES;

  outgoingMessage.identifier = downloadResponseCOBID;
  outgoingMessage.length = sdo::FRAME_LENGTH;
  outgoingMessage.data[0] = sdo::withToggle(sdo::segmentCommand(remaining), downloadToggle);
  sdo::putSegment(outgoingMessage, downloadData, offset);
  downloadOffset += static_cast<int>(std::min(remaining, sdo::SEGMENT_BYTES));
  downloadTick = KQTick::getTickCount();
  return sendCANMessage();
}

int KQSDOHandler::finishClientDownload(unsigned int responseCOBID) {
  downloadInProgress = false;
  const KQVariable* const variable =
      instance->getVariableByExternalIdentifier(downloadIndex, downloadSubIndex, responseCOBID);
  int result = SDO_ABORT_GENERAL_ERROR;
  unsigned int key = keyOf(downloadIndex, downloadSubIndex);
  if (variable != nullptr) {
    key = localKeyOf(*variable);
    result = writeLocalEntry(key, numberOf(downloadData), downloadData);
  }
  signalSDOEvent(key, true);
  return result;
}

int KQSDOHandler::handleSDOUploadResponse(const KQCANMessage& message, unsigned int responseCOBID,
                                          unsigned int requestCOBID) {
  const unsigned int pendingKey = remoteKeyOf(keyOf(uploadIndex, uploadSubIndex));
  const bool isPending = !uploadInProgress && uploadResponseCOBID == responseCOBID &&
                         uploadRequestCOBID == requestCOBID &&
                         keyOf(sdo::index(message), sdo::subIndex(message)) == pendingKey;
  if (!isPending) {
    return KQ_UNEXPECTED;
  }
  const unsigned char command = message.data[0];
  if (sdo::isExpedited(command)) {
    return handleExpeditedSDOUploadResponse(message);
  }
  if (!sdo::isSizeIndicated(command)) {
    return KQ_UNEXPECTED;
  }
  const unsigned char* const size = message.data + 4;
  uploadLength = static_cast<int>(sdo::littleEndian(size[0], size[1], size[2], size[3]));
  uploadOffset = 0;
  uploadToggle = 1;
  uploadData.clear();
  uploadInProgress = true;
  return sendUploadSDOSegmentRequest(requestCOBID);
}

int KQSDOHandler::handleExpeditedSDOUploadResponse(const KQCANMessage& message) {
  if (objectDictionary == nullptr || instance == nullptr || dei == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  const KQCANopenDataType dataType = localDataTypeOf(keyOf(uploadIndex, uploadSubIndex));
  const int bytes = objectDictionary->getNumberOfBytesByDatatType(dataType);
  const bool isText = dataType == DATA_TYPE_VISIBLE_STRING;
  const auto dataBytes = static_cast<int>(sdo::EXPEDITED_BYTES);
  int unused = 0;
  if (sdo::isSizeIndicated(message.data[0])) {
    unused = sdo::unusedExpeditedBytes(message.data[0]);
  } else if (!isText) {
    unused = dataBytes - bytes;
  }
  std::cout << "SDO => Expedited NOOFBYTES: " << bytes << " DATATYPE: " << static_cast<int>(dataType) << std::endl;

  const unsigned char* const data = message.data + 4;
  if (isText) {
    uploadData.append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(dataBytes - unused));
    return storeUploadedText();
  }
  if (dataBytes - unused > bytes) {
    return KQ_DOES_NOT_FIT;
  }
  if (unused < 0 || unused > 3) {
    return KQ_MISMATCH;
  }
  const unsigned int number = sdo::littleEndian(data[0], data[1], data[2], data[3]) & 0xFFFFFFFFU >> 8 * unused;
  return storeUploadedNumber(static_cast<int>(number));
}

bool KQSDOHandler::isUploadedVariableOwned() const {
  const std::string* const owner = dei->getVariableOwner(uploadIndex, uploadSubIndex);
  if (owner == nullptr) {
    // The sub-index goes out as one raw character.
    std::cout << "+++++ SDO => Unable to find owner of variable in a SDO Upload Response: 0x" << std::hex << uploadIndex
              << std::dec << "/0x" << static_cast<char>(uploadSubIndex) << std::endl;
    return false;
  }
  if (*owner != instance->getOwnerName()) {
    std::cout << "+++++ SDO => We are not owner of the variable" << std::endl;
    return false;
  }
  return true;
}

int KQSDOHandler::storeUploadedNumber(int value) {
  if (!isUploadedVariableOwned()) {
    return KQ_NOT_PERMITTED;
  }
  int result = SDO_ABORT_VALUE_RANGE_EXCEEDED;
  if (updateValueAccordingToDataType(uploadIndex, uploadSubIndex, value) == KQ_OK) {
    result = objectDictionary->setValue(uploadIndex, uploadSubIndex, value, false);
  }
  resetUpload();
  return result;
}

int KQSDOHandler::storeUploadedText() {
  if (!isUploadedVariableOwned()) {
    return KQ_NOT_PERMITTED;
  }
  const int result =
      dei->forceSetVariableValue(uploadIndex, uploadSubIndex, uploadData, instance->getOwnerName(), true, false);
  resetUpload();
  return result;
}

int KQSDOHandler::handleSegmentedSDOUploadSegment(const KQCANMessage& message, unsigned int responseCOBID,
                                                  unsigned int requestCOBID) {
  const unsigned char command = message.data[0];
  if (!uploadInProgress || responseCOBID != uploadResponseCOBID || requestCOBID != uploadRequestCOBID ||
      sdo::toggle(command) != uploadToggle) {
    return KQ_UNEXPECTED;
  }
  uploadData.append(reinterpret_cast<const char*>(message.data + 1),
                    sdo::SEGMENT_BYTES - sdo::unusedSegmentBytes(command));
  if (sdo::isLastSegment(command)) {
    return finishClientUpload();
  }
  if (sendUploadSDOSegmentRequest(requestCOBID) != KQ_OK) {
    resetUpload();
    return KQ_DISABLED;
  }
  return KQ_OK;
}

int KQSDOHandler::finishClientUpload() {
  if (!isUploadedVariableOwned()) {
    return KQ_NOT_PERMITTED;
  }
  const unsigned int key = keyOf(uploadIndex, uploadSubIndex);
  int result =
      dei->forceSetVariableValue(uploadIndex, uploadSubIndex, uploadData, instance->getOwnerName(), true, false);
  if (result == KQ_ALREADY_EXISTS) {
    if (sdoEventListener != nullptr) {
      KQSignal signal(STACK_SIGNAL_TYPE, KQ_SIGNAL_VARIABLE_CHANGED_TEXT, key);
      sdoEventListener->signalOccurred(signal);
    } else {
      result = KQ_NOT_FOUND;
    }
  }
  std::cout << "Error_Code: " << kqGetErrorString(result) << std::endl;
  resetUpload();
  return result;
}

int KQSDOHandler::handleSDOAbortMessage(unsigned short index, unsigned char subIndex, unsigned int cobID) {
  const auto it = downloadResponses.find(keyOf(index, subIndex));
  if (it != downloadResponses.end() && it->second.responseCOBID == cobID) {
    const unsigned int localKey = it->second.localKey;
    downloadResponses.erase(it);
    signalSDOEvent(localKey, false);
  }
  if (downloadInProgress && downloadIsClient && downloadRequestCOBID == cobID) {
    downloadInProgress = false;
    signalSDOEvent(keyOf(downloadIndex, downloadSubIndex), false);
  }
  if (uploadInProgress && uploadResponseCOBID == cobID) {
    resetUpload();
  }
  return KQ_OK;
}

// ---- time-outs

void KQSDOHandler::checkConfirmationTimeouts(unsigned int now, unsigned int* nextDue) {
  for (auto it = downloadResponses.begin(); it != downloadResponses.end();) {
    const SDODownloadResponseStorage& pending = it->second;
    const auto remaining = static_cast<int>(pending.deadline - now);
    if (remaining < 0) {
      sendSDOAbort(indexOf(it->first), subIndexOf(it->first), pending.requestCOBID, SDO_ABORT_TIMED_OUT);
      it = downloadResponses.erase(it);
      continue;
    }
    if (nextDue != nullptr) {
      *nextDue = std::min(*nextDue, static_cast<unsigned int>(remaining));
    }
    ++it;
  }
}

}  // namespace KQ
