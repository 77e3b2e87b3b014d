#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace KQ {

/// A hash table of nodes by a 32-bit key that each node has, for look-ups on the way of a frame: one multiplication
/// and, nearly always, one access. Open addressing over an array of pointers that is at most half full. Owns nothing.
///
/// @tparam keyOf  the key of a node; it must not change while the node is in the table
template <typename Node, unsigned int (*keyOf)(const Node&)>
class KeyTable {
public:
  /// @return the node with that key, or null
  Node* find(unsigned int key) const {
    for (std::size_t position = home(key);; position = next(position)) {
      Node* const node = slots[position];
      if (node == nullptr || keyOf(*node) == key) {
        return node;
      }
    }
  }

  /// Enters a node, in place of one with the same key.
  void insert(Node* node) {
    if ((count + 1) * 2 > slots.size()) {
      enterAnew(slots.size() * 2, nullptr);
    }
    enter(node);
  }

  /// Takes a node out, if it is in the table.
  void erase(const Node* node) { enterAnew(slots.size(), node); }

  /// Takes all nodes out; the memory is kept.
  void clear() {
    slots.assign(slots.size(), nullptr);
    count = 0;
  }

private:
  static constexpr std::size_t INITIAL_SIZE = 8;
  static constexpr unsigned int KEY_BITS = 32;

  // Keys are runs of neighbours; the golden ratio spreads them evenly.
  std::size_t home(unsigned int key) const { return (key * 0x9E3779B1U) >> shift; }
  std::size_t next(std::size_t position) const { return (position + 1) & (slots.size() - 1); }

  void enter(Node* node) {
    std::size_t position = home(keyOf(*node));
    while (slots[position] != nullptr && keyOf(*slots[position]) != keyOf(*node)) {
      position = next(position);
    }
    count += slots[position] == nullptr ? 1U : 0U;
    slots[position] = node;
  }

  void enterAnew(std::size_t size, const Node* except) {
    const std::vector<Node*> previous = std::move(slots);
    slots.assign(size, nullptr);
    count = 0;
    shift = KEY_BITS;
    for (std::size_t rest = size; rest > 1; rest /= 2) {
      --shift;
    }
    for (Node* const node : previous) {
      if (node != nullptr && node != except) {
        enter(node);
      }
    }
  }

  std::vector<Node*> slots = std::vector<Node*>(INITIAL_SIZE, nullptr);
  std::size_t count = 0;
  unsigned int shift = KEY_BITS - 3;
};

}  // namespace KQ
