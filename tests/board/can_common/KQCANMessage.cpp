#include "KQCANMessage.h"

namespace KQ {

KQCANMessage::KQCANMessage() : identifier(0), length(8), data(), flags(0) {}

KQCANMessage::KQCANMessage(const KQCANMessage& other) = default;

KQCANMessage& KQCANMessage::operator=(const KQCANMessage& other) = default;

KQCANMessage::~KQCANMessage() {}

}  // namespace KQ
