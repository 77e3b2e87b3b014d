#pragma once

namespace board {

/// Whether KQDebug prints; it does at first.
void printDebugLines(bool print);

}  // namespace board
