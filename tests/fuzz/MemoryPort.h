#pragma once

#include <vector>

#include "KQCANMessage.h"
#include "KQCANopen.h"
#include "KQEndPoint.h"
#include "KQErrorCodes.h"

namespace fuzz {

/// A frame that the node sent, and the state in which it did.
struct SentFrame {
  KQ::KQCANMessage message;
  int state;
};

/// A CAN port in memory for one node.
class MemoryPort : public KQ::KQEndPoint {
public:
  explicit MemoryPort(const KQ::KQCANopen& owner) : KQEndPoint("memory:fuzz"), node(owner) {}

  /// Lets one frame wait. @param message to exist until it is read
  void inject(const KQ::KQCANMessage& message) { waiting = &message; }
  /// Refuses the next writes.
  void refuse(unsigned int count, int code) {
    refusals = count;
    refusalCode = code;
  }
  /// Whether it has ever refused a write.
  bool hasRefused() const { return anyRefused; }

  std::vector<SentFrame> sent;

protected:
  int doRead(KQ::KQCANMessage& message) override {
    if (waiting == nullptr) {
      return KQ::KQ_NO_DATA;
    }
    message = *waiting;
    waiting = nullptr;
    return KQ::KQ_OK;
  }

  int doWrite(const KQ::KQCANMessage& message) override {
    if (refusals > 0) {
      --refusals;
      anyRefused = true;
      return refusalCode;
    }
    sent.push_back({message, node.getCANopenState()});
    return KQ::KQ_OK;
  }

private:
  const KQ::KQCANopen& node;
  const KQ::KQCANMessage* waiting = nullptr;
  unsigned int refusals = 0;
  int refusalCode = 0;
  bool anyRefused = false;
};

}  // namespace fuzz
