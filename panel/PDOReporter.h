#pragma once

#include <array>
#include <iosfwd>

#include "KQAction.h"

namespace KQ {
class KQCANopen;
}

namespace panel {

/// Prints whether an RPDO is received: "RPDO 1: receiving", "RPDO 1: reception timed out". Frames as such are not
/// reported, only what they change: the first one, and the first one after a time-out.
///
/// A monitored RPDO is overdue from the start, until its first frame; that is no time-out worth the name, and printed
/// as "RPDO 1: nothing received yet".
class PDOReporter {
public:
  /// @param stream must outlive the reporter
  /// @param number of the RPDO, zero-based as in addPDO(); the lines count from 1, as CiA 301 does
  PDOReporter(std::ostream& stream, unsigned short number);
  PDOReporter(const PDOReporter&) = delete;
  PDOReporter& operator=(const PDOReporter&) = delete;

  /// Binds the RPDO's events to this reporter, which must outlive @p node's communication.
  void watch(KQ::KQCANopen& node);

private:
  enum class Reception { UNKNOWN, NOTHING_YET, RECEIVING, TIMED_OUT };

  /// One event of the RPDO. The event that an action is bound to is kept in the action: each has its own.
  class Event : public KQ::KQAction {
  public:
    explicit Event(PDOReporter& owner) : reporter(owner) {}
    int execute() override;

  private:
    PDOReporter& reporter;
  };

  void takeTimeout();
  void takeFrame();
  void enter(Reception next, const char* what);

  std::ostream& output;
  const unsigned short pdoNumber;
  Reception reception = Reception::UNKNOWN;
  std::array<Event, 3> events;
};

}  // namespace panel
