#pragma once

#include "KQCANopen.h"

namespace KQ {

/// What the parts of a node ask of it, and nobody else: the one friend of KQCANopen.
class NodeInternals {
public:
  /// While one exists, what calls listeners is under way in a part of the node: no part is deleted under it.
  class [[nodiscard]] Use {
  public:
    /// @param node may be null
    explicit Use(KQCANopen* node) : used(node) {
      if (used != nullptr) {
        ++used->uses;
      }
    }
    ~Use() {
      if (used != nullptr && --used->uses == 0 && !used->formerParts.empty()) {
        used->deleteFormerParts();
      }
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

  private:
    KQCANopen* used;
  };

  /// Tells the work listener. Any thread.
  static void reportQueuedWork(KQCANopen& node) { node.reportQueuedWork(); }

  /// As KQCANopenStateMachine::renewReceptionFilter().
  static void renewReceptionFilter(KQCANopen& node) { node.renewReceptionFilter(); }

  /// The instance manager knows the node, until the destructor takes it out there.
  static void setRegistered(KQCANopen& node) { node.registered = true; }
};

}  // namespace KQ
