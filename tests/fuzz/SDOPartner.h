#pragma once

#include "Input.h"
#include "KQCANMessage.h"

namespace fuzz {

/// The other side of an SDO transfer, which knows the protocol: what is read from the input is which of the right
/// answers comes, and what is wrong with it. Transfers come to their ends that way.
class SDOPartner {
public:
  /// What a remote server answers to a frame of the node's client. @param input one byte and the data
  static KQ::KQCANMessage answer(const KQ::KQCANMessage& request, Input& input);

  /// How a master goes on with the upload that the node has just answered.
  static KQ::KQCANMessage goOn(const KQ::KQCANMessage& response, Input& input);
};

}  // namespace fuzz
