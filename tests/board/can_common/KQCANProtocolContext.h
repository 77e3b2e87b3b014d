#pragma once

namespace KQ {

class KQDEI;
class KQVariableEventDispatcher;
class KQCANProtocolStateMachine;

struct KQCANProtocolContext {
  KQDEI* dei;
  KQVariableEventDispatcher* dispatcher;
  unsigned int portNumber;
  KQCANProtocolStateMachine* stateMachine;
};

}  // namespace KQ
