#include "PDOReporter.h"

#include <ostream>

#include "KQCANopen.h"
#include "KQErrorCodes.h"
#include "KQEventType.h"

namespace panel {

namespace {

constexpr unsigned short FIRST_RECEIVE_PDO = 0x1400;

}  // namespace

PDOReporter::PDOReporter(std::ostream& stream, unsigned short number)
    : output(stream), pdoNumber(number), events{{Event(*this), Event(*this), Event(*this)}} {}

void PDOReporter::watch(KQ::KQCANopen& node) {
  const auto communicationIndex = static_cast<unsigned short>(FIRST_RECEIVE_PDO + pdoNumber);
  node.setPDOEventAction(communicationIndex, KQ::PDO_EVENT_RX_TIMEOUT, &events[0]);
  node.setPDOEventAction(communicationIndex, KQ::PDO_EVENT_RX_TIMEOUT_RESOLVED, &events[1]);
  node.setPDOEventAction(communicationIndex, KQ::PDO_EVENT_RX_RECEIVED, &events[2]);
}

int PDOReporter::Event::execute() {
  if (getEventType() == KQ::PDO_EVENT_RX_TIMEOUT) {
    reporter.takeTimeout();
  } else {
    reporter.takeFrame();
  }
  return KQ::KQ_OK;
}

void PDOReporter::takeTimeout() {
  if (reception == Reception::UNKNOWN) {
    enter(Reception::NOTHING_YET, "nothing received yet");
  } else if (reception == Reception::RECEIVING) {
    enter(Reception::TIMED_OUT, "reception timed out");
  }
}

// A frame that ends a time-out comes as two events, received and resolved; the first of them changes the state.
void PDOReporter::takeFrame() {
  if (reception != Reception::RECEIVING) {
    enter(Reception::RECEIVING, reception == Reception::TIMED_OUT ? "receiving again" : "receiving");
  }
}

void PDOReporter::enter(Reception next, const char* what) {
  reception = next;
  output << "RPDO " << pdoNumber + 1 << ": " << what << std::endl;
}

}  // namespace panel
