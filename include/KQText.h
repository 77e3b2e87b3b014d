#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

namespace KQ {

/// A text of the object dictionary. A sub-index has three of them, and most of these are empty or short: an empty one
/// takes a pointer, another one its characters and eight bytes. Any characters are kept, also zeros.
class KQText {
public:
  KQText() = default;
  KQText(const KQText&) = delete;
  ~KQText();

  /// Takes over the characters. Keeps its memory when they fit, so that a value that changes back and forth
  /// does not allocate.
  KQText& operator=(std::string_view text);
  KQText& operator=(const KQText& other) { return *this = other.view(); }  // NOLINT(bugprone-unhandled-self-assignment)

  std::string_view view() const {
    return block != nullptr ? std::string_view(charactersOf(block), block->length) : std::string_view();
  }
  operator std::string() const { return std::string(view()); }

  friend bool operator==(const KQText& left, std::string_view right) { return left.view() == right; }
  friend bool operator==(std::string_view left, const KQText& right) { return left == right.view(); }
  friend std::ostream& operator<<(std::ostream& out, const KQText& text);

private:
  /// Stands in front of the characters.
  struct Block {
    unsigned int length;
    unsigned int capacity;
  };

  static char* charactersOf(Block* block) { return reinterpret_cast<char*>(block + 1); }

  Block* block = nullptr;
};

}  // namespace KQ
