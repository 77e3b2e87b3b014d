#include "KQVariable.h"

#include <algorithm>
#include <limits>

namespace KQ {

namespace {

// A value has 32 bits in the store, however many it has elsewhere.
constexpr int STORED_BITS = 32;

// The largest number of `bits` bits without a sign.
unsigned int largestUnsigned(int bits) {
  if (bits <= 0) {
    return 0;
  }
  return bits >= STORED_BITS ? std::numeric_limits<unsigned int>::max() : (1U << bits) - 1U;
}

// The largest positive number of a two's complement of `bits` bits.
int largestSigned(int bits) {
  return static_cast<int>(largestUnsigned(std::min(bits, STORED_BITS) - 1));
}

}  // namespace

KQVariable::KQVariable(unsigned short firstAddress, unsigned short secondAddress, const std::string& name,
                       KQVariableStorageType storageType, int bitLength, bool isSigned)
    : variableID_(static_cast<unsigned int>(firstAddress) << 16 | secondAddress),
      firstAddress_(firstAddress),
      secondAddress_(secondAddress),
      name_(name),
      storageType_(storageType),
      bitLength_(bitLength),
      isSigned_(isSigned) {}

std::string KQVariable::getName() const {
  return name_;
}

int KQVariable::getMinimum() const {
  if (minimum_) {
    return *minimum_;
  }
  return isSigned_ ? -largestSigned(bitLength_) - 1 : 0;
}

int KQVariable::getMaximum() const {
  if (maximum_) {
    return *maximum_;
  }
  return isSigned_ ? largestSigned(bitLength_) : static_cast<int>(largestUnsigned(bitLength_));
}

}  // namespace KQ
