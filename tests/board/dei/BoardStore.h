#pragma once

namespace board {

/// Forgets every variable and every registration for changes.
void clearStore();

}  // namespace board
