// The client role of the SDO handler: the application's requests for variables of other nodes, and how they go out.

#include <mutex>

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "KQMutex.h"
#include "KQSDOAbortCode.h"
#include "KQSDOHandler.h"
#include "KQTick.h"
#include "KQVariable.h"
#include "NodeInternals.h"
#include "ObjectKey.h"
#include "SDOFrame.h"

namespace KQ {

namespace {

using Lock = std::lock_guard<KQMutex>;

// Value of a queued read, which has none.
constexpr int NO_VALUE = -1;

unsigned long long identityOf(const SDODownloadRequestParameter& read) {
  return static_cast<unsigned long long>(read.requestCOBID) << 32 | read.key;
}

}  // namespace

// ---- queues

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
  {
    const Lock lock(*sdoDownloadResponseLocker);
    SDODownloadRequestParameter request;
    const int result = findChannel(key, request);
    if (result != KQ_OK) {
      return result;
    }
    request.value = value;
    request.stringValue = text;
    request.dataType = dataType;
    downloadRequests[key] = request;
    hasDownloadRequests = true;
  }
  reportQueuedWork();
  return KQ_OK;
}

void KQSDOHandler::reportQueuedWork() {
  if (instance != nullptr) {
    NodeInternals::reportQueuedWork(*instance);
  }
}

int KQSDOHandler::handleUpdateRequest(unsigned int key, int value) {
  return queueDownloadRequest(key, value, std::string(), DATA_TYPE_NONE);
}

int KQSDOHandler::handleUpdateRequest(unsigned int key, const std::string& value) {
  return queueDownloadRequest(key, 0, value, DATA_TYPE_VISIBLE_STRING);
}

int KQSDOHandler::handleGetValueRequest(unsigned int key) {
  {
    const Lock lock(*sdoUploadRequestLocker);
    SDODownloadRequestParameter request;
    const int result = findChannel(key, request);
    if (result != KQ_OK) {
      return result;
    }
    // Asked for faster than the servers answer, the queue would grow without end.
    if (!queuedReads.insert(identityOf(request)).second) {
      ++joinedReads;
      return KQ_OK;
    }
    request.value = NO_VALUE;
    uploadQueue.push_back(request);
    hasUploadRequests = true;
  }
  reportQueuedWork();
  return KQ_OK;
}

// ---- writes

void KQSDOHandler::sendQueuedDownloadRequests() {
  if (!hasDownloadRequests.load(std::memory_order_acquire)) {
    return;
  }
  const Lock lock(*sdoDownloadResponseLocker);
  for (auto it = downloadRequests.begin(); it != downloadRequests.end(); it = downloadRequests.erase(it)) {
    const SDODownloadRequestParameter& request = it->second;
    sendSDODownloadRequest(request.key, static_cast<unsigned int>(request.responseCOBID), request.requestCOBID,
                           request.value, request.stringValue, static_cast<int>(request.dataType));
  }
  hasDownloadRequests = false;
}

int KQSDOHandler::sendSDODownloadRequest(unsigned int key, unsigned int responseCOBID, unsigned int requestCOBID,
                                         int value, const std::string& stringValue, int /*dataType*/) {
  if (!hasPortAndDictionary()) {
    return KQ_NOT_AVAILABLE;
  }
  const KQCANopenDataType dataType = localDataTypeOf(key);
  if (dataType == DATA_TYPE_NONE) {
    return KQ_NOT_FOUND;
  }
  const bool isText = dataType == DATA_TYPE_VISIBLE_STRING;
  const int bytes =
      isText ? static_cast<int>(stringValue.size()) : objectDictionary->getNumberOfBytesByDatatType(dataType);
  if (bytes < 0) {
    return SDO_ABORT_LENGTH_MISMATCH;
  }
  const KQVariable* const variable = instance->getVariable(key);
  if (variable != nullptr && variable->getExternalIdentifier() == 0) {
    return KQ_NO_FREE_INDEX;
  }
  const auto size = static_cast<unsigned int>(bytes);
  if (size <= sdo::EXPEDITED_BYTES) {
    return sendExpeditedDownloadRequest({responseCOBID, requestCOBID, value, stringValue, 0, key}, isText, size);
  }
  const std::string number =
      isText ? std::string() : sdo::bytesOf(value, size, objectDictionary->isDataTypeSigned(dataType));
  return sendSegmentedDownloadRequest(key, responseCOBID, requestCOBID, isText ? stringValue : number);
}

int KQSDOHandler::sendExpeditedDownloadRequest(const SDODownloadResponseStorage& write, bool isText,
                                               unsigned int size) {
  const unsigned int remoteKey = remoteKeyOf(write.localKey);
  const unsigned int data = isText ? sdo::numberOf(write.stringValue) : static_cast<unsigned int>(write.value);
  const int result = sendExpedited(write.requestCOBID, sdo::EXPEDITED_DOWNLOAD_REQUEST, remoteKey, data, size);
  if (result != KQ_OK) {
    return result;
  }
  SDODownloadResponseStorage& confirmation = downloadResponses[remoteKey];
  confirmation = write;
  confirmation.deadline = KQTick::getTickCount() + instance->getSDOTimeout();
  return KQ_OK;
}

int KQSDOHandler::sendSegmentedDownloadRequest(unsigned int key, unsigned int responseCOBID, unsigned int requestCOBID,
                                               const std::string& data) {
  const unsigned int remoteKey = remoteKeyOf(key);
  const auto size = static_cast<unsigned int>(data.size());
  if (sendFrame(requestCOBID, sdo::SEGMENTED_DOWNLOAD_REQUEST, remoteKey, size) == KQ_OK) {
    // The slot's names are those of the server side: the response COB-ID is the one that this node sends on.
    download = Transfer::begin(remoteKey, responseCOBID, requestCOBID, size);
    download.inProgress = true;
    download.isClient = true;
    downloadData = data;
  }
  return KQ_NOT_AVAILABLE;
}

// ---- reads

void KQSDOHandler::sendNextQueuedUploadRequest() {
  if (upload.responseCOBID != 0 || !hasUploadRequests.load(std::memory_order_acquire)) {
    return;
  }
  const Lock lock(*sdoUploadRequestLocker);
  const SDODownloadRequestParameter request = uploadQueue.front();
  uploadQueue.pop_front();
  queuedReads.erase(identityOf(request));
  hasUploadRequests = !uploadQueue.empty();
  sendSDOUploadRequest(request.key, static_cast<unsigned int>(request.responseCOBID), request.requestCOBID);
}

int KQSDOHandler::sendSDOUploadRequest(unsigned int key, unsigned int responseCOBID, unsigned int requestCOBID) {
  if (!hasPortAndDictionary()) {
    return KQ_MISSING_OBJECT;
  }
  upload = Transfer::begin(key, requestCOBID, responseCOBID, 0);
  upload.isClient = true;
  uploadData.clear();  // a master's upload may have left its text
  return sendFrame(requestCOBID, sdo::UPLOAD_REQUEST, remoteKeyOf(key), 0);
}

int KQSDOHandler::sendUploadSDOSegmentRequest(unsigned int cobID) {
  upload.toggle ^= 1U;
  upload.tick = KQTick::getTickCount();
  return sendFrame(cobID, sdo::withToggle(sdo::UPLOAD_SEGMENT, upload.toggle), 0, 0);
}

bool KQSDOHandler::hasPortAndDictionary() const {
  return instance != nullptr && instance->getEndPoint() != nullptr && objectDictionary != nullptr;
}

}  // namespace KQ
