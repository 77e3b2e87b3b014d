#pragma once

namespace board {

/// Puts another clock in the place of the board's own; null: back to that.
void setClock(unsigned int (*clock)());

}  // namespace board
