#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Frame.h"
#include "Service.h"
#include "Value.h"

namespace monitor {

/// What an SDO frame asks, answers or carries.
enum class SDOCommand : unsigned char {
  INITIATE_DOWNLOAD,
  DOWNLOAD_SEGMENT,
  INITIATE_UPLOAD,
  UPLOAD_SEGMENT,
  ABORT,
  INITIATE_BLOCK_DOWNLOAD,
  BLOCK_DOWNLOAD_SEGMENT,
  ACKNOWLEDGE_BLOCK_DOWNLOAD,
  END_BLOCK_DOWNLOAD,
  INITIATE_BLOCK_UPLOAD,
  START_BLOCK_UPLOAD,
  BLOCK_UPLOAD_SEGMENT,
  ACKNOWLEDGE_BLOCK_UPLOAD,
  END_BLOCK_UPLOAD,
  UNKNOWN
};

/// "initiate download", "download segment", ... Any thread.
std::string_view getName(SDOCommand command);

/// What has become of an SDO transfer with a frame.
enum class TransferOutcome : unsigned char {
  RUNNING,    ///< more frames are to come
  COMPLETED,  ///< this frame was the last
  ABORTED,    ///< this frame ended it
  NONE        ///< the frame belongs to no transfer whose beginning was seen
};

/// An SDO frame within its transfer.
struct SDOStep {
  SDOCommand command = SDOCommand::UNKNOWN;
  TransferOutcome outcome = TransferOutcome::NONE;
  bool upload = false;        ///< the transfer's direction: true when the client reads
  bool objectKnown = false;   ///< false for a segment whose transfer began before the log
  bool starts = false;        ///< a transfer begins with this frame
  bool abandons = false;      ///< with a request, while the transfer before it on this channel had no end
  unsigned char channel = 0;  ///< 1: the node's default server; others only where ObjectNames knows of them
  unsigned char subIndex = 0;
  unsigned short index = 0;
  std::uint32_t abortCode = 0;  ///< of an ABORT
  long long microseconds = 0;   ///< since the transfer's first frame
  std::uint64_t bytes = 0;      ///< of the object, carried so far
};

/// A value with the object that it is of.
struct ObjectValue {
  unsigned short index = 0;
  unsigned char subIndex = 0;
  std::string_view name;  ///< lives as long as the names that the decoder was given
  Value value;
};

/// A frame in the words of this field. It belongs to the decoder and is filled anew with each frame.
struct DecodedFrame {
  Frame frame;
  Service service = Service::UNKNOWN;
  unsigned char node = 0;     ///< 1 to 127; 0: all nodes (NMT), or none (SYNC, TIME, LSS, unknown)
  unsigned short number = 0;  ///< of a TPDO or RPDO, 1 to 512; of an SDO channel, 1 to 128; else 0
  unsigned char state = 0;    ///< of HEARTBEAT and BOOT_UP, without the toggle bit: 0, 4, 5 or 127, or a wrong one
  unsigned char command = 0;  ///< of NMT_COMMAND: 1, 2, 128, 129, 130, or a wrong one; of LSS: its command specifier
  unsigned short emergencyCode = 0;  ///< of EMERGENCY: 0 when the error is gone
  unsigned char errorRegister = 0;   ///< of EMERGENCY
  SDOStep sdo;                       ///< of SDO_REQUEST and SDO_RESPONSE
  std::string_view objectName;       ///< of sdo's object; empty when it is not known
  /// The objects of a PDO; the one value of an SDO frame with which it has been carried completely; the time of TIME
  /// (with index 0); else none. Only the first valueCount are valid: the memory of the others waits for its next use.
  std::vector<ObjectValue> values;
  std::size_t valueCount = 0;
  /// What is wrong with the frame by CANopen's rules, in a few words ("the toggle bit did not alternate"); empty when
  /// nothing is. One of a fixed set of texts, so that they can be counted.
  std::string_view violation;

  /// Says what is wrong with the frame, when nothing was found wrong before. @param text lives for ever
  void complain(std::string_view text) {
    if (violation.empty()) {
      violation = text;
    }
  }

  /// Adds the service as a person calls it: "TPDO 1", "SDO request", "SDO 2 request" for a further channel. Any thread.
  void appendService(std::string& text) const;

  /// Adds the object of an SDO frame, "0x2000/1 Temperature"; nothing for any other. Any thread.
  void appendObject(std::string& text) const;

  /// Adds what the frame says beside service, node and object: "OPERATIONAL", "start remote node",
  /// "Temperature=215, Alarms=0", "initiate upload = 600", "abort 0x06020000: object does not exist ...". Any thread.
  void appendDetails(std::string& text) const;
};

inline constexpr std::string_view UNKNOWN_STATE = "unknown state";
inline constexpr std::string_view UNKNOWN_COMMAND = "unknown command";

/// "INITIALISING", "STOPPED", "OPERATIONAL", "PRE-OPERATIONAL"; UNKNOWN_STATE for any other. Any thread.
std::string_view getStateName(unsigned int state);

/// "start", "stop", "enter pre-operational", "reset node", "reset communication"; UNKNOWN_COMMAND for any other.
/// Any thread.
std::string_view getNMTCommandName(unsigned int command);

/// The standard's words for an SDO abort code; "unknown abort code" for any other. Any thread.
std::string_view getAbortText(std::uint32_t abortCode);

/// The standard's words for an EMCY error code or, failing that, for its class. Any thread.
std::string_view getEmergencyText(unsigned int emergencyCode);

}  // namespace monitor
