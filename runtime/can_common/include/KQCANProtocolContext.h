#pragma once

namespace KQ {

class KQDEI;
class KQVariableEventDispatcher;
class KQCANProtocolStateMachine;

/// What the runtime hands a protocol in KQCANProtocol::create. Nothing in it is owned.
struct KQCANProtocolContext {
  KQDEI* dei = nullptr;                               ///< the variable store
  KQVariableEventDispatcher* dispatcher = nullptr;    ///< who reports variable changes
  unsigned int portNumber = 0;                        ///< CAN port number; the low 16 bits are the port key
  KQCANProtocolStateMachine* stateMachine = nullptr;  ///< the runtime's own protocol supervision, may be null
};

}  // namespace KQ
