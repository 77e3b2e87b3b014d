#pragma once

namespace KQ {

/// Something that the application wants done when an event happens. Whoever stores an action does not
/// own it: the application keeps it alive for as long as the event can happen.
class KQAction {
public:
  virtual ~KQAction() = default;

  /// Runs the action. Called on the thread on which the event happened.
  /// @return a result code of the action; 0 is success.
  virtual int execute() = 0;

  /// Notes the event (a KQEventType) to which the action was bound last. Not locked: bind an action
  /// before the events can happen.
  void setEventType(int eventType) { eventType_ = eventType; }

  /// The event to which the action was bound last; 0 when never bound.
  [[nodiscard]] int getEventType() const { return eventType_; }

protected:
  /// A copy is bound to the same event.
  KQAction() = default;
  KQAction(const KQAction&) = default;
  KQAction& operator=(const KQAction&) = default;

private:
  // The underscore leaves the plain names to the classes that are made of this.
  // NOLINTBEGIN(readability-identifier-naming)
  int eventType_{0};
  // NOLINTEND(readability-identifier-naming)
};

}  // namespace KQ
