#include "KQFrameDispatch.h"

#include "KQCANopenMessageHandler.h"

namespace KQ {

void KQFrameDispatch::setHandlers(const Handlers& nodeHandlers) {
  handlers = nodeHandlers;
  renew();
}

void KQFrameDispatch::renew() {
  // Noted first: a declaration that changes meanwhile, of another node on another thread, is seen by the next look.
  changesSeen = KQServedCOBIDs::getChanges();
  HandlerSet askedForAll = 0;
  for (std::size_t position = 0; position < HANDLERS; ++position) {
    const bool declaresNothing = handlers[position] != nullptr && handlers[position]->getServedCOBIDs() == nullptr;
    askedForAll = static_cast<HandlerSet>(askedForAll | (declaresNothing ? 1U << position : 0U));
  }
  table.fill(askedForAll);
  followedCount = 0;
  for (std::size_t position = 0; position < HANDLERS; ++position) {
    const KQServedCOBIDs* const served =
        handlers[position] != nullptr ? handlers[position]->getServedCOBIDs() : nullptr;
    if (served != nullptr) {
      enter(*served, static_cast<HandlerSet>(1U << position));
    }
  }
}

void KQFrameDispatch::enter(const KQServedCOBIDs& served, HandlerSet handler) {
  for (const unsigned int cobID : served.getIdentifiers()) {
    table[cobID] = static_cast<HandlerSet>(table[cobID] | handler);
  }
  const int* const cobID = served.getFollowed();
  if (cobID == nullptr) {
    return;
  }
  followed[followedCount++] = {cobID, *cobID};
  const auto identifier = static_cast<unsigned int>(*cobID);
  if (identifier < table.size()) {
    table[identifier] = static_cast<HandlerSet>(table[identifier] | handler);
  }
}

}  // namespace KQ
