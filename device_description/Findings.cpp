#include "Findings.h"

#include <algorithm>

namespace device_description {

const char* getName(Severity severity) {
  switch (severity) {
    case Severity::NOTE:
      return "note";
    case Severity::WARNING:
      return "warning";
    case Severity::ERROR:
      break;
  }
  return "error";
}

std::size_t Findings::count(Severity severity) const {
  return static_cast<std::size_t>(std::count_if(
      findings.begin(), findings.end(), [severity](const Finding& finding) { return finding.severity == severity; }));
}

std::string Findings::getFirst(Severity severity) const {
  const auto found = std::find_if(findings.begin(), findings.end(),
                                  [severity](const Finding& finding) { return finding.severity == severity; });
  return found == findings.end() ? std::string() : found->text;
}

}  // namespace device_description
