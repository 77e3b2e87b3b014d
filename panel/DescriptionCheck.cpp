#include "DescriptionCheck.h"

#include <optional>

#include "EdsApplication.h"
#include "PanelOptions.h"

namespace panel {

using device_description::Severity;

int checkDescription(const PanelOptions& options, std::ostream& console) {
  device_description::Findings findings;
  const std::optional<unsigned char> nodeID = options.isNodeIDGiven ? std::optional(options.nodeID) : std::nullopt;
  const EdsApplication application(*options.check, nodeID, findings, options.nodeID);
  for (const device_description::Finding& finding : findings.getAll()) {
    console << getName(finding.severity) << ": " << finding.text << '\n';
  }
  const std::size_t errors = findings.count(Severity::ERROR);
  const std::size_t warnings = findings.count(Severity::WARNING);
  console << *options.check << ": " << application.getObjects().size() << " application objects, "
          << application.getConfiguration().countPDOs() << " PDOs for node "
          << static_cast<unsigned int>(application.getDescription().nodeID) << "; " << errors << " errors, " << warnings
          << " warnings" << std::endl;
  return errors != 0 ? 2 : warnings != 0 ? 1 : 0;
}

}  // namespace panel
