#include "SDOServerModel.h"

namespace model {

namespace {

constexpr unsigned int UNKNOWN_COMMAND = 0x05040001;
constexpr unsigned int TOGGLE_ERROR = 0x05030000;
constexpr unsigned int NO_OBJECT = 0x06020000;
constexpr int WRITE_ONLY = 0x06010001;
constexpr int TYPE_MISMATCH = 0x06070010;
constexpr int INVALID_VALUE = 0x06090030;
constexpr unsigned int GENERAL_ERROR = 0x08000000;
constexpr unsigned int DATA_ERROR = 0x08000023;

unsigned int commandOf(const Frame& frame) {
  return frame.data[0];
}

unsigned int toggleOf(const Frame& frame) {
  return commandOf(frame) >> 4U & 1U;
}

}  // namespace

void SDOServerModel::readChannels() {
  for (const unsigned int index : dictionary.indexes(0x1200, 0x127F)) {
    int request = 0;
    int response = 0;
    if (dictionary.read(index << 16U | 1U, request) == 0 && dictionary.read(index << 16U | 2U, response) == 0) {
      channels[static_cast<unsigned int>(request)] = response;
    }
  }
}

void SDOServerModel::handle(const Frame& frame) {
  const auto found = channels.find(frame.identifier & 0x1FFFFFFFU);
  if (found == channels.end() || found->second < 0) {
    return;
  }
  const Channel channel{found->first, static_cast<unsigned int>(found->second)};
  switch (commandOf(frame) >> 5U) {
    case 0:
      if (transfers.download.inProgress) {
        takeSegment(frame, channel);
      }
      break;
    case 1:
      startDownload(frame, channel);
      break;
    case 2:
      upload(keyOf(frame), channel);
      break;
    case 3:
      if (transfers.upload.inProgress) {
        sendSegment(frame, channel);
      }
      break;
    case 4:
      transfers.tell(keyOf(frame));
      break;
    default:
      transfers.abort(channel.response, keyOf(frame), UNKNOWN_COMMAND);
      break;
  }
}

// ---- download

void SDOServerModel::startDownload(const Frame& frame, const Channel& channel) {
  const bool sizeIndicated = (commandOf(frame) & 1U) != 0;
  const bool expedited = (commandOf(frame) & 2U) != 0;
  if (expedited || (sizeIndicated && numberOf(frame) < 5)) {
    downloadExpedited(frame, channel, sizeIndicated);
    return;
  }
  const DictionaryModel::Object* const object = dictionary.find(keyOf(frame));
  if (object == nullptr || object->type == 0) {
    return;  // the master runs into its time-out
  }
  transfers.send(channel.response, 0x60, keyOf(frame), 0);
  SDOTransfers::Download& download = transfers.download;
  download = SDOTransfers::Download();
  download.requestCOBID = channel.request;
  download.responseCOBID = channel.response;
  download.key = keyOf(frame);
  download.toggle = 1;
  download.tick = surroundings.tick;
  download.inProgress = true;
}

void SDOServerModel::downloadExpedited(const Frame& frame, const Channel& channel, bool sizeIndicated) {
  const unsigned int key = keyOf(frame);
  const DictionaryModel::Object* const object = dictionary.find(key);
  if (object == nullptr || object->type == 0) {
    transfers.abort(channel.response, key, NO_OBJECT);
    return;
  }
  const unsigned int unused = sizeIndicated ? commandOf(frame) >> 2U & 3U : 0;
  const int result = object->type == VISIBLE_STRING ? dictionary.write(key, textOf(frame, 4, 4 - unused), false)
                                                    : writeNumber(frame, key, object->type, sizeIndicated);
  if (result == 0 || result == 25) {
    transfers.send(channel.response, 0x60, key, 0);
  } else {
    transfers.abort(channel.response, key, result < 201 ? GENERAL_ERROR : static_cast<unsigned int>(result));
  }
}

int SDOServerModel::writeNumber(const Frame& frame, unsigned int key, int type, bool sizeIndicated) {
  const int bytes = dictionary.bytesOf(type);
  if (bytes < 1 || bytes > 4) {
    return TYPE_MISMATCH;
  }
  const int indicated = 4 - static_cast<int>(commandOf(frame) >> 2U & 3U);
  if (sizeIndicated && indicated != bytes) {
    return INVALID_VALUE;
  }
  int value = static_cast<int>(numberOf(frame) & (0xFFFFFFFFU >> (32U - 8U * static_cast<unsigned int>(bytes))));
  return transfers.fit(type, value) ? dictionary.write(key, value, false) : INVALID_VALUE;
}

void SDOServerModel::takeSegment(const Frame& frame, const Channel& channel) {
  SDOTransfers::Download& download = transfers.download;
  if (channel.response != download.responseCOBID && channel.request != download.requestCOBID) {
    return;
  }
  if (toggleOf(frame) == download.toggle) {
    download.inProgress = false;
    transfers.abort(download.responseCOBID, download.key, TOGGLE_ERROR);
    return;
  }
  download.toggle = toggleOf(frame);
  download.data += textOf(frame, 1, 7U - (commandOf(frame) >> 1U & 7U));
  SDOTransfers::Bytes response{static_cast<unsigned char>(0x20U | download.toggle << 4U)};
  transfers.send(download.responseCOBID, response);
  download.tick = surroundings.tick;
  if ((commandOf(frame) & 1U) == 0) {
    return;
  }
  download.inProgress = false;
  const int result = dictionary.write(download.key, download.data, false);
  if (result != 0 && result != 25) {
    transfers.abort(download.responseCOBID, download.key, DATA_ERROR);
  }
}

// ---- upload

void SDOServerModel::upload(unsigned int key, const Channel& channel) {
  const DictionaryModel::Object* const object = dictionary.find(key);
  if (object == nullptr) {
    transfers.abort(channel.response, key, NO_OBJECT);
  } else if (object->type == VISIBLE_STRING) {
    uploadText(key, channel);
  } else {
    uploadNumber(key, object->type, channel);
  }
}

void SDOServerModel::uploadText(unsigned int key, const Channel& channel) {
  std::string text;
  const int result = dictionary.read(key, text);
  if (result != 0 && result != 12) {
    transfers.abort(channel.response, key, result > 199 ? static_cast<unsigned int>(result) : DATA_ERROR);
    return;
  }
  const unsigned int length = static_cast<unsigned int>(text.size());
  if (length <= 4) {
    transfers.sendText(channel.response, 0x43 + (4 - length) * 4, key, text);
    return;
  }
  if (!transfers.send(channel.response, 0x41, key, length)) {
    return;
  }
  SDOTransfers::Upload& running = transfers.upload;
  running = SDOTransfers::Upload();
  running.requestCOBID = channel.request;
  running.responseCOBID = channel.response;
  running.data = text;
  running.toggle = 1;
  running.key = key;
  running.tick = surroundings.tick;
  running.inProgress = true;
}

void SDOServerModel::uploadNumber(unsigned int key, int type, const Channel& channel) {
  int value = 0;
  const bool writeOnly = dictionary.read(key, value) == WRITE_ONLY;
  const int bytes = dictionary.bytesOf(type);
  if (writeOnly || type == 0 || bytes < 1 || bytes > 4) {
    transfers.abort(channel.response, key, static_cast<unsigned int>(writeOnly ? WRITE_ONLY : TYPE_MISMATCH));
    return;
  }
  const unsigned int size = static_cast<unsigned int>(bytes);
  transfers.send(channel.response, 0x43 + (4 - size) * 4, key,
                 static_cast<unsigned int>(value) & (0xFFFFFFFFU >> (32U - 8U * size)));
}

void SDOServerModel::sendSegment(const Frame& frame, const Channel& channel) {
  SDOTransfers::Upload& running = transfers.upload;
  if (toggleOf(frame) == running.toggle) {
    transfers.abort(channel.response, running.key, TOGGLE_ERROR);
    endUpload();
    return;
  }
  running.toggle = toggleOf(frame);
  if (channel.response != running.responseCOBID || (channel.request & 0xFFFFU) != running.requestCOBID) {
    transfers.abort(channel.response, running.key, GENERAL_ERROR);
    endUpload();
    return;
  }
  const std::size_t remaining = running.data.size() - running.offset;
  const unsigned int last = remaining < 8 ? (7U - static_cast<unsigned int>(remaining)) << 1U | 1U : 0U;
  transfers.send(running.responseCOBID,
                 SDOTransfers::segment(running.toggle << 4U | last, running.data, running.offset));
  running.tick = surroundings.tick;
  running.offset += 7;
  if (running.offset >= running.data.size()) {
    endUpload();
  }
}

void SDOServerModel::endUpload() {
  transfers.upload.inProgress = false;
  transfers.upload.responseCOBID = 0;
}

}  // namespace model
