#pragma once

#include <atomic>
#include <cstddef>
#include <vector>

namespace KQ {

/// The identifiers (11 bits) of the frames that one protocol handler serves. The handler declares them here and nowhere
/// else; the state machine's choice of the handlers to ask comes from all handlers' declarations.
///
/// A handler that is asked for nothing only costs time, so that an identifier may stay when its channel is gone; one
/// that is missing costs its frames.
class KQServedCOBIDs {
public:
  static constexpr std::size_t COUNT = 0x800;

  /// Forgets all identifiers.
  void clear();
  /// Adds one identifier. One of more than 11 bits is never in a frame and not added.
  void add(unsigned int cobID);
  /// The one identifier that may change without a word: it is read from @p cobID, which must outlive its use here, each
  /// time that it is asked for. Null: none.
  void follow(const int* cobID);

  /// In the order in which they were added; one may stand there twice.
  const std::vector<unsigned int>& getIdentifiers() const { return identifiers; }
  const int* getFollowed() const { return followed; }

  /// Changes whenever a declaration of any handler in the process does. Any thread.
  static unsigned int getChanges() { return changes.load(std::memory_order_acquire); }

private:
  static std::atomic<unsigned int> changes;

  std::vector<unsigned int> identifiers;
  const int* followed = nullptr;
};

}  // namespace KQ
