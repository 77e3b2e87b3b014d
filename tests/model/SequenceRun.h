#pragma once

#include "Comparison.h"

namespace model {

/// Compares the node with its model over random sequences: as many as TAVO_MODEL_SEQUENCES says, from the seed
/// TAVO_TEST_SEED on. Fails with the first sequence that differs.
void expectAlike(const Comparison::Generate& generate);

}  // namespace model
