#pragma once

#include <stdexcept>

namespace trace {

/// Why the program cannot do what it is asked, in one line that tells its user what to change. main() prints it and
/// ends with status 2.
class TraceError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

}  // namespace trace
