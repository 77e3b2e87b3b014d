#include "internal/KQFrameDispatch.h"

#include "KQCANopenMessageHandler.h"

namespace KQ {

void KQFrameDispatch::setHandlers(const Handlers& nodeHandlers) {
  handlers = nodeHandlers;
  renew();
}

void KQFrameDispatch::renew() {
  // Noted first: a declaration that changes meanwhile, of another node on another thread, is seen by the next look.
  changesSeen = KQServedCOBIDs::getChanges();
  const Table previous = table;
  const bool hadUndeclaredHandler = hasUndeclaredHandler;
  table.fill(0);
  everyHandler = 0;
  hasUndeclaredHandler = false;
  followedCount = 0;
  for (std::size_t position = 0; position < HANDLERS; ++position) {
    if (handlers[position] != nullptr) {
      enter(handlers[position]->getServedCOBIDs(), static_cast<HandlerSet>(1U << position));
    }
  }
  revision += table != previous || hasUndeclaredHandler != hadUndeclaredHandler ? 1U : 0U;
}

void KQFrameDispatch::enter(const KQServedCOBIDs* served, HandlerSet handler) {
  everyHandler = static_cast<HandlerSet>(everyHandler | handler);
  if (served == nullptr) {
    hasUndeclaredHandler = true;
    for (HandlerSet& handlersOfOne : table) {
      handlersOfOne = static_cast<HandlerSet>(handlersOfOne | handler);
    }
    return;
  }
  for (const unsigned int cobID : served->getIdentifiers()) {
    table[cobID] = static_cast<HandlerSet>(table[cobID] | handler);
  }
  const int* const cobID = served->getFollowed();
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
