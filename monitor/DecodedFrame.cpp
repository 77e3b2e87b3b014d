#include "DecodedFrame.h"

#include <algorithm>

#include "TextParts.h"

namespace monitor {

namespace {

struct CodeText {
  std::uint32_t code;
  std::string_view text;
};

constexpr CodeText ABORT_TEXTS[] = {
    {0x05030000, "toggle bit not alternated"},
    {0x05040000, "SDO protocol timed out"},
    {0x05040001, "client/server command specifier not valid or unknown"},
    {0x05040002, "invalid block size"},
    {0x05040003, "invalid sequence number"},
    {0x05040004, "CRC error"},
    {0x05040005, "out of memory"},
    {0x06010000, "unsupported access to an object"},
    {0x06010001, "attempt to read a write-only object"},
    {0x06010002, "attempt to write a read-only object"},
    {0x06020000, "object does not exist in the object dictionary"},
    {0x06040041, "object cannot be mapped to the PDO"},
    {0x06040042, "number and length of the objects to be mapped would exceed PDO length"},
    {0x06040043, "general parameter incompatibility"},
    {0x06040047, "general internal incompatibility in the device"},
    {0x06060000, "access failed due to a hardware error"},
    {0x06070010, "data type does not match, length of service parameter does not match"},
    {0x06070012, "data type does not match, length of service parameter too high"},
    {0x06070013, "data type does not match, length of service parameter too low"},
    {0x06090011, "sub-index does not exist"},
    {0x06090030, "invalid value for parameter"},
    {0x06090031, "value of parameter written too high"},
    {0x06090032, "value of parameter written too low"},
    {0x06090036, "maximum value is less than minimum value"},
    {0x060A0023, "resource not available: SDO connection"},
    {0x08000000, "general error"},
    {0x08000020, "data cannot be transferred or stored to the application"},
    {0x08000021, "data cannot be transferred or stored to the application because of local control"},
    {0x08000022, "data cannot be transferred or stored to the application because of the present device state"},
    {0x08000023, "object dictionary dynamic generation fails or no object dictionary is present"},
    {0x08000024, "no data available"},
};

constexpr CodeText EMERGENCY_TEXTS[] = {
    {0x8110, "CAN overrun, objects lost"},
    {0x8120, "CAN in error passive mode"},
    {0x8130, "life guard error or heartbeat error"},
    {0x8140, "recovered from bus off"},
    {0x8150, "CAN-ID collision"},
    {0x8210, "PDO not processed due to length error"},
    {0x8220, "PDO length exceeded"},
    {0x8230, "DAM MPDO not processed, destination object not available"},
    {0x8240, "unexpected SYNC data length"},
    {0x8250, "RPDO timeout"},
};

constexpr CodeText LSS_COMMANDS[] = {
    {0x04, "switch state global"},
    {0x11, "configure node-ID"},
    {0x13, "configure bit timing"},
    {0x15, "activate bit timing"},
    {0x17, "store configuration"},
    {0x40, "switch state selective: vendor-ID"},
    {0x41, "switch state selective: product code"},
    {0x42, "switch state selective: revision number"},
    {0x43, "switch state selective: serial number"},
    {0x44, "switch state selective: done"},
    {0x46, "identify remote slave: vendor-ID"},
    {0x47, "identify remote slave: product code"},
    {0x48, "identify remote slave: lowest revision number"},
    {0x49, "identify remote slave: highest revision number"},
    {0x4A, "identify remote slave: lowest serial number"},
    {0x4B, "identify remote slave: highest serial number"},
    {0x4C, "identify non-configured remote slave"},
    {0x4F, "identify slave"},
    {0x50, "identify non-configured slave"},
    {0x51, "fastscan"},
    {0x5A, "inquire vendor-ID"},
    {0x5B, "inquire product code"},
    {0x5C, "inquire revision number"},
    {0x5D, "inquire serial number"},
    {0x5E, "inquire node-ID"},
};

// By the high byte of the error code.
constexpr CodeText EMERGENCY_CLASSES[] = {
    {0x00, "error reset or no error"},
    {0x10, "generic error"},
    {0x20, "current"},
    {0x21, "current, device input side"},
    {0x22, "current inside the device"},
    {0x23, "current, device output side"},
    {0x30, "voltage"},
    {0x31, "mains voltage"},
    {0x32, "voltage inside the device"},
    {0x33, "output voltage"},
    {0x40, "temperature"},
    {0x41, "ambient temperature"},
    {0x42, "device temperature"},
    {0x50, "device hardware"},
    {0x60, "device software"},
    {0x61, "internal software"},
    {0x62, "user software"},
    {0x63, "data set"},
    {0x70, "additional modules"},
    {0x80, "monitoring"},
    {0x81, "communication"},
    {0x82, "protocol error"},
    {0x90, "external error"},
    {0xF0, "additional functions"},
    {0xFF, "device specific"},
};

template <std::size_t COUNT>
std::string_view findText(const CodeText (&texts)[COUNT], std::uint32_t code, std::string_view otherwise) {
  const auto* const found =
      std::lower_bound(std::begin(texts), std::end(texts), code,
                       [](const CodeText& entry, std::uint32_t wanted) { return entry.code < wanted; });
  return found != std::end(texts) && found->code == code ? found->text : otherwise;
}

void appendObjectKey(std::string& text, unsigned int index, unsigned int subIndex) {
  text += "0x";
  appendHex(text, index, 4);
  text += '/';
  appendNumber(text, static_cast<std::uint64_t>(subIndex));
}

void appendHexCode(std::string& text, std::uint32_t code, unsigned int digits) {
  text += "0x";
  appendHex(text, code, digits);
}

void appendValues(std::string& text, const DecodedFrame& decoded) {
  for (std::size_t i = 0; i < decoded.valueCount; ++i) {
    const ObjectValue& value = decoded.values[i];
    if (i > 0) {
      text += ", ";
    }
    if (value.name.empty()) {
      appendObjectKey(text, value.index, value.subIndex);
    } else {
      text += value.name;
    }
    text += '=';
    value.value.appendTo(text);
  }
}

void appendSDO(std::string& text, const DecodedFrame& decoded) {
  const SDOStep& sdo = decoded.sdo;
  text += getName(sdo.command);
  if (sdo.command == SDOCommand::ABORT) {
    text += ' ';
    appendHexCode(text, sdo.abortCode, 8);
    text += ": ";
    text += getAbortText(sdo.abortCode);
  }
  if (decoded.valueCount > 0) {
    text += " = ";
    const Value& value = decoded.values[0].value;
    value.appendTo(text);
    if (value.getBytes().size() < sdo.bytes && !value.getBytes().empty()) {
      text += "... (";
      appendNumber(text, sdo.bytes);
      text += " bytes)";
    }
  }
}

void appendEmergency(std::string& text, const DecodedFrame& decoded) {
  appendHexCode(text, decoded.emergencyCode, 4);
  text += ' ';
  text += getEmergencyText(decoded.emergencyCode);
  text += ", error register ";
  appendHexCode(text, decoded.errorRegister, 2);
  if (decoded.frame.length > 3) {
    text += ", ";
    appendBytes(text, decoded.frame.data + 3, decoded.frame.length - 3U);
  }
}

void appendData(std::string& text, const Frame& frame) {
  switch (frame.kind) {
    case FrameKind::REMOTE:
      text += "remote frame";
      return;
    case FrameKind::ERROR:
      text += "error frame ";
      break;
    case FrameKind::FD:
      text += "CAN FD ";
      break;
    case FrameKind::EXTENDED:
      text += "29-bit identifier ";
      break;
    case FrameKind::DATA:
      break;
  }
  appendBytes(text, frame.data, frame.length);
}

}  // namespace

std::string_view getName(SDOCommand command) {
  static constexpr std::string_view NAMES[] = {"initiate download",
                                               "download segment",
                                               "initiate upload",
                                               "upload segment",
                                               "abort",
                                               "initiate block download",
                                               "block download segment",
                                               "acknowledge block download",
                                               "end block download",
                                               "initiate block upload",
                                               "start block upload",
                                               "block upload segment",
                                               "acknowledge block upload",
                                               "end block upload",
                                               "unknown command"};
  return NAMES[static_cast<unsigned int>(command)];
}

std::string_view getStateName(unsigned int state) {
  static constexpr CodeText STATES[] = {
      {0, "INITIALISING"}, {4, "STOPPED"}, {5, "OPERATIONAL"}, {127, "PRE-OPERATIONAL"}};
  return findText(STATES, state, UNKNOWN_STATE);
}

std::string_view getNMTCommandName(unsigned int command) {
  static constexpr CodeText COMMANDS[] = {
      {1, "start"}, {2, "stop"}, {128, "enter pre-operational"}, {129, "reset node"}, {130, "reset communication"}};
  return findText(COMMANDS, command, UNKNOWN_COMMAND);
}

std::string_view getAbortText(std::uint32_t abortCode) {
  return findText(ABORT_TEXTS, abortCode, "unknown abort code");
}

std::string_view getEmergencyText(unsigned int emergencyCode) {
  const std::string_view ofClass = findText(EMERGENCY_CLASSES, emergencyCode >> 8 & 0xFF, "unknown error");
  return findText(EMERGENCY_TEXTS, emergencyCode, ofClass);
}

void DecodedFrame::appendService(std::string& text) const {
  const bool isSDO = service == Service::SDO_REQUEST || service == Service::SDO_RESPONSE;
  if (isSDO && number > 1) {
    text += "SDO ";
    appendNumber(text, static_cast<std::uint64_t>(number));
    text += service == Service::SDO_REQUEST ? " request" : " response";
    return;
  }
  text += getName(service);
  if (!isSDO && number > 0) {
    text += ' ';
    appendNumber(text, static_cast<std::uint64_t>(number));
  }
}

void DecodedFrame::appendObject(std::string& text) const {
  if (!sdo.objectKnown) {
    return;
  }
  appendObjectKey(text, sdo.index, sdo.subIndex);
  if (!objectName.empty()) {
    text += ' ';
    text += objectName;
  }
}

void DecodedFrame::appendDetails(std::string& text) const {
  switch (service) {
    case Service::NMT_COMMAND:
      text += getNMTCommandName(command);
      return;
    case Service::HEARTBEAT:
      text += getStateName(state);
      return;
    case Service::EMERGENCY:
      appendEmergency(text, *this);
      return;
    case Service::SDO_REQUEST:
    case Service::SDO_RESPONSE:
      appendSDO(text, *this);
      return;
    case Service::TIME:
      if (valueCount > 0) {
        values[0].value.appendTo(text);
      }
      return;
    case Service::LSS:
      text += findText(LSS_COMMANDS, command, UNKNOWN_COMMAND);
      text += ' ';
      break;
    case Service::BOOT_UP:
      return;
    default:
      break;
  }
  if (valueCount > 0) {
    appendValues(text, *this);
  } else {
    appendData(text, frame);
  }
}

}  // namespace monitor
