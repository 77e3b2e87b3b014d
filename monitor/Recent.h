#pragma once

#include <array>
#include <cstddef>

namespace monitor {

/// The latest LIMIT of what happened, and how often it happened in all. Takes its memory at once, and no more.
template <typename Item, std::size_t LIMIT>
class Recent {
public:
  /// Takes an item in; the oldest makes room for it.
  void add(const Item& item) { items[static_cast<std::size_t>(total++ % LIMIT)] = item; }

  /// How many are kept, LIMIT at most.
  std::size_t size() const { return total < LIMIT ? static_cast<std::size_t>(total) : LIMIT; }
  bool empty() const { return total == 0; }
  /// How many there were in all.
  unsigned long long getTotal() const { return total; }

  /// @param position 0, the oldest, to size() - 1
  const Item& operator[](std::size_t position) const {
    const std::size_t oldest = total < LIMIT ? 0 : static_cast<std::size_t>(total % LIMIT);
    return items[(oldest + position) % LIMIT];
  }
  /// The latest; only when there is one.
  const Item& back() const { return (*this)[size() - 1]; }

private:
  std::array<Item, LIMIT> items{};
  unsigned long long total = 0;
};

}  // namespace monitor
