#pragma once

namespace KQ {

/// The runtime's supervision of a protocol. The host edition supervises nothing: a protocol accepts a null
/// pointer in its place and passes on whatever it was given.
class KQCANProtocolStateMachine {
public:
  virtual ~KQCANProtocolStateMachine() = default;
};

}  // namespace KQ
