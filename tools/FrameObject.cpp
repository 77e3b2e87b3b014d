#include "FrameObject.h"

#include <cmath>

#include "TextParts.h"

namespace trace {

namespace {

using Json = nlohmann::ordered_json;
using monitor::DecodedFrame;
using monitor::Form;
using monitor::FrameKind;
using monitor::Service;

constexpr std::string_view KINDS[] = {"data", "remote", "extended", "fd", "error"};

std::string hexOf(const unsigned char* bytes, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    monitor::appendHex(text, bytes[i], 2);
  }
  return text;
}

std::string textOf(const monitor::Value& value) {
  std::string text;
  if (value.getForm() == Form::TEXT) {
    monitor::appendLatin(text, value.getBytes(), monitor::TextStyle::PLAIN);
  } else if (value.getForm() == Form::WIDE_TEXT) {
    monitor::appendWide(text, value.getBytes(), monitor::TextStyle::PLAIN);
  } else {
    value.appendTo(text);
  }
  return text;
}

// A number as a number as far as JSON has it, the rest as text.
Json toJson(const monitor::Value& value) {
  switch (value.getForm()) {
    case Form::BOOLEAN:
      return value.getPattern() != 0;
    case Form::SIGNED:
      return value.getSigned();
    case Form::UNSIGNED:
      return value.getPattern();
    case Form::REAL:
      return std::isfinite(value.getReal()) ? Json(value.getReal()) : Json(textOf(value));
    default:
      return textOf(value);
  }
}

void addValues(Json& object, const DecodedFrame& frame) {
  Json values = Json::array();
  for (std::size_t i = 0; i < frame.valueCount; ++i) {
    const monitor::ObjectValue& value = frame.values[i];
    Json entry;
    entry["index"] = value.index;
    entry["subIndex"] = value.subIndex;
    if (!value.name.empty()) {
      entry["name"] = value.name;
    }
    entry["value"] = toJson(value.value);
    values.push_back(std::move(entry));
  }
  object["values"] = std::move(values);
}

std::string_view getOutcome(monitor::TransferOutcome outcome) {
  static constexpr std::string_view NAMES[] = {"running", "completed", "aborted", "none"};
  return NAMES[static_cast<std::size_t>(outcome)];
}

void addSDO(Json& object, const DecodedFrame& frame) {
  const monitor::SDOStep& sdo = frame.sdo;
  object["command"] = getName(sdo.command);
  if (sdo.objectKnown) {
    object["index"] = sdo.index;
    object["subIndex"] = sdo.subIndex;
    if (!frame.objectName.empty()) {
      object["name"] = frame.objectName;
    }
    object["upload"] = sdo.upload;
  }
  object["transfer"] = getOutcome(sdo.outcome);
  if (sdo.outcome != monitor::TransferOutcome::NONE) {
    object["duration"] = toSeconds(sdo.microseconds);
    object["bytes"] = sdo.bytes;
  }
  if (sdo.command == monitor::SDOCommand::ABORT) {
    object["abortCode"] = sdo.abortCode;
    object["abortText"] = monitor::getAbortText(sdo.abortCode);
  }
  if (frame.valueCount > 0) {
    object["value"] = toJson(frame.values[0].value);
  }
}

void addEmergency(Json& object, const DecodedFrame& frame) {
  object["emergencyCode"] = frame.emergencyCode;
  object["emergencyText"] = monitor::getEmergencyText(frame.emergencyCode);
  object["errorRegister"] = frame.errorRegister;
}

void addContent(Json& object, const DecodedFrame& frame) {
  switch (frame.service) {
    case Service::NMT_COMMAND:
      object["command"] = monitor::getNMTCommandName(frame.command);
      return;
    case Service::HEARTBEAT:
    case Service::BOOT_UP:
      object["state"] = monitor::getStateName(frame.state);
      return;
    case Service::EMERGENCY:
      return addEmergency(object, frame);
    case Service::SDO_REQUEST:
    case Service::SDO_RESPONSE:
      return addSDO(object, frame);
    case Service::TIME:
      if (frame.valueCount > 0) {
        object["value"] = toJson(frame.values[0].value);
      }
      return;
    default:
      break;
  }
  if (frame.valueCount > 0) {
    addValues(object, frame);
  }
}

}  // namespace

Json toObject(const DecodedFrame& frame, std::string_view interface) {
  Json object;
  object["time"] = toSeconds(frame.frame.microseconds);
  object["interface"] = interface;
  object["id"] = frame.frame.identifier;
  if (frame.frame.kind != FrameKind::DATA) {
    object["kind"] = KINDS[static_cast<std::size_t>(frame.frame.kind)];
  }
  object["data"] = hexOf(frame.frame.data, frame.frame.kind == FrameKind::REMOTE ? 0 : frame.frame.length);
  object["service"] = getName(frame.service);
  if (frame.node != 0 || frame.service == Service::NMT_COMMAND) {
    object["node"] = frame.node;
  }
  if (frame.number != 0) {
    object["number"] = frame.number;
  }
  addContent(object, frame);
  if (!frame.violation.empty()) {
    object["violation"] = frame.violation;
  }
  return object;
}

double toSeconds(long long microseconds) {
  return static_cast<double>(microseconds) / 1e6;
}

}  // namespace trace
