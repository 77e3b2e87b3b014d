// Internal: here because public headers need it; it may change without notice.
#pragma once

#include <array>
#include <cstddef>

#include "internal/KQServedCOBIDs.h"

namespace KQ {

class KQCANopenMessageHandler;

/// Which of a node's handlers are to be offered a frame, by its identifier: a table made from what the handlers declare
/// (KQCANopenMessageHandler::getServedCOBIDs), and from nothing else. A handler that declares nothing is offered every
/// frame. The table renews itself when a declaration has changed. Every operation belongs to the protocol thread.
class KQFrameDispatch {
public:
  /// In the order in which they are asked.
  static constexpr std::size_t HANDLERS = 5;
  using Handlers = std::array<const KQCANopenMessageHandler*, HANDLERS>;
  /// A set of handlers: bit n stands for the handler at position n.
  using HandlerSet = unsigned char;

  /// @param nodeHandlers not owned; one may be null
  void setHandlers(const Handlers& nodeHandlers);

  /// The handlers that may serve a frame with that identifier: all of them when it has more than 11 bits, since no
  /// declaration speaks of such a one.
  HandlerSet handlersOf(unsigned int identifier) {
    refresh();
    return identifier < table.size() ? table[identifier] : everyHandler;
  }

  /// Renews the table when a declaration has changed.
  void refresh() {
    if (changesSeen != KQServedCOBIDs::getChanges() || isFollowedChanged()) {
      renew();
    }
  }
  /// Changes whenever what is served does.
  [[nodiscard]] unsigned int getRevision() const { return revision; }
  /// Whether frames with that identifier are offered to anybody, as of the last renewal. @param identifier below 0x800
  bool serves(unsigned int identifier) const { return table[identifier] != 0; }
  /// Whether there is a handler that has declared nothing.
  [[nodiscard]] bool servesEveryFrame() const { return hasUndeclaredHandler; }

private:
  using Table = std::array<HandlerSet, KQServedCOBIDs::COUNT>;

  /// An identifier that a handler lets stand in the dictionary.
  struct Followed {
    const int* cobID;
    int seen;
  };

  bool isFollowedChanged() const {
    for (std::size_t i = 0; i < followedCount; ++i) {
      if (*followed[i].cobID != followed[i].seen) {
        return true;
      }
    }
    return false;
  }
  void renew();
  void enter(const KQServedCOBIDs* served, HandlerSet handler);

  Handlers handlers{};
  Table table{};
  HandlerSet everyHandler = 0;
  bool hasUndeclaredHandler = true;
  unsigned int revision = 0;
  std::array<Followed, HANDLERS> followed{};
  std::size_t followedCount = 0;
  unsigned int changesSeen = 0;
};

}  // namespace KQ
