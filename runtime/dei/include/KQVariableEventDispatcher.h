#pragma once

#include <memory>

namespace KQ {

class KQSignal;
class KQSignalListener;

/// Tells listeners that a variable of the store changed. Registrations are made for one variable, by
/// the address parts index and sub-index; listeners are called in the order of their registration.
///
/// Reporting takes no lock: each variable has an immutable list of listeners, which a registration
/// replaces. Every operation may be called from any thread, also by a listener while it is being told.
class KQVariableEventDispatcher {
public:
  /// The dispatcher of the process. Created on first use and never destroyed.
  static KQVariableEventDispatcher* instance();

  KQVariableEventDispatcher(const KQVariableEventDispatcher&) = delete;
  KQVariableEventDispatcher& operator=(const KQVariableEventDispatcher&) = delete;

  /// Registers a listener for the changes of one variable, which need not exist yet. The same listener
  /// registered again for the same variable is still told once.
  /// @param listener  not owned; it must remove itself before it goes.
  /// @return 0; 20 for null.
  int addMapping(unsigned short index, unsigned short subIndex, KQSignalListener* listener);

  /// Takes one registration back. From the return on, this thread does not call the listener for the
  /// variable any more; a report in progress on another thread may be inside it still, so that a
  /// listener is deleted only when no other thread writes its variables.
  /// @return 0; 23 when there is no such registration.
  int removeMapping(unsigned short index, unsigned short subIndex, KQSignalListener* listener);

  /// Takes all registrations of a listener back, with the same promise as removeMapping.
  void removeListener(const KQSignalListener* listener);

  /// Calls every listener of a variable, on this thread, with no lock held and no allocation.
  /// @param variableID  index << 16 | sub-index.
  /// @param signal      handed to one listener after the other; what one of them changes the next one sees.
  /// The listeners' results are of no interest to the one who writes a variable and are not used.
  void dispatch(unsigned int variableID, KQSignal& signal);

  /// Takes all registrations back.
  void clear();

private:
  // The store keeps a variable's mapping beside its value, which saves the second look-up of every write.
  friend class KQDEI;
  friend class KQStoredVariable;
  struct Mapping;
  struct Registry;

  KQVariableEventDispatcher();
  ~KQVariableEventDispatcher();

  Mapping* findOrAddMapping(unsigned int variableID);
  void dispatch(const Mapping& mapping, KQSignal& signal);

  const std::unique_ptr<Registry> registry;
};

}  // namespace KQ
