#pragma once

#include <atomic>
#include <cassert>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace KQ {

/// A hash table by 32-bit key that is read without a lock while others insert. Nodes are never moved
/// and never taken out, so that a pointer to one is good as long as the table.
///
/// Open addressing with linear probing over an array of node pointers that is at most half full. To
/// grow, the nodes are entered into an array of twice the size, which then takes the place of the old
/// one; a reader may still be walking the old one, so it is kept (all old arrays
/// together are smaller than the current one).
///
/// @tparam Node  has a member `const unsigned int key`.
template <typename Node>
class InsertOnlyTable {
public:
  /// Shown by the operations that change or walk the table: all of them are called with the same mutex held.
  using WriterLock = std::lock_guard<std::mutex>;

  InsertOnlyTable() { addSlots(INITIAL_SIZE_BITS); }

  /// The node of a key, or null. From any thread; no lock, no allocation.
  Node* find(unsigned int key) const {
    const Slots& slots = *current.load(std::memory_order_acquire);
    unsigned int position = slots.home(key);
    Node* node = slots.nodes[position].load(std::memory_order_acquire);
    while (node != nullptr && node->key != key) {
      position = slots.next(position);
      node = slots.nodes[position].load(std::memory_order_acquire);
    }
    return node;
  }

  /// Enters a node, whose key must not be there yet.
  Node& insert(std::unique_ptr<Node> node, const WriterLock& /*writer*/) {
    assert(find(node->key) == nullptr);
    if ((kept.size() + 1) * 2 > current.load(std::memory_order_relaxed)->size()) {
      grow();
    }
    kept.push_back(std::move(node));
    Node& inserted = *kept.back();
    current.load(std::memory_order_relaxed)->enter(inserted);
    return inserted;
  }

  /// All nodes, in the order of their insertion.
  const std::vector<std::unique_ptr<Node>>& nodes(const WriterLock& /*writer*/) const { return kept; }

private:
  static constexpr unsigned int KEY_BITS = 32;
  static constexpr unsigned int INITIAL_SIZE_BITS = 6;

  struct Slots {
    explicit Slots(unsigned int sizeBits)
        : shift(KEY_BITS - sizeBits),
          mask((1U << sizeBits) - 1U),
          nodes(std::make_unique<std::atomic<Node*>[]>(std::size_t{1} << sizeBits)) {}

    std::size_t size() const { return std::size_t{mask} + 1; }
    unsigned int sizeBits() const { return KEY_BITS - shift; }
    // Keys are runs of neighbours (the sub-indexes of an object); the golden ratio spreads them evenly.
    unsigned int home(unsigned int key) const { return (key * 0x9E3779B1U) >> shift; }
    unsigned int next(unsigned int position) const { return (position + 1U) & mask; }

    void enter(Node& node) {
      unsigned int position = home(node.key);
      while (nodes[position].load(std::memory_order_relaxed) != nullptr) {
        position = next(position);
      }
      nodes[position].store(&node, std::memory_order_release);
    }

    const unsigned int shift;
    const unsigned int mask;
    const std::unique_ptr<std::atomic<Node*>[]> nodes;
  };

  void addSlots(unsigned int sizeBits) {
    tables.push_back(std::make_unique<Slots>(sizeBits));
    Slots& added = *tables.back();
    for (const auto& node : kept) {
      added.enter(*node);
    }
    current.store(&added, std::memory_order_release);
  }

  void grow() { addSlots(current.load(std::memory_order_relaxed)->sizeBits() + 1); }

  std::atomic<Slots*> current{nullptr};
  std::vector<std::unique_ptr<Slots>> tables;
  std::vector<std::unique_ptr<Node>> kept;
};

}  // namespace KQ
