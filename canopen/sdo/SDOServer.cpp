// The server role of the SDO handler: remote masters read and write this node's dictionary.

#include <algorithm>

#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "KQSDOAbortCode.h"
#include "KQSDOHandler.h"
#include "KQTick.h"
#include "SDOFrame.h"

namespace KQ {

namespace {

/// From here on a failed write's result is an abort code of the dictionary's own.
constexpr int FIRST_WRITE_ABORT_CODE = 201;
/// The same for the reading of strings.
constexpr int FIRST_READ_ABORT_CODE = 200;

constexpr unsigned int keyOf(unsigned short index, unsigned char subIndex) {
  return static_cast<unsigned int>(index) << 16 | subIndex;
}

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

void KQSDOHandler::dispatchServerRequest(const KQCANMessage& message, unsigned int requestCOBID,
                                         unsigned int responseCOBID) {
  const unsigned char* const data = message.data;
  const unsigned short index = sdo::index(message);
  const unsigned char subIndex = sdo::subIndex(message);
  switch (sdo::commandSpecifier(message)) {
    case sdo::DOWNLOAD_SEGMENT_REQUEST:
      if (downloadInProgress) {
        handleSegmentedSDODownloadSegment(responseCOBID, requestCOBID, data[0], data[1], data[2], data[3], data[4],
                                          data[5], data[6], data[7]);
      }
      break;
    case sdo::INITIATE_DOWNLOAD_REQUEST:
      if (sdo::isExpedited(data[0])) {
        handleExpeditedSDODownloadRequest(index, subIndex, sdo::isSizeIndicated(data[0]),
                                          sdo::unusedExpeditedBytes(data[0]), responseCOBID, data[4], data[5], data[6],
                                          data[7]);
      } else {
        handleSegmentedSDODownloadRequest(index, subIndex, sdo::isSizeIndicated(data[0]),
                                          sdo::unusedExpeditedBytes(data[0]), responseCOBID, requestCOBID, data[4],
                                          data[5], data[6], data[7]);
      }
      break;
    case sdo::INITIATE_UPLOAD_REQUEST:
      sendUploadResponse(index, subIndex, responseCOBID, requestCOBID);
      break;
    case sdo::UPLOAD_SEGMENT_REQUEST:
      if (uploadInProgress) {
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

// ---- download

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
  const unsigned int indicatedSize = sdo::EXPEDITED_BYTES - n;
  if (dataType == DATA_TYPE_VISIBLE_STRING) {
    const char text[] = {static_cast<char>(d0), static_cast<char>(d1), static_cast<char>(d2), static_cast<char>(d3)};
    const std::string value(text, sizeIndicated ? indicatedSize : sdo::EXPEDITED_BYTES);
    return answerDownload(index, subIndex, responseCOBID, objectDictionary->setValue(index, subIndex, value, false));
  }
  const int bytes = objectDictionary->getNumberOfBytesByDatatType(dataType);
  if (!isTransferableAsNumber(bytes)) {
    sendSDOAbort(index, subIndex, responseCOBID, SDO_ABORT_LENGTH_MISMATCH);
    return KQ_DONE;
  }
  const auto size = static_cast<unsigned int>(bytes);
  if (sizeIndicated && indicatedSize != size) {
    sendSDOAbort(index, subIndex, responseCOBID, SDO_ABORT_VALUE_RANGE_EXCEEDED);
    return KQ_DONE;
  }
  const unsigned int unusedBits = 8 * (sdo::EXPEDITED_BYTES - size);
  int value = static_cast<int>(sdo::littleEndian(d0, d1, d2, d3) & 0xFFFFFFFFU >> unusedBits);
  if (fitToDataType(*objectDictionary, dataType, value) != KQ_OK) {
    sendSDOAbort(index, subIndex, responseCOBID, SDO_ABORT_VALUE_RANGE_EXCEEDED);
    return SDO_ABORT_VALUE_RANGE_EXCEEDED;
  }
  return answerDownload(index, subIndex, responseCOBID, objectDictionary->setValue(*subEntry, value, false));
}

int KQSDOHandler::answerDownload(unsigned short index, unsigned char subIndex, unsigned int responseCOBID,
                                 int writeResult) {
  if (isWritten(writeResult)) {
    sendDownloadResponse(index, subIndex, responseCOBID);
  } else {
    const int abortCode = writeResult < FIRST_WRITE_ABORT_CODE ? SDO_ABORT_GENERAL_ERROR : writeResult;
    sendSDOAbort(index, subIndex, responseCOBID, static_cast<unsigned int>(abortCode));
  }
  return writeResult;
}

int KQSDOHandler::sendDownloadResponse(unsigned short index, unsigned char subIndex, unsigned int cobID) {
  prepareFrame(cobID, sdo::DOWNLOAD_RESPONSE, index, subIndex);
  sdo::putLittleEndian(outgoingMessage.data + 4, 0);
  return sendCANMessage();
}

int KQSDOHandler::updateValueAccordingToDataType(unsigned short index, unsigned char subIndex, int& value) {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  KQCANopenDataType dataType = DATA_TYPE_NONE;
  objectDictionary->getDataType(index, subIndex, dataType);
  return fitToDataType(*objectDictionary, dataType, value);
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
  KQCANopenDataType dataType = DATA_TYPE_NONE;
  objectDictionary->getDataType(index, subIndex, dataType);
  if (dataType == DATA_TYPE_NONE) {
    return SDO_ABORT_NO_SUB_INDEX;
  }
  sendDownloadResponse(index, subIndex, responseCOBID);
  downloadOffset = 0;
  downloadResponseCOBID = responseCOBID;
  downloadRequestCOBID = requestCOBID;
  downloadSize = sizeIndicated ? size : sdo::SIZE_NOT_INDICATED;
  downloadIndex = index;
  downloadSubIndex = subIndex;
  downloadInProgress = true;
  downloadData.clear();
  downloadToggle = 1;  // so that the first segment must carry toggle 0
  downloadConfirmed = false;
  downloadIsClient = false;
  downloadTick = KQTick::getTickCount();
  return KQ_DONE;
}

int KQSDOHandler::handleSegmentedSDODownloadSegment(unsigned int responseCOBID, unsigned int requestCOBID,
                                                    unsigned char command, unsigned char d1, unsigned char d2,
                                                    unsigned char d3, unsigned char d4, unsigned char d5,
                                                    unsigned char d6, unsigned char d7) {
  if (responseCOBID != downloadResponseCOBID && requestCOBID != downloadRequestCOBID) {
    return KQ_OK;
  }
  const unsigned int toggle = sdo::toggle(command);
  if (toggle == downloadToggle) {
    downloadInProgress = false;
    return sendSDOAbort(downloadIndex, downloadSubIndex, downloadResponseCOBID, SDO_ABORT_TOGGLE_BIT);
  }
  downloadToggle = toggle;
  const char data[] = {static_cast<char>(d1), static_cast<char>(d2), static_cast<char>(d3), static_cast<char>(d4),
                       static_cast<char>(d5), static_cast<char>(d6), static_cast<char>(d7)};
  downloadData.append(data, sdo::SEGMENT_BYTES - sdo::unusedSegmentBytes(command));

  prepareFrame(downloadResponseCOBID, sdo::withToggle(sdo::DOWNLOAD_SEGMENT_RESPONSE, toggle), 0, 0);
  sdo::putLittleEndian(outgoingMessage.data + 4, 0);
  const int result = sendCANMessage();
  downloadTick = KQTick::getTickCount();
  return sdo::isLastSegment(command) ? finishDownload() : result;
}

int KQSDOHandler::finishDownload() {
  downloadInProgress = false;
  const int result = objectDictionary->setValue(downloadIndex, downloadSubIndex, downloadData, false);
  if (!isWritten(result)) {
    sendSDOAbort(downloadIndex, downloadSubIndex, downloadResponseCOBID, SDO_ABORT_NO_DICTIONARY);
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
             : sendNumberUploadResponse(*subEntry, responseCOBID);
}

int KQSDOHandler::sendStringUploadResponse(unsigned short index, unsigned char subIndex, unsigned int responseCOBID,
                                           unsigned int requestCOBID) {
  // Read apart from a transfer that may be running; its memory is that of the last one.
  std::string& text = uploadText;
  const int result = objectDictionary->getValue(index, subIndex, text);
  if (result != KQ_OK && result != KQ_VALUE_INVALID) {
    const int abortCode = result >= FIRST_READ_ABORT_CODE ? result : SDO_ABORT_NO_DICTIONARY;
    return sendSDOAbort(index, subIndex, responseCOBID, static_cast<unsigned int>(abortCode));
  }
  if (text.size() > sdo::EXPEDITED_BYTES) {
    return sendInitiateSegmentedUploadResponse(index, subIndex, responseCOBID, requestCOBID, text);
  }
  unsigned char data[sdo::EXPEDITED_BYTES] = {};
  std::copy(text.begin(), text.end(), data);
  return sendExpeditedUploadResponse(index, subIndex, responseCOBID, data, static_cast<unsigned int>(text.size()));
}

int KQSDOHandler::sendNumberUploadResponse(ObjectDictionarySubEntry& subEntry, unsigned int responseCOBID) {
  const unsigned short index = subEntry.index;
  const unsigned char subIndex = subEntry.subIndex;
  int value = 0;
  if (objectDictionary->getValue(subEntry, value) == SDO_ABORT_WRITE_ONLY) {
    return sendSDOAbort(index, subIndex, responseCOBID, SDO_ABORT_WRITE_ONLY);
  }
  const int bytes = objectDictionary->getNumberOfBytesByDatatType(subEntry.dataType);
  if (!isTransferableAsNumber(bytes)) {
    return sendSDOAbort(index, subIndex, responseCOBID, SDO_ABORT_LENGTH_MISMATCH);
  }
  const auto size = static_cast<unsigned int>(bytes);
  unsigned char data[sdo::EXPEDITED_BYTES];
  sdo::putLittleEndian(data, static_cast<unsigned int>(value) & 0xFFFFFFFFU >> 8 * (sdo::EXPEDITED_BYTES - size));
  return sendExpeditedUploadResponse(index, subIndex, responseCOBID, data, size);
}

int KQSDOHandler::sendExpeditedUploadResponse(unsigned short index, unsigned char subIndex, unsigned int cobID,
                                              const unsigned char* data, unsigned int length) {
  prepareFrame(cobID, sdo::expeditedCommand(sdo::EXPEDITED_UPLOAD_RESPONSE, length), index, subIndex);
  if (length > 0) {
    std::copy(data, data + sdo::EXPEDITED_BYTES, outgoingMessage.data + 4);
  }
  return sendCANMessage();
}

int KQSDOHandler::sendInitiateSegmentedUploadResponse(unsigned short index, unsigned char subIndex,
                                                      unsigned int responseCOBID, unsigned int requestCOBID,
                                                      const std::string& data) {
  prepareFrame(responseCOBID, sdo::SEGMENTED_UPLOAD_RESPONSE, index, subIndex);
  sdo::putLittleEndian(outgoingMessage.data + 4, static_cast<unsigned int>(data.size()));
  const int result = sendCANMessage();
  if (result != KQ_OK) {
    return result;
  }
  uploadOffset = 0;
  uploadResponseCOBID = responseCOBID;
  uploadRequestCOBID = requestCOBID;
  uploadLength = static_cast<int>(data.size());
  uploadInProgress = true;
  uploadToggle = 1;
  uploadData = data;
  uploadIndex = index;
  uploadSubIndex = subIndex;
  uploadTick = KQTick::getTickCount();
  return KQ_OK;
}

int KQSDOHandler::handleSDOUploadSegmentRequest(unsigned int responseCOBID, unsigned short requestCOBID, int toggle) {
  const auto requestedToggle = static_cast<unsigned int>(toggle);
  if (requestedToggle == uploadToggle) {
    return abortUpload(responseCOBID, SDO_ABORT_TOGGLE_BIT);
  }
  uploadToggle = requestedToggle;
  if (responseCOBID != uploadResponseCOBID || requestCOBID != uploadRequestCOBID) {
    return abortUpload(responseCOBID, SDO_ABORT_GENERAL_ERROR);
  }
  return sendNextUploadSegment();
}

int KQSDOHandler::abortUpload(unsigned int cobID, unsigned int abortCode) {
  endUpload();
  return sendSDOAbort(uploadIndex, uploadSubIndex, cobID, abortCode);
}

void KQSDOHandler::endUpload() {
  uploadInProgress = false;
  uploadResponseCOBID = 0;
}

int KQSDOHandler::sendNextUploadSegment() {
  const auto offset = static_cast<std::size_t>(uploadOffset);
  const auto remaining = static_cast<unsigned int>(uploadLength - uploadOffset);
  const unsigned int count = std::min(remaining, sdo::SEGMENT_BYTES);

  outgoingMessage.identifier = uploadResponseCOBID;
  outgoingMessage.length = sdo::FRAME_LENGTH;
  outgoingMessage.data[0] = sdo::withToggle(sdo::segmentCommand(remaining), uploadToggle);
  sdo::putSegment(outgoingMessage, uploadData, offset);
  const int result = sendCANMessage();

  uploadOffset += static_cast<int>(count);
  uploadTick = KQTick::getTickCount();
  if (uploadOffset >= uploadLength) {
    endUpload();
  }
  return result;
}

}  // namespace KQ
