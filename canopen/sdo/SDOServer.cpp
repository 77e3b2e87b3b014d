// The server role of the SDO handler: remote masters read and write this node's dictionary.

#include <algorithm>

#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "KQSDOAbortCode.h"
#include "KQSDOHandler.h"
#include "KQTick.h"
#include "ObjectKey.h"
#include "SDOFrame.h"

namespace KQ {

namespace {

// From here on a failed write's result is an abort code of the dictionary's own.
constexpr int FIRST_WRITE_ABORT_CODE = 201;
// The same for the reading of strings.
constexpr int FIRST_READ_ABORT_CODE = 200;

bool isWritten(int result) {
  return result == KQ_OK || result == KQ_ALREADY_EXISTS;
}

bool isTransferableAsNumber(int bytes) {
  return bytes > 0 && bytes <= static_cast<int>(sdo::EXPEDITED_BYTES);
}

int fitToDataType(const KQCANopenObjectDictionary& dictionary, KQCANopenDataType dataType, int& value) {
  const int bits = dictionary.getNumberOfBitsByDatatType(dataType);
  if (bits >= 32) {
    return KQ_OK;
  }
  if (bits <= 0) {
    return value == 0 ? KQ_OK : KQ_DOES_NOT_FIT;
  }
  const auto received = static_cast<unsigned int>(value);
  if (received >> bits != 0) {
    return KQ_DOES_NOT_FIT;
  }
  const bool isNegative = (received >> (bits - 1) & 1U) != 0;
  if (isNegative && dictionary.isDataTypeSigned(dataType)) {
    value = static_cast<int>(received | 0xFFFFFFFFU << bits);
  }
  return KQ_OK;
}

}  // namespace

// ---- download

void KQSDOHandler::handleDownloadRequest(const KQCANMessage& message, unsigned int requestCOBID,
                                         unsigned int responseCOBID) {
  const unsigned char* const data = message.data;
  const bool sizeIndicated = sdo::isSizeIndicated(data[0]);
  const unsigned char unused = sdo::unusedExpeditedBytes(data[0]);
  if (sdo::isExpedited(data[0])) {
    handleExpeditedSDODownloadRequest(sdo::index(message), sdo::subIndex(message), sizeIndicated, unused, responseCOBID,
                                      data[4], data[5], data[6], data[7]);
  } else {
    handleSegmentedSDODownloadRequest(sdo::index(message), sdo::subIndex(message), sizeIndicated, unused, responseCOBID,
                                      requestCOBID, data[4], data[5], data[6], data[7]);
  }
}

int KQSDOHandler::handleExpeditedSDODownloadRequest(unsigned short index, unsigned char subIndex, bool sizeIndicated,
                                                    unsigned char n, unsigned int responseCOBID, unsigned char d0,
                                                    unsigned char d1, unsigned char d2, unsigned char d3) {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  ObjectDictionarySubEntry* const subEntry = objectDictionary->getSubentry(index, subIndex);
  const KQCANopenDataType dataType = subEntry != nullptr ? subEntry->dataType : DATA_TYPE_NONE;
  if (dataType == DATA_TYPE_NONE) {
    sendSDOAbort(index, subIndex, responseCOBID, SDO_ABORT_NO_OBJECT);
    return KQ_NOT_FOUND;
  }
  const unsigned int indicatedSize = sizeIndicated ? sdo::EXPEDITED_BYTES - n : sdo::SIZE_NOT_INDICATED;
  if (dataType != DATA_TYPE_VISIBLE_STRING) {
    return downloadNumber(keyOf(index, subIndex), *subEntry, responseCOBID, indicatedSize,
                          sdo::littleEndian(d0, d1, d2, d3));
  }
  const char text[] = {static_cast<char>(d0), static_cast<char>(d1), static_cast<char>(d2), static_cast<char>(d3)};
  const std::string value(text, std::min(indicatedSize, sdo::EXPEDITED_BYTES));
  return answerDownload(keyOf(index, subIndex), responseCOBID,
                        objectDictionary->setValue(index, subIndex, value, false));
}

int KQSDOHandler::downloadNumber(unsigned int key, ObjectDictionarySubEntry& subEntry, unsigned int responseCOBID,
                                 unsigned int indicatedSize, unsigned int data) {
  const int bytes = objectDictionary->getNumberOfBytesByDatatType(subEntry.dataType);
  if (!isTransferableAsNumber(bytes)) {
    sendSDOAbort(indexOf(key), subIndexOf(key), responseCOBID, SDO_ABORT_LENGTH_MISMATCH);
    return KQ_DONE;
  }
  const auto size = static_cast<unsigned int>(bytes);
  if (indicatedSize != sdo::SIZE_NOT_INDICATED && indicatedSize != size) {
    sendSDOAbort(indexOf(key), subIndexOf(key), responseCOBID, SDO_ABORT_VALUE_RANGE_EXCEEDED);
    return KQ_DONE;
  }
  int value = static_cast<int>(sdo::lowBytes(data, size));
  if (fitToDataType(*objectDictionary, subEntry.dataType, value) != KQ_OK) {
    sendSDOAbort(indexOf(key), subIndexOf(key), responseCOBID, SDO_ABORT_VALUE_RANGE_EXCEEDED);
    return SDO_ABORT_VALUE_RANGE_EXCEEDED;
  }
  return answerDownload(key, responseCOBID, objectDictionary->setValue(indexOf(key), subEntry, value, false));
}

int KQSDOHandler::answerDownload(unsigned int key, unsigned int responseCOBID, int writeResult) {
  if (isWritten(writeResult)) {
    sendFrame(responseCOBID, sdo::DOWNLOAD_RESPONSE, key, 0);
  } else {
    const int abortCode = writeResult < FIRST_WRITE_ABORT_CODE ? SDO_ABORT_GENERAL_ERROR : writeResult;
    sendSDOAbort(indexOf(key), subIndexOf(key), responseCOBID, static_cast<unsigned int>(abortCode));
  }
  return writeResult;
}

int KQSDOHandler::updateValueAccordingToDataType(unsigned short index, unsigned char subIndex, int& value) {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  return fitToDataType(*objectDictionary, localDataTypeOf(keyOf(index, subIndex)), value);
}

int KQSDOHandler::handleSegmentedSDODownloadRequest(unsigned short index, unsigned char subIndex, bool sizeIndicated,
                                                    unsigned char n, unsigned int responseCOBID,
                                                    unsigned int requestCOBID, unsigned char d0, unsigned char d1,
                                                    unsigned char d2, unsigned char d3) {
  const unsigned int size = sdo::littleEndian(d0, d1, d2, d3);
  if (sizeIndicated && size <= sdo::EXPEDITED_BYTES) {
    // Taken for an expedited download whose data are the bytes of the size.
    return handleExpeditedSDODownloadRequest(index, subIndex, true, n, responseCOBID, d0, d1, d2, d3);
  }
  if (objectDictionary == nullptr) {
    return SDO_ABORT_GENERAL_ERROR;
  }
  const unsigned int key = keyOf(index, subIndex);
  if (localDataTypeOf(key) == DATA_TYPE_NONE) {
    return SDO_ABORT_NO_SUB_INDEX;
  }
  sendFrame(responseCOBID, sdo::DOWNLOAD_RESPONSE, key, 0);
  download = Transfer::begin(key, requestCOBID, responseCOBID, sizeIndicated ? size : sdo::SIZE_NOT_INDICATED);
  download.inProgress = true;
  download.toggle = 1;  // so that the first segment must carry toggle 0
  downloadData.clear();
  return KQ_DONE;
}

int KQSDOHandler::handleSegmentedSDODownloadSegment(unsigned int responseCOBID, unsigned int requestCOBID,
                                                    unsigned char command, unsigned char d1, unsigned char d2,
                                                    unsigned char d3, unsigned char d4, unsigned char d5,
                                                    unsigned char d6, unsigned char d7) {
  if (responseCOBID != download.responseCOBID && requestCOBID != download.requestCOBID) {
    return KQ_OK;
  }
  const unsigned int toggle = sdo::toggle(command);
  if (toggle == download.toggle) {
    return abortDownload(SDO_ABORT_TOGGLE_BIT);
  }
  download.toggle = toggle;
  const unsigned char data[] = {d1, d2, d3, d4, d5, d6, d7};
  if (!takeBytes(downloadData, data, sdo::SEGMENT_BYTES - sdo::unusedSegmentBytes(command))) {
    return abortDownload(SDO_ABORT_OUT_OF_MEMORY);
  }
  const int result = sendFrame(download.responseCOBID, sdo::withToggle(sdo::DOWNLOAD_SEGMENT_RESPONSE, toggle), 0, 0);
  download.tick = KQTick::getTickCount();
  return sdo::isLastSegment(command) ? finishDownload() : result;
}

int KQSDOHandler::abortDownload(unsigned int abortCode) {
  download.inProgress = false;
  return sendSDOAbort(download.index, download.subIndex, download.responseCOBID, abortCode);
}

int KQSDOHandler::finishDownload() {
  download.inProgress = false;
  const int result = objectDictionary != nullptr
                         ? objectDictionary->setValue(download.index, download.subIndex, downloadData, false)
                         : KQ_NOT_AVAILABLE;
  if (!isWritten(result)) {
    abortDownload(SDO_ABORT_NO_DICTIONARY);
  }
  return result;
}

// ---- upload

int KQSDOHandler::sendUploadResponse(unsigned short index, unsigned char subIndex, unsigned int responseCOBID,
                                     unsigned int requestCOBID) {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  ObjectDictionarySubEntry* const subEntry = objectDictionary->getSubentry(index, subIndex);
  if (subEntry == nullptr) {
    return sendSDOAbort(index, subIndex, responseCOBID, SDO_ABORT_NO_OBJECT);
  }
  return subEntry->dataType == DATA_TYPE_VISIBLE_STRING
             ? sendStringUploadResponse(index, subIndex, responseCOBID, requestCOBID)
             : sendNumberUploadResponse(keyOf(index, subIndex), *subEntry, responseCOBID);
}

int KQSDOHandler::sendStringUploadResponse(unsigned short index, unsigned char subIndex, unsigned int responseCOBID,
                                           unsigned int requestCOBID) {
  // Read apart from a transfer that may be running; its memory is that of the last one.
  std::string& text = uploadText;
  text.clear();
  const int result = objectDictionary->getValue(index, subIndex, text);
  if (result != KQ_OK && result != KQ_VALUE_INVALID) {
    const int abortCode = result >= FIRST_READ_ABORT_CODE ? result : SDO_ABORT_NO_DICTIONARY;
    return sendSDOAbort(index, subIndex, responseCOBID, static_cast<unsigned int>(abortCode));
  }
  if (text.size() > sdo::EXPEDITED_BYTES) {
    return sendInitiateSegmentedUploadResponse(index, subIndex, responseCOBID, requestCOBID, text);
  }
  return sendExpedited(responseCOBID, sdo::EXPEDITED_UPLOAD_RESPONSE, keyOf(index, subIndex), sdo::numberOf(text),
                       static_cast<unsigned int>(text.size()));
}

int KQSDOHandler::sendNumberUploadResponse(unsigned int key, ObjectDictionarySubEntry& subEntry,
                                           unsigned int responseCOBID) {
  int value = 0;
  if (objectDictionary->getValue(indexOf(key), subEntry, value) == SDO_ABORT_WRITE_ONLY) {
    return sendSDOAbort(indexOf(key), subIndexOf(key), responseCOBID, SDO_ABORT_WRITE_ONLY);
  }
  const int bytes = objectDictionary->getNumberOfBytesByDatatType(subEntry.dataType);
  if (subEntry.dataType == DATA_TYPE_NONE || !isTransferableAsNumber(bytes)) {
    return sendSDOAbort(indexOf(key), subIndexOf(key), responseCOBID, SDO_ABORT_LENGTH_MISMATCH);
  }
  return sendExpedited(responseCOBID, sdo::EXPEDITED_UPLOAD_RESPONSE, key, static_cast<unsigned int>(value),
                       static_cast<unsigned int>(bytes));
}

int KQSDOHandler::sendInitiateSegmentedUploadResponse(unsigned short index, unsigned char subIndex,
                                                      unsigned int responseCOBID, unsigned int requestCOBID,
                                                      const std::string& data) {
  const unsigned int key = keyOf(index, subIndex);
  const auto size = static_cast<unsigned int>(data.size());
  const int result = sendFrame(responseCOBID, sdo::SEGMENTED_UPLOAD_RESPONSE, key, size);
  if (result != KQ_OK) {
    return result;
  }
  upload = Transfer::begin(key, requestCOBID, responseCOBID, size);
  upload.inProgress = true;
  upload.toggle = 1;  // so that the first segment must be asked for with toggle 0
  uploadData = data;
  return KQ_OK;
}

int KQSDOHandler::handleSDOUploadSegmentRequest(unsigned int responseCOBID, unsigned short requestCOBID, int toggle) {
  const auto requestedToggle = static_cast<unsigned int>(toggle);
  if (requestedToggle == upload.toggle) {
    return abortUpload(responseCOBID, SDO_ABORT_TOGGLE_BIT);
  }
  upload.toggle = requestedToggle;
  if (responseCOBID != upload.responseCOBID || requestCOBID != upload.requestCOBID) {
    return abortUpload(responseCOBID, SDO_ABORT_GENERAL_ERROR);
  }
  const int result = sendSegment(upload, uploadData);
  if (upload.remaining() == 0) {
    endUpload();
  }
  return result;
}

int KQSDOHandler::abortUpload(unsigned int cobID, unsigned int abortCode) {
  endUpload();
  return sendSDOAbort(upload.index, upload.subIndex, cobID, abortCode);
}

void KQSDOHandler::endUpload() {
  upload.inProgress = false;
  upload.responseCOBID = 0;
}

}  // namespace KQ
