#pragma once

#include <stdexcept>

namespace panel {

/// Why the panel cannot run, in one line that tells its user what to change. main() prints it and ends with status 2.
class PanelError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

}  // namespace panel
