#pragma once

#include <map>
#include <mutex>
#include <vector>

namespace KQ {

class KQSignal;
class KQSignalListener;

class KQVariableEventDispatcher {
public:
  static KQVariableEventDispatcher* instance();

  int addMapping(unsigned short index, unsigned short subIndex, KQSignalListener* listener);

  // For the runtime itself.
  void withdraw(const KQSignalListener* listener);
  void report(unsigned int key, KQSignal& signal);
  void clear();

private:
  KQVariableEventDispatcher();
  bool isRegistered(unsigned int key, const KQSignalListener* listener);

  std::mutex mutex;
  std::map<unsigned int, std::vector<KQSignalListener*>> listeners;
};

}  // namespace KQ
