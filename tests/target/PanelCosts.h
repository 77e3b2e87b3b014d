#pragma once

namespace test {

/// Prints what a panel at rest pays for its node, and beside it what the same costs a bare loop of read() and write()
/// with the kernel's filter: the floor. Throws std::runtime_error when something does not answer.
void printPanelCosts();

}  // namespace test
