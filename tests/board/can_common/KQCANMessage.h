#pragma once

namespace KQ {

class KQCANMessage {
public:
  KQCANMessage();
  KQCANMessage(const KQCANMessage& other);
  KQCANMessage& operator=(const KQCANMessage& other);
  virtual ~KQCANMessage();

  unsigned int identifier;
  unsigned int length;
  unsigned char data[8];
  unsigned int flags;
};

}  // namespace KQ
