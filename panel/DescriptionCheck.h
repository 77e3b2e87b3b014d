#pragma once

#include <ostream>

namespace panel {

struct PanelOptions;

/// Reads the EDS or DCF that --check names, as --app would, and prints what there is to say about it: one line for each
/// finding, and one with their numbers.
/// @return the exit status: 0 nothing to mend, 1 warnings, 2 errors
int checkDescription(const PanelOptions& options, std::ostream& console);

}  // namespace panel
