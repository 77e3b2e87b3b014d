#include "MemoryEndPoint.h"

#include "KQErrorCodes.h"

namespace test {

void MemoryEndPoint::inject(const std::string& text) {
  incoming.push_back(frame(text));
}

void MemoryEndPoint::inject(const KQ::KQCANMessage& message) {
  incoming.push_back(message);
}

Frames MemoryEndPoint::takeSent() {
  const std::lock_guard<std::mutex> lock(sentMutex);
  Frames frames;
  frames.swap(sent);
  return frames;
}

void MemoryEndPoint::refuse(unsigned int count, int code) {
  refusals = count;
  refusalCode = code;
}

void MemoryEndPoint::failReads(unsigned int count, int code) {
  readFailures = count;
  readFailureCode = code;
}

int MemoryEndPoint::doRead(KQ::KQCANMessage& message) {
  if (readFailures > 0) {
    --readFailures;
    return readFailureCode;
  }
  if (incoming.empty()) {
    return KQ::KQ_NO_DATA;
  }
  message = incoming.front();
  incoming.pop_front();
  return KQ::KQ_OK;
}

int MemoryEndPoint::doWrite(const KQ::KQCANMessage& message) {
  onWrite();
  const std::lock_guard<std::mutex> lock(sentMutex);
  ++attempts;
  if (refusals > 0) {
    --refusals;
    return refusalCode;
  }
  sent.push_back(toText(message));
  return KQ::KQ_OK;
}

}  // namespace test
