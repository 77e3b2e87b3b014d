#include "KQText.h"

#include <algorithm>
#include <new>
#include <ostream>

namespace KQ {

KQText::~KQText() {
  ::operator delete(block);
}

KQText& KQText::operator=(std::string_view text) {
  const unsigned int capacity = block != nullptr ? block->capacity : 0;
  if (text.size() > capacity) {
    const auto size = static_cast<unsigned int>(text.size());
    auto* const larger = new (::operator new(sizeof(Block) + size)) Block{0, size};
    // The text may be this one's own.
    std::copy(text.begin(), text.end(), charactersOf(larger));
    ::operator delete(block);
    block = larger;
  } else if (block != nullptr) {
    std::copy(text.begin(), text.end(), charactersOf(block));
  }
  if (block != nullptr) {
    block->length = static_cast<unsigned int>(text.size());
  }
  return *this;
}

std::ostream& operator<<(std::ostream& out, const KQText& text) {
  return out << text.view();
}

}  // namespace KQ
