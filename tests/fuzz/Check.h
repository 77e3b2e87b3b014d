#pragma once

#include "KQCANMessage.h"

namespace fuzz {

/// What holds for every input. Says on standard error what does not, and ends the program: a finding.
void require(bool condition, const char* what);

/// The same with the number that shows it.
void require(bool condition, const char* what, unsigned int number);

/// Shows a frame on standard error when the environment variable TAVO_FUZZ_TRACE is set, to see what a finding is
/// about.
void trace(const KQ::KQCANMessage& message, const char* what, unsigned int tick);

/// Counts frames, which the program reports when it ends.
void countFrame();

}  // namespace fuzz
