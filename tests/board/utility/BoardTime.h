#pragma once

namespace board {

/// Puts another wall clock in place, seconds since 1970; null: back to the board's.
void setWallClock(long (*clock)());

}  // namespace board
