// The client role of the SDO handler: what the servers of other nodes answer.

#include <algorithm>

#include "DiagnosticLine.h"
#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenSignal.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQSDOAbortCode.h"
#include "KQSDOHandler.h"
#include "KQSignal.h"
#include "KQSignalListener.h"
#include "KQVariable.h"
#include "ObjectKey.h"
#include "SDOFrame.h"

namespace KQ {

// ---- downloads

int KQSDOHandler::handleSDODownloadResponse(unsigned short index, unsigned char subIndex, unsigned int cobID) {
  const unsigned int remoteKey = keyOf(index, subIndex);
  const auto it = downloadResponses.find(remoteKey);
  if (it == downloadResponses.end()) {
    return KQ_NOT_FOUND;
  }
  if (it->second.responseCOBID != cobID) {
    return KQ_MISMATCH;
  }
  const SDODownloadResponseStorage confirmed = it->second;
  const int result = writeLocalEntry(confirmed.localKey, confirmed.value, confirmed.stringValue);
  signalSDOEvent(confirmed.localKey, true);
  downloadResponses.erase(remoteKey);
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
  if (!isClientDownloading()) {
    return KQ_UNEXPECTED;
  }
  // The slot's names are those of the server side. What another server answers is about another transfer.
  if (responseCOBID != download.requestCOBID || requestCOBID != download.responseCOBID) {
    return KQ_UNEXPECTED;
  }
  if (download.isConfirmed) {
    return finishClientDownload(responseCOBID);
  }
  if (sdo::commandSpecifier(message) == sdo::INITIATE_DOWNLOAD_RESPONSE) {
    download.toggle = 0;
  } else if (sdo::toggle(message.data[0]) == download.toggle) {
    download.toggle ^= 1U;
  } else {
    return abortDownload(SDO_ABORT_TOGGLE_BIT);
  }
  download.isConfirmed = download.remaining() <= sdo::SEGMENT_BYTES;
  return sendSegment(download, downloadData);
}

int KQSDOHandler::finishClientDownload(unsigned int responseCOBID) {
  download.inProgress = false;
  unsigned int key = download.key();
  int result = SDO_ABORT_GENERAL_ERROR;
  const KQVariable* const variable =
      instance->getVariableByExternalIdentifier(download.index, download.subIndex, responseCOBID);
  if (variable != nullptr) {
    key = static_cast<unsigned int>(variable->getFirstAddress()) << 16 | variable->getSecondAddress();
    result = writeLocalEntry(key, static_cast<int>(sdo::numberOf(downloadData)), downloadData);
  }
  signalSDOEvent(key, true);
  return result;
}

// ---- uploads

int KQSDOHandler::handleSDOUploadResponse(const KQCANMessage& message, unsigned int responseCOBID,
                                          unsigned int requestCOBID) {
  // Only the answer to the request that is pending now is taken: a late one would end up in another variable.
  const bool isExpected = upload.isClient && !upload.inProgress && upload.responseCOBID == responseCOBID &&
                          upload.requestCOBID == requestCOBID &&
                          remoteKeyOf(upload.key()) == keyOf(sdo::index(message), sdo::subIndex(message));
  if (!isExpected) {
    return KQ_UNEXPECTED;
  }
  const unsigned char command = message.data[0];
  if (sdo::isExpedited(command)) {
    return handleExpeditedSDOUploadResponse(message);
  }
  if (!sdo::isSizeIndicated(command)) {
    return KQ_UNEXPECTED;
  }
  upload.size = sdo::number(message);
  upload.toggle = 1;  // which the first request turns into 0
  upload.inProgress = true;
  uploadData.clear();  // an answer that was not to be stored may have left its text
  return sendUploadSDOSegmentRequest(requestCOBID);
}

int KQSDOHandler::handleExpeditedSDOUploadResponse(const KQCANMessage& message) {
  if (objectDictionary == nullptr || instance == nullptr || dei == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  const KQCANopenDataType dataType = localDataTypeOf(upload.key());
  const int bytes = objectDictionary->getNumberOfBytesByDatatType(dataType);
  const bool isText = dataType == DATA_TYPE_VISIBLE_STRING;
  constexpr int DATA_BYTES = sdo::EXPEDITED_BYTES;
  int unused = 0;
  if (sdo::isSizeIndicated(message.data[0])) {
    unused = sdo::unusedExpeditedBytes(message.data[0]);
  } else if (!isText) {
    unused = DATA_BYTES - bytes;
  }
  printLine("SDO => Expedited NOOFBYTES: " + std::to_string(bytes) + " DATATYPE: " + std::to_string(dataType));
  if (isText) {
    return takeBytes(uploadData, message.data + 4, static_cast<std::size_t>(DATA_BYTES - unused)) ? storeUploadedText()
                                                                                                  : refuseUpload();
  }
  if (DATA_BYTES - unused > bytes) {
    return KQ_DOES_NOT_FIT;
  }
  if (unused < 0 || unused > 3) {
    return KQ_MISMATCH;
  }
  return storeUploadedNumber(
      static_cast<int>(sdo::lowBytes(sdo::number(message), static_cast<unsigned int>(DATA_BYTES - unused))));
}

int KQSDOHandler::handleSegmentedSDOUploadSegment(const KQCANMessage& message, unsigned int responseCOBID,
                                                  unsigned int requestCOBID) {
  const unsigned char command = message.data[0];
  if (!upload.inProgress || responseCOBID != upload.responseCOBID || requestCOBID != upload.requestCOBID ||
      sdo::toggle(command) != upload.toggle) {
    return KQ_UNEXPECTED;
  }
  if (!takeBytes(uploadData, message.data + 1, sdo::SEGMENT_BYTES - sdo::unusedSegmentBytes(command))) {
    return refuseUpload();
  }
  if (sdo::isLastSegment(command)) {
    return finishClientUpload();
  }
  if (sendUploadSDOSegmentRequest(requestCOBID) != KQ_OK) {
    upload = Transfer();
    return KQ_DISABLED;
  }
  return KQ_OK;
}

bool KQSDOHandler::isUploadedVariableOwned() const {
  const std::string* const owner = dei != nullptr ? dei->getVariableOwner(upload.index, upload.subIndex) : nullptr;
  if (owner == nullptr) {
    // The sub-index goes out as one raw character.
    printLine("+++++ SDO => Unable to find owner of variable in a SDO Upload Response: 0x" + hexadecimal(upload.index) +
              "/0x" + static_cast<char>(upload.subIndex));
    return false;
  }
  if (*owner != instance->getOwnerName()) {
    printLine("+++++ SDO => We are not owner of the variable");
    return false;
  }
  return true;
}

int KQSDOHandler::storeUploadedNumber(int value) {
  if (!isUploadedVariableOwned()) {
    return KQ_NOT_PERMITTED;
  }
  int result = SDO_ABORT_VALUE_RANGE_EXCEEDED;
  if (updateValueAccordingToDataType(upload.index, upload.subIndex, value) == KQ_OK) {
    result = objectDictionary->setValue(upload.index, upload.subIndex, value, false);
  }
  upload = Transfer();
  return result;
}

int KQSDOHandler::forceUploadedText() {
  return dei->forceSetVariableValue(upload.index, upload.subIndex, uploadData, instance->getOwnerName(), true, false);
}

int KQSDOHandler::storeUploadedText() {
  if (!isUploadedVariableOwned()) {
    return KQ_NOT_PERMITTED;
  }
  const int result = forceUploadedText();
  upload = Transfer();
  return result;
}

int KQSDOHandler::finishClientUpload() {
  const unsigned int key = upload.key();
  if (!isUploadedVariableOwned()) {
    return KQ_NOT_PERMITTED;
  }
  int result = forceUploadedText();
  if (result == KQ_ALREADY_EXISTS && sdoEventListener == nullptr) {
    result = KQ_NOT_FOUND;
  } else if (result == KQ_ALREADY_EXISTS) {
    KQSignal signal(STACK_SIGNAL_TYPE, KQ_SIGNAL_VARIABLE_CHANGED_TEXT, key);
    sdoEventListener->signalOccurred(signal);
  }
  printLine(std::string("Error_Code: ") + kqGetErrorString(result));
  upload = Transfer();
  return result;
}

int KQSDOHandler::refuseUpload() {
  const unsigned int remoteKey = remoteKeyOf(upload.key());
  sendSDOAbort(indexOf(remoteKey), subIndexOf(remoteKey), upload.requestCOBID, SDO_ABORT_OUT_OF_MEMORY);
  upload = Transfer();
  return SDO_ABORT_OUT_OF_MEMORY;
}

// ---- aborts

int KQSDOHandler::handleSDOAbortMessage(unsigned short index, unsigned char subIndex, unsigned int cobID) {
  const auto it = downloadResponses.find(keyOf(index, subIndex));
  if (it != downloadResponses.end() && it->second.responseCOBID == cobID) {
    const unsigned int localKey = it->second.localKey;
    downloadResponses.erase(it);
    signalSDOEvent(localKey, false);
  }
  if (isClientDownloading() && download.requestCOBID == cobID) {
    download.inProgress = false;
    signalSDOEvent(download.key(), false);
  }
  if (upload.inProgress && upload.responseCOBID == cobID) {
    upload = Transfer();
  }
  return KQ_OK;
}

}  // namespace KQ
