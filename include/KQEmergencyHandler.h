#pragma once

#include "KQCANopenMessageHandler.h"

namespace KQ {

/// The error register (object 0x1001) and the emergency producer (CiA 301 EMCY). The producer is switched off by
/// design: every request is refused and the register stays as it is. It consumes no frames.
class KQEmergencyHandler : public KQCANopenMessageHandler {
public:
  /// Takes the live value of the COB-ID EMCY (0x1014). @return 0; 10 without dictionary; 3 without 0x1014
  int init();

  /// Sets or clears the bit of the error register that belongs to an error class.
  /// @param errorClass high byte of the emergency error code
  /// @return 0; 10 without dictionary; the code with which the register could not be read or written
  int updateErrorRegister(unsigned char errorClass, bool set);

  /// Sends an EMCY frame and sets the error register bit of its class.
  /// @param errorClass,low high and low byte of the emergency error code
  /// @return 0; 10 while the producer is switched off or without port, COB-ID or dictionary; 13 when the register
  ///   could not be written; else the code of the failed transmission
  int sendEmergencyMessage(unsigned char errorClass, unsigned char low);
  /// The same for both bytes in one. @param errorCode emergency error code, the class in its high byte
  int sendEmergencyMessage(unsigned short errorCode);

  /// @return 11: emergencies of other nodes are left to no one
  int handleMessage(KQCANMessage* message) override;

protected:
  const int* cobID = nullptr;  ///< live value of 0x1014 sub-index 0 inside the dictionary
  bool enabled = false;        ///< the producer's switch; nothing in the stack turns it on
  bool reserved = false;       ///< part of the class's layout; nothing reads it
};

}  // namespace KQ
