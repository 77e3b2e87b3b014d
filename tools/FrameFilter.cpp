#include "FrameFilter.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <iterator>
#include <vector>

#include "TraceError.h"

namespace trace {

namespace {

using monitor::Service;

struct NamedServices {
  std::string_view name;
  std::vector<Service> services;
};

const std::vector<NamedServices>& getNames() {
  static const std::vector<NamedServices> NAMES = {
      {"nmt", {Service::NMT_COMMAND}},
      {"sync", {Service::SYNC}},
      {"time", {Service::TIME}},
      {"emcy", {Service::EMERGENCY}},
      {"tpdo", {Service::TPDO}},
      {"rpdo", {Service::RPDO}},
      {"pdo", {Service::TPDO, Service::RPDO}},
      {"sdo", {Service::SDO_REQUEST, Service::SDO_RESPONSE}},
      {"heartbeat", {Service::HEARTBEAT}},
      {"boot-up", {Service::BOOT_UP}},
      {"guarding", {Service::NODE_GUARDING}},
      {"lss", {Service::LSS}},
      {"unknown", {Service::UNKNOWN}},
  };
  return NAMES;
}

std::string inLowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return text;
}

std::string listNames() {
  std::string list;
  for (const NamedServices& entry : getNames()) {
    list += (list.empty() ? "" : ", ") + std::string(entry.name);
  }
  return list;
}

unsigned int parseIdentifier(std::string_view digits, const std::string& range) {
  constexpr unsigned int LAST = 0x7FF;
  if (digits.substr(0, 2) == "0x" || digits.substr(0, 2) == "0X") {
    digits.remove_prefix(2);
  }
  unsigned int identifier = 0;
  const char* const stop = digits.data() + digits.size();
  const auto [reached, error] = std::from_chars(digits.data(), stop, identifier, 16);
  if (error != std::errc() || reached != stop || identifier > LAST) {
    throw TraceError("--id: '" + range + "' is not an identifier up to 7FF, or two as in 180-1FF");
  }
  return identifier;
}

bool matchesOne(long long microseconds, long long first, const Moment& moment) {
  return microseconds >= moment.microseconds + (moment.sinceFirst ? first : 0);
}

}  // namespace

Moment Moment::parse(const std::string& text) {
  constexpr double HIGHEST_SECONDS = 1e11;
  const bool isSinceFirst = !text.empty() && text.front() == '+';
  const char* const start = text.data() + (isSinceFirst ? 1 : 0);
  const char* const stop = text.data() + text.size();
  double seconds = 0;
  const auto [reached, error] = std::from_chars(start, stop, seconds, std::chars_format::fixed);
  if (error != std::errc() || reached != stop || !(seconds >= 0 && seconds < HIGHEST_SECONDS)) {
    throw TraceError("'" + text +
                     "' is not a time: seconds since 1970 as in the log, or +SECONDS since its first frame");
  }
  return {std::llround(seconds * 1e6), isSinceFirst};
}

void FrameFilter::addNode(unsigned int node) {
  anyNode = false;
  nodes.set(node);
}

void FrameFilter::addService(const std::string& name) {
  const std::vector<NamedServices>& names = getNames();
  const auto found = std::find_if(names.begin(), names.end(), [wanted = inLowerCase(name)](const NamedServices& entry) {
    return entry.name == wanted;
  });
  if (found == names.end()) {
    throw TraceError("--service: '" + name + "' is none of " + listNames());
  }
  anyService = false;
  for (const Service service : found->services) {
    services.set(static_cast<std::size_t>(service));
  }
}

void FrameFilter::addIdentifiers(const std::string& range) {
  const std::size_t dash = range.find('-');
  const unsigned int first = parseIdentifier(std::string_view(range).substr(0, dash), range);
  const unsigned int last =
      dash == std::string::npos ? first : parseIdentifier(std::string_view(range).substr(dash + 1), range);
  if (last < first) {
    throw TraceError("--id: the end of '" + range + "' lies before its beginning");
  }
  anyIdentifier = false;
  for (unsigned int identifier = first; identifier <= last; ++identifier) {
    identifiers.set(identifier);
  }
}

bool FrameFilter::isInTime(long long microseconds, long long first) const {
  return (!begin || matchesOne(microseconds, first, *begin)) && (!end || !matchesOne(microseconds, first, *end));
}

// An NMT command for all nodes is one for each.
bool FrameFilter::matches(const monitor::DecodedFrame& frame) const {
  if (!anyService && !services.test(static_cast<std::size_t>(frame.service))) {
    return false;
  }
  const bool isForAll = frame.service == Service::NMT_COMMAND && frame.node == 0;
  if (!anyNode && !isForAll && (frame.node >= nodes.size() || !nodes.test(frame.node))) {
    return false;
  }
  const bool isStandard =
      frame.frame.kind == monitor::FrameKind::DATA || frame.frame.kind == monitor::FrameKind::REMOTE;
  return anyIdentifier || (isStandard && identifiers.test(frame.frame.identifier & 0x7FF));
}

}  // namespace trace
