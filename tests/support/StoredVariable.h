#pragma once

#include <string>

#include "KQDEI.h"
#include "KQErrorCodes.h"

namespace test {

/// Whether a variable of the store, a number or a text, is there and not marked invalid.
inline bool isValid(unsigned short index, unsigned short subIndex) {
  int number = 0;
  std::string text;
  return KQ::KQDEI::instance()->getVariableValue(index, subIndex, &number) == KQ::KQ_OK ||
         KQ::KQDEI::instance()->getVariableValue(index, subIndex, &text) == KQ::KQ_OK;
}

}  // namespace test
