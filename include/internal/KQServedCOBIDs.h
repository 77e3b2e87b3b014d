// Internal: here because public headers need it; it may change without notice.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <vector>

namespace KQ {

/// The identifiers (11 bits) of the frames that one protocol handler serves. The handler declares them here and nowhere
/// else; the state machine's choice of the handlers to ask comes from all handlers' declarations.
///
/// An identifier too many costs a call that answers 11, so that one may stay when its channel is gone; an identifier
/// too few costs its frames. Every operation belongs to the protocol thread, unless it says otherwise.
class KQServedCOBIDs {
public:
  /// Number of identifiers that there are.
  static constexpr std::size_t COUNT = 0x800;

  /// Forgets all identifiers, the followed one included.
  void clear();
  /// Adds one identifier. One of more than 11 bits is never in a frame and not added.
  void add(unsigned int cobID);
  /// The one identifier that may change without a word, besides the added ones: before each frame it is read from
  /// @p cobID, the value of an object, which outlives its use here. Null: none.
  void follow(const int* cobID);

  /// In ascending order, each once.
  [[nodiscard]] const std::vector<unsigned int>& getIdentifiers() const { return identifiers; }
  bool contains(unsigned int cobID) const { return std::binary_search(identifiers.begin(), identifiers.end(), cobID); }
  /// @return where the followed identifier stands, or null
  [[nodiscard]] const int* getFollowed() const { return followed; }

  /// Changes whenever a declaration of any handler in the process does. Any thread.
  static unsigned int getChanges() { return changes.load(std::memory_order_acquire); }

private:
  static std::atomic<unsigned int> changes;

  std::vector<unsigned int> identifiers;
  const int* followed = nullptr;
};

}  // namespace KQ
