#include "KQCANPortRegistry.h"

#include <utility>

#include "KQEndPointFactory.h"

namespace KQ {

KQCANPortRegistry* KQCANPortRegistry::instance() {
  static KQCANPortRegistry registry;
  return &registry;
}

int KQCANPortRegistry::bindPort(unsigned port, const std::string& uri) {
  if (!KQEndPointFactory::isEndPointURI(uri)) {
    return KQ_INVALID_ARGUMENT;
  }
  return bindPort(port, [uri](std::string& error) { return KQEndPointFactory::openEndPoint(uri, error); });
}

int KQCANPortRegistry::bindPort(unsigned port, Factory factory) {
  if (!factory) {
    return KQ_INVALID_ARGUMENT;
  }
  const std::lock_guard<std::mutex> lock(mutex);
  ports[port] = std::move(factory);
  return KQ_OK;
}

int KQCANPortRegistry::unbindPort(unsigned port) {
  const std::lock_guard<std::mutex> lock(mutex);
  return ports.erase(port) == 1 ? KQ_OK : KQ_NOT_FOUND;
}

std::unique_ptr<KQEndPoint> KQCANPortRegistry::openPort(unsigned port, std::string& error) {
  error.clear();
  Factory factory;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = ports.find(port);
    if (found != ports.end()) {
      factory = found->second;
    }
  }
  if (!factory) {
    error = "CAN port " + std::to_string(port) + " is not bound to any port URI";
    return nullptr;
  }
  // Without the lock: opening may take as long as a connection takes.
  return factory(error);
}

}  // namespace KQ
