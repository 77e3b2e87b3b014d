#pragma once

#include <array>
#include <bitset>
#include <optional>
#include <string>
#include <string_view>

#include "DecodedFrame.h"

namespace trace {

/// A moment that the command line names: "1700000000.5" since 1970, or "+2.5" since the first frame of the log.
struct Moment {
  long long microseconds = 0;
  bool sinceFirst = false;

  /// @throws TraceError for anything else
  static Moment parse(const std::string& text);
};

/// Which frames are shown and counted. What is not asked for lets all through. One thread.
class FrameFilter {
public:
  /// @param node 1 to 127
  void addNode(unsigned int node);
  /// @param name "nmt", "sync", "time", "emcy", "tpdo", "rpdo", "pdo", "sdo", "heartbeat", "boot-up", "guarding", "lss"
  ///   or "unknown", in either case
  /// @throws TraceError for any other
  void addService(const std::string& name);
  /// @param range "181" or "180-1FF", hexadecimal. @throws TraceError for any other
  void addIdentifiers(const std::string& range);
  void setBegin(Moment moment) { begin = moment; }
  void setEnd(Moment moment) { end = moment; }
  void setInterface(const std::string& name) { interface = name; }

  /// @param first microseconds of the log's first frame
  bool isInTime(long long microseconds, long long first) const;
  bool isOfInterface(std::string_view name) const { return interface.empty() || interface == name; }
  bool matches(const monitor::DecodedFrame& frame) const;

private:
  std::bitset<128> nodes;
  std::bitset<monitor::SERVICES> services;
  std::bitset<0x800> identifiers;
  bool anyNode = true;
  bool anyService = true;
  bool anyIdentifier = true;
  std::optional<Moment> begin;
  std::optional<Moment> end;
  std::string interface;
};

}  // namespace trace
