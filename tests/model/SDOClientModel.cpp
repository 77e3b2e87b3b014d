#include "SDOClientModel.h"

#include <algorithm>

#include "KQErrorCodes.h"

namespace model {

namespace {

constexpr unsigned int TIMED_OUT = 0x05040000;
constexpr unsigned int UNKNOWN_COMMAND = 0x05040001;
constexpr unsigned int TOGGLE_ERROR = 0x05030000;

unsigned int commandOf(const Frame& frame) {
  return frame.data[0];
}

unsigned int toggleOf(const Frame& frame) {
  return commandOf(frame) >> 4U & 1U;
}

// A number as it goes out in segments: it has more bytes than there are, filled up with its sign when it has one.
std::string extend(int number, bool isSigned, int bytes) {
  const unsigned long long wide =
      isSigned ? static_cast<unsigned long long>(static_cast<long long>(number)) : static_cast<unsigned int>(number);
  std::string data;
  for (int i = 0; i < bytes; ++i) {
    data += static_cast<char>(wide >> (8 * i) & 0xFFU);
  }
  return data;
}

}  // namespace

void SDOClientModel::readChannels() {
  for (const unsigned int index : dictionary.indexes(0x1280, 0x12FF)) {
    int request = 0;
    int response = 0;
    if (dictionary.read(index << 16U | 1U, request) == 0 && dictionary.read(index << 16U | 2U, response) == 0) {
      responses[static_cast<unsigned int>(request)] = response;
      requests[static_cast<unsigned int>(response)] = request;
    }
  }
}

int SDOClientModel::placeVariable(unsigned int key, unsigned int requestCOBID) {
  if (dictionary.find(key) == nullptr) {
    return 10;
  }
  servers[key] = requestCOBID;
  return 0;
}

// ---- what the application asks for

int SDOClientModel::findChannel(unsigned int key, Channel& channel) const {
  const auto server = servers.find(key);
  const auto response = server != servers.end() ? responses.find(server->second) : responses.end();
  if (response == responses.end()) {
    return 23;
  }
  channel = {server->second, static_cast<unsigned int>(response->second)};
  return static_cast<int>(channel.request) < 0 || response->second < 0 ? 7 : 0;
}

int SDOClientModel::requestWrite(unsigned int key, int number, const std::string& text) {
  Channel channel{};
  const int result = findChannel(key, channel);
  if (result == 0) {
    writes[key] = {channel, number, text};
  }
  return result;
}

int SDOClientModel::requestRead(unsigned int key) {
  Channel channel{};
  const int result = findChannel(key, channel);
  const bool isWaiting = std::any_of(reads.begin(), reads.end(), [&channel, key](const Read& read) {
    return read.key == key && read.channel.request == channel.request;
  });
  if (result == 0 && !isWaiting) {
    reads.push_back({channel, key});
  }
  return result;
}

// ---- writes

void SDOClientModel::checkConfirmations(unsigned int& waitHint) {
  for (auto each = confirmations.begin(); each != confirmations.end();) {
    const int remaining = static_cast<int>(each->second.deadline - surroundings.tick);
    if (remaining < 0) {
      transfers.abort(each->second.channel.request, each->first, TIMED_OUT);
      each = confirmations.erase(each);
    } else {
      waitHint = std::min(waitHint, static_cast<unsigned int>(remaining));
      ++each;
    }
  }
}

void SDOClientModel::sendWrites() {
  for (const auto& [key, write] : writes) {
    sendWrite(key, write);
  }
  writes.clear();
}

// A variable of the node without a remote key yields 0; one that is not the node's goes by its own key.
unsigned int SDOClientModel::remoteKeyOf(unsigned int key) const {
  const DictionaryModel::Variable* const variable = dictionary.findVariable(key);
  return variable != nullptr && variable->owned ? variable->remoteKey : key;
}

void SDOClientModel::sendWrite(unsigned int key, const Write& write) {
  const DictionaryModel::Object* const object = dictionary.find(key);
  const unsigned int remoteKey = remoteKeyOf(key);
  if (object == nullptr || remoteKey == 0) {
    return;
  }
  const bool isText = object->type == VISIBLE_STRING;
  const int size = isText ? static_cast<int>(write.text.size()) : dictionary.bytesOf(object->type);
  if (size < 0) {
    return;
  }
  if (size > 4) {
    startSegmentedWrite(remoteKey, write,
                        isText ? write.text : extend(write.number, dictionary.isSigned(object->type), size));
    return;
  }
  const unsigned int bytes = static_cast<unsigned int>(size);
  const unsigned int command = 0x23 + (4 - bytes) * 4;
  const bool sent = isText ? transfers.sendText(write.channel.request, command, remoteKey, write.text)
                           : transfers.send(write.channel.request, command, remoteKey,
                                            static_cast<unsigned int>(write.number) & (~0U >> (32U - 8U * bytes)));
  if (sent) {
    confirmations[remoteKey] = {write.channel, write.number, write.text, surroundings.tick + transfers.timeout, key};
  }
}

void SDOClientModel::startSegmentedWrite(unsigned int remoteKey, const Write& write, const std::string& data) {
  if (!transfers.send(write.channel.request, 0x21, remoteKey, static_cast<unsigned int>(data.size()))) {
    return;
  }
  SDOTransfers::Download& download = transfers.download;
  download = SDOTransfers::Download();
  download.requestCOBID = write.channel.response;
  download.responseCOBID = write.channel.request;
  download.key = remoteKey;
  download.data = data;
  download.number = write.number;
  download.inProgress = true;
  download.isClient = true;
  download.tick = surroundings.tick;
}

// ---- what servers answer

void SDOClientModel::handle(const Frame& frame) {
  const unsigned int response = frame.identifier & 0x1FFFFFFFU;
  const auto found = requests.find(response);
  if (found == requests.end() || found->second < 0) {
    return;
  }
  const Channel channel{static_cast<unsigned int>(found->second), response};
  switch (commandOf(frame) >> 5U) {
    case 0:
      takeSegment(frame, response);
      break;
    case 1:
      continueWrite(frame, response, false);
      break;
    case 2:
      takeAnswer(frame, channel);
      break;
    case 3:
      if (isSegmentedWrite(frame, response)) {
        continueWrite(frame, response, true);
      } else {
        confirm(frame, response);
      }
      break;
    case 4:
      takeAbort(frame, response);
      break;
    default:
      transfers.abort(channel.request, keyOf(frame), UNKNOWN_COMMAND);
      break;
  }
}

void SDOClientModel::confirm(const Frame& frame, unsigned int response) {
  const auto found = confirmations.find(keyOf(frame));
  if (found == confirmations.end() || found->second.channel.response != response) {
    return;
  }
  const Confirmation confirmation = found->second;
  writeLocal(confirmation.localKey, confirmation.number, confirmation.text);
  transfers.tell(confirmation.localKey, true);
  confirmations.erase(keyOf(frame));
}

void SDOClientModel::writeLocal(unsigned int key, int number, const std::string& text) {
  const DictionaryModel::Object* const object = dictionary.find(key);
  if (object->type == VISIBLE_STRING) {
    dictionary.write(key, text, true);
  } else {
    dictionary.write(key, number, true);
  }
}

bool SDOClientModel::isSegmentedWrite(const Frame& frame, unsigned int response) const {
  const SDOTransfers::Download& download = transfers.download;
  return download.inProgress && download.isClient && download.key == keyOf(frame) && download.requestCOBID == response;
}

void SDOClientModel::continueWrite(const Frame& frame, unsigned int response, bool started) {
  SDOTransfers::Download& download = transfers.download;
  if (!download.inProgress || !download.isClient || download.requestCOBID != response) {
    return;
  }
  if (download.confirmed) {
    finishWrite();
    return;
  }
  if (!started && toggleOf(frame) != download.toggle) {
    download.inProgress = false;
    transfers.abort(download.responseCOBID, download.key, TOGGLE_ERROR);
    return;
  }
  download.toggle = started ? 0 : download.toggle ^ 1U;
  const std::size_t remaining = download.data.size() - download.offset;
  download.confirmed = remaining < 8;
  const unsigned int last = download.confirmed ? (7U - static_cast<unsigned int>(remaining)) << 1U | 1U : 0U;
  transfers.send(download.responseCOBID,
                 SDOTransfers::segment(download.toggle << 4U | last, download.data, download.offset));
  download.offset += 7;
  download.tick = surroundings.tick;
}

void SDOClientModel::finishWrite() {
  SDOTransfers::Download& download = transfers.download;
  download.inProgress = false;
  const unsigned int localKey = findLocalKey(download.key, download.requestCOBID);
  if (localKey != 0) {
    writeLocal(localKey, download.number, download.data);
  }
  transfers.tell(localKey != 0 ? localKey : download.key, true);
}

unsigned int SDOClientModel::findLocalKey(unsigned int remoteKey, unsigned int response) const {
  const auto name = channelNames.find(response);
  return name == channelNames.end() ? 0 : dictionary.findRemote(remoteKey, name->second);
}

// ---- reads

void SDOClientModel::sendNextRead() {
  if (transfers.upload.responseCOBID != 0 || reads.empty()) {
    return;
  }
  const Read read = reads.front();
  reads.pop_front();
  SDOTransfers::Upload& upload = transfers.upload;
  upload = SDOTransfers::Upload();
  upload.key = read.key;
  upload.requestCOBID = read.channel.request;
  upload.responseCOBID = read.channel.response;
  upload.tick = surroundings.tick;
  upload.isClient = true;
  const unsigned int remoteKey = remoteKeyOf(read.key);
  transfers.send(read.channel.request, 0x40, remoteKey != 0 ? remoteKey : read.key, 0);
}

void SDOClientModel::takeAnswer(const Frame& frame, const Channel& channel) {
  SDOTransfers::Upload& upload = transfers.upload;
  const unsigned int remoteKey = remoteKeyOf(upload.key);
  if (upload.inProgress || upload.responseCOBID != channel.response ||
      keyOf(frame) != (remoteKey != 0 ? remoteKey : upload.key)) {
    return;
  }
  const bool expedited = (commandOf(frame) & 2U) != 0;
  const bool sizeIndicated = (commandOf(frame) & 1U) != 0;
  if (expedited) {
    takeExpedited(frame);
  } else if (sizeIndicated) {
    upload.toggle = 1;
    upload.data.clear();
    upload.inProgress = true;
    requestSegment();  // one that cannot be sent leaves the transfer to its time-out
  }
}

bool SDOClientModel::requestSegment() {
  SDOTransfers::Upload& upload = transfers.upload;
  upload.toggle ^= 1U;
  upload.tick = surroundings.tick;
  return transfers.send(upload.requestCOBID,
                        SDOTransfers::Bytes{static_cast<unsigned char>(0x60U | upload.toggle << 4U)});
}

void SDOClientModel::takeExpedited(const Frame& frame) {
  const unsigned int key = transfers.upload.key;
  const DictionaryModel::Object* const object = dictionary.find(key);
  const int bytes = dictionary.bytesOf(object->type);
  const bool sizeIndicated = (commandOf(frame) & 1U) != 0;
  const bool isText = object->type == VISIBLE_STRING;
  const int unindicated = isText ? 0 : 4 - bytes;
  const int unused = sizeIndicated ? static_cast<int>(commandOf(frame) >> 2U & 3U) : unindicated;
  surroundings.trace.line("SDO => Expedited NOOFBYTES: " + std::to_string(bytes) +
                          " DATATYPE: " + std::to_string(object->type));
  if (!isText && 4 - unused > bytes) {
    return;
  }
  if (unused > 3 || unused < 0 || !checkOwner()) {
    return;
  }
  if (isText) {
    dictionary.store(key, textOf(frame, 4, 4U - static_cast<unsigned int>(unused)));
  } else {
    int value = static_cast<int>(numberOf(frame) & (~0U >> (8U * static_cast<unsigned int>(unused))));
    if (transfers.fit(object->type, value)) {
      dictionary.write(key, value, false);
    }
  }
  transfers.upload = SDOTransfers::Upload();
}

bool SDOClientModel::checkOwner() {
  const unsigned int key = transfers.upload.key;
  if (dictionary.isOwned(key)) {
    return true;
  }
  surroundings.trace.line("+++++ SDO => Unable to find owner of variable in a SDO Upload Response: " +
                          hexadecimal(key >> 16U) + "/0x" + static_cast<char>(key & 0xFFU));
  return false;
}

void SDOClientModel::takeSegment(const Frame& frame, unsigned int response) {
  SDOTransfers::Upload& upload = transfers.upload;
  if (!upload.inProgress || upload.responseCOBID != response || toggleOf(frame) != upload.toggle) {
    return;
  }
  upload.data += textOf(frame, 1, 7U - (commandOf(frame) >> 1U & 7U));
  if ((commandOf(frame) & 1U) == 0) {
    if (!requestSegment()) {
      upload = SDOTransfers::Upload();
    }
    return;
  }
  if (checkOwner()) {
    const int result = dictionary.store(upload.key, upload.data);
    surroundings.trace.line(std::string("Error_Code: ") + KQ::kqGetErrorString(result));
  }
  upload = SDOTransfers::Upload();
}

// ---- aborts

void SDOClientModel::takeAbort(const Frame& frame, unsigned int response) {
  const auto found = confirmations.find(keyOf(frame));
  if (found != confirmations.end() && found->second.channel.response == response) {
    const unsigned int localKey = found->second.localKey;
    confirmations.erase(found);
    transfers.tell(localKey);
  }
  SDOTransfers::Download& download = transfers.download;
  if (download.inProgress && download.isClient && download.requestCOBID == response) {
    download.inProgress = false;
    transfers.tell(download.key);
  }
  SDOTransfers::Upload& upload = transfers.upload;
  if (upload.inProgress && upload.responseCOBID == response) {
    upload = SDOTransfers::Upload();
  }
}

}  // namespace model
