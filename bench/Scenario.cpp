#include "Scenario.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

#include "Frame.h"
#include "ScenarioKinds.h"

namespace bench {

void Scenario::prepare() {
  run(round());
  markChecked();
  for (std::size_t i = 0; i < 3 * round(); ++i) {
    run(1);
    check();
  }
}

void Scenario::markChecked() {
  checkedOperations = performed;
  checkedFrames = node.sent().getCount();
}

void Scenario::check() {
  const std::size_t operations = performed - checkedOperations;
  const std::size_t frames = node.sent().getCount() - checkedFrames;
  if (frames != operations * framesPerOperation()) {
    throw std::runtime_error("sent " + std::to_string(frames) + " frames in " + std::to_string(operations) +
                             " operations");
  }
  if (operations > 0) {
    const std::size_t last = performed - 1;
    const Frames expected = expectedFrames(last);
    std::size_t number = node.sent().getCount() - expected.size();
    for (const KQ::KQCANMessage& message : expected) {
      if (!isSame(node.sent()[number++], message)) {
        throw std::runtime_error("a frame of operation " + std::to_string(last) + " is not as it should be");
      }
    }
    if (expected.size() != framesPerOperation() || !isDone(last)) {
      throw std::runtime_error("operation " + std::to_string(last) + " was not carried out");
    }
  }
  markChecked();
}

namespace {

template <typename Kind>
std::unique_ptr<Scenario> create(const Configuration& configuration) {
  return std::make_unique<Kind>(configuration);
}

}  // namespace

const std::vector<ScenarioEntry>& scenarios() {
  constexpr const Configuration& A = CONFIGURATION_A;
  constexpr const Configuration& B = CONFIGURATION_B;
  static const std::vector<ScenarioEntry> all{
      {"sdo-upload-4", "expedited upload of an UNSIGNED32", 1, "operation", true, A, create<ExpeditedUpload>},
      {"sdo-download-2", "expedited download of an UNSIGNED16", 1, "operation", true, A, create<ExpeditedDownload>},
      {"sdo-segment-upload", "upload of a text of 1 KiB", TEXT_LENGTH, "byte", true, A, create<SegmentedUpload>},
      {"sdo-segment-download", "download of a text of 1 KiB", TEXT_LENGTH, "byte", true, A, create<SegmentedDownload>},
      {"rpdo-4x16", "event-driven RPDO in", 1, "operation", true, A, create<ReceivedPDO>},
      {"rpdo-4x16-b", "the same with 64 + 64 PDOs", 1, "operation", true, B, create<ReceivedPDO>},
      {"tpdo-change", "a variable changes, event-driven TPDO out", 1, "operation", true, A, create<ChangedPDO>},
      {"tpdo-change-b", "the same with 64 + 64 PDOs", 1, "operation", true, B, create<ChangedPDO>},
      {"sync-4", "SYNC in, four TPDOs out", SYNCHRONOUS_PDOS, "frame", true, CONFIGURATION_A_SYNC,
       create<SynchronousPDOs>},
      {"heartbeat-1", "heartbeat of a watched node in", 1, "operation", true, A, create<Heartbeat>},
      {"heartbeat-126", "the same with 126 watched nodes", 1, "operation", true, B, create<Heartbeat>},
      {"reject-a", "a frame for nobody in", 1, "operation", true, A, create<Rejection>},
      {"reject-b", "the same with 64 + 64 PDOs", 1, "operation", true, B, create<Rejection>},
      {"idle-a", "cycle with nothing due", 1, "operation", true, A, create<IdleCycle>},
      {"idle-b", "the same with 64 + 64 PDOs", 1, "operation", true, B, create<IdleCycle>},
      {"reset", "NMT reset communication to boot-up", 1, "operation", false, A, create<Reset>},
  };
  return all;
}

const ScenarioEntry* findScenario(const char* name) {
  const auto isWanted = [name](const ScenarioEntry& entry) { return std::strcmp(entry.name, name) == 0; };
  const auto found = std::find_if(scenarios().begin(), scenarios().end(), isWanted);
  return found != scenarios().end() ? &*found : nullptr;
}

}  // namespace bench
