#include "SDOTransfers.h"

#include <algorithm>

namespace model {

bool SDOTransfers::send(unsigned int cobID, const Bytes& bytes) {
  lastSent = bytes;
  return surroundings.send({cobID, 8, bytes}) == 0;
}

bool SDOTransfers::send(unsigned int cobID, unsigned int command, unsigned int key, unsigned int number) {
  Bytes bytes{};
  bytes[0] = static_cast<unsigned char>(command);
  bytes[1] = static_cast<unsigned char>(key >> 16U);
  bytes[2] = static_cast<unsigned char>(key >> 24U);
  bytes[3] = static_cast<unsigned char>(key);
  for (unsigned int i = 0; i < 4; ++i) {
    bytes[4 + i] = static_cast<unsigned char>(number >> (8 * i));
  }
  return send(cobID, bytes);
}

bool SDOTransfers::sendText(unsigned int cobID, unsigned int command, unsigned int key, const std::string& text) {
  Frame frame;
  if (text.empty()) {
    frame.data = lastSent;
  }
  std::copy(text.begin(), text.end(), frame.data.begin() + 4);
  return send(cobID, command, key, numberOf(frame));
}

SDOTransfers::Bytes SDOTransfers::segment(unsigned int command, const std::string& data, std::size_t offset) {
  const std::string part = data.substr(offset, 7);
  Bytes bytes{static_cast<unsigned char>(command)};
  std::copy(part.begin(), part.end(), bytes.begin() + 1);
  return bytes;
}

void SDOTransfers::tell(unsigned int key, bool flag) {
  if (listener != 0) {
    surroundings.trace.signal(listener, 6, 1103, key, 0, flag);
  }
}

void SDOTransfers::checkTimeouts() {
  constexpr unsigned int TIMED_OUT = 0x05040000;
  if (download.inProgress && isOver(download.tick)) {
    abort(download.isClient ? download.requestCOBID : download.responseCOBID, download.key, TIMED_OUT);
    download.inProgress = false;
    tell(download.key);
  }
  if ((upload.inProgress || upload.responseCOBID != 0) && isOver(upload.tick)) {
    const DictionaryModel::Variable* const variable = dictionary.findVariable(upload.key);
    // The server is told of the object as it knows it, a master of the one it asked for.
    const bool isRemote = upload.isClient && variable != nullptr && variable->owned && variable->remoteKey != 0;
    abort(upload.responseCOBID, isRemote ? variable->remoteKey : upload.key, TIMED_OUT);
    dictionary.invalidate(upload.key);
    upload = Upload();
  }
}

bool SDOTransfers::fit(int type, int& value) const {
  const int bits = dictionary.bitsOf(type);
  unsigned int number = static_cast<unsigned int>(value);
  if (bits < 32) {
    if (number >> static_cast<unsigned int>(bits) != 0) {
      return false;
    }
    if (dictionary.isSigned(type) && (number >> static_cast<unsigned int>(bits - 1)) != 0) {
      number |= ~0U << static_cast<unsigned int>(bits);
    }
  }
  value = static_cast<int>(number);
  return true;
}

}  // namespace model
