#include "ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

namespace panel {

namespace {

constexpr unsigned int NEVER = 0xFFFFFFFFU;

std::string getVariable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::optional<unsigned long long> getNumber(const char* name) {
  const std::string text = getVariable(name);
  unsigned long long number = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isNumber = error == std::errc() && stop == text.data() + text.size();
  return isNumber ? std::optional(number) : std::nullopt;
}

// Half the time after which the panel would be taken for dead, so that one late sign does no harm.
unsigned int getInterval() {
  constexpr unsigned long long MICROSECONDS = 1000;
  constexpr unsigned long long LONGEST = 3600000;
  const bool isForAnother = getNumber("WATCHDOG_PID").value_or(static_cast<unsigned long long>(getpid())) !=
                            static_cast<unsigned long long>(getpid());
  const unsigned long long wanted = isForAnother ? 0 : getNumber("WATCHDOG_USEC").value_or(0);
  return wanted == 0 ? 0 : static_cast<unsigned int>(std::clamp(wanted / MICROSECONDS / 2, 1ULL, LONGEST));
}

}  // namespace

ServiceManager::ServiceManager() : address(getVariable("NOTIFY_SOCKET")) {
  // A path, or a name in the abstract name space, which begins with "@".
  const bool isAddress = address.size() > 1 && (address.front() == '/' || address.front() == '@');
  if (!isAddress || address.size() >= sizeof sockaddr_un{}.sun_path) {
    address.clear();
    return;
  }
  descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  interval = getInterval();
}

ServiceManager::~ServiceManager() {
  if (descriptor >= 0) {
    close(descriptor);
  }
}

void ServiceManager::ready() {
  if (!isReady) {
    isReady = true;
    notify("READY=1");
  }
}

void ServiceManager::update(unsigned int now) {
  if (getTimeToNextUpdate(now) == 0) {
    lastSign = now;
    notify("WATCHDOG=1");
  }
}

unsigned int ServiceManager::getTimeToNextUpdate(unsigned int now) const {
  if (interval == 0) {
    return NEVER;
  }
  const unsigned int passed = now - lastSign;
  return passed >= interval ? 0 : interval - passed;
}

// A manager that does not read loses the message, and nobody waits for it.
void ServiceManager::notify(const char* message) const {
  if (descriptor < 0) {
    return;
  }
  sockaddr_un receiver{};
  receiver.sun_family = AF_UNIX;
  std::memcpy(receiver.sun_path, address.data(), address.size());
  if (address.front() == '@') {
    receiver.sun_path[0] = '\0';
  }
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size());
  [[maybe_unused]] const ssize_t sent = sendto(descriptor, message, std::strlen(message), MSG_NOSIGNAL,
                                               reinterpret_cast<const sockaddr*>(&receiver), length);
}

}  // namespace panel
