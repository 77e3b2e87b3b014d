#include "KQSocketCANEndPoint.h"

#include <linux/can/error.h>
#include <net/if.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "TickDelay.h"

namespace KQ {

namespace {

constexpr unsigned CONTROLLER_OVERFLOW = CAN_ERR_CRTL_RX_OVERFLOW | CAN_ERR_CRTL_TX_OVERFLOW;
constexpr unsigned CONTROLLER_WARNING = CAN_ERR_CRTL_RX_WARNING | CAN_ERR_CRTL_TX_WARNING;
constexpr unsigned CONTROLLER_PASSIVE = CAN_ERR_CRTL_RX_PASSIVE | CAN_ERR_CRTL_TX_PASSIVE;
// As of CAN_ERR_CRTL_ACTIVE, which older kernel headers lack.
constexpr unsigned CONTROLLER_ACTIVE = 0x40;
// The kernel retries nothing by itself and gives no event when the interface's queue has room again.
constexpr unsigned INTERFACE_FULL_RETRY_MS = 1;

// True for the errors by which the kernel says that the interface is down, gone, or not bound any more.
bool meansInterfaceDown(int error) {
  return error == -ENETDOWN || error == -ENODEV || error == -ENXIO;
}

bool meansSocketFull(int error) {
  return error == -EAGAIN || error == -EWOULDBLOCK || error == -EINTR;
}

can_frame toKernelFrame(const KQBusFrame& frame) {
  can_frame result{};
  result.can_id = frame.identifier;
  result.can_dlc = frame.length;
  std::memcpy(result.data, frame.data, sizeof result.data);
  return result;
}

// What the kernel takes (CAN_RAW_FILTER_MAX).
constexpr std::size_t LARGEST_FILTER = 512;

// The wanted identifiers from first on in as few filters as there are blocks of them: a filter can name 1, 2, 4,
// ... neighbours.
void addFilters(const KQReceptionFilter& wanted, unsigned first, unsigned count, std::vector<can_filter>& filters) {
  unsigned number = 0;
  for (unsigned identifier = first; identifier < first + count; ++identifier) {
    number += wanted.contains(identifier) ? 1U : 0U;
  }
  if (number == count) {
    // Only data frames of 11 bits.
    filters.push_back({first, (CAN_SFF_MASK & ~(count - 1U)) | CAN_EFF_FLAG | CAN_RTR_FLAG});
  } else if (number > 0) {
    addFilters(wanted, first, count / 2, filters);
    addFilters(wanted, first + count / 2, count / 2, filters);
  }
}

std::string explainOpenFailure(int error) {
  if (error == -EAFNOSUPPORT || error == -EPROTONOSUPPORT) {
    return "this kernel has no CAN support";
  }
  return std::strerror(-error);
}

std::string explainBindFailure(int error) {
  return error == -ENODEV ? "not a CAN interface" : std::strerror(-error);
}

// Binds a fresh socket. @return what went wrong, empty when nothing did
std::string bindToInterface(KQCANSocketCalls& calls, int descriptor, const std::string& interfaceName) {
  const int index = calls.findInterface(descriptor, interfaceName);
  if (index < 0) {
    return index == -ENODEV ? "no such interface" : std::strerror(-index);
  }
  const int result = calls.bindSocket(descriptor, index);
  return result < 0 ? explainBindFailure(result) : std::string();
}

}  // namespace

std::unique_ptr<KQSocketCANEndPoint> KQSocketCANEndPoint::open(const std::string& interfaceName, std::string& error,
                                                               KQCANSocketCalls* calls) {
  error.clear();
  const std::string prefix = "socketcan:" + interfaceName + ": ";
  const int descriptor = calls->openSocket();
  if (descriptor < 0) {
    error = prefix + explainOpenFailure(descriptor);
    return nullptr;
  }
  const std::string failure = bindToInterface(*calls, descriptor, interfaceName);
  if (!failure.empty()) {
    calls->closeSocket(descriptor);
    error = prefix + failure;
    return nullptr;
  }
  std::unique_ptr<KQSocketCANEndPoint> endPoint(new KQSocketCANEndPoint(interfaceName, descriptor, calls));
  if (!endPoint->interfaceHas(IFF_UP)) {
    endPoint->goDown(Outage::INTERFACE_DOWN, "interface is down");
  }
  return endPoint;
}

KQSocketCANEndPoint::KQSocketCANEndPoint(std::string interfaceName, int openDescriptor, KQCANSocketCalls* socketCalls)
    : KQEndPoint("socketcan:" + interfaceName),
      interface(std::move(interfaceName)),
      descriptor(openDescriptor),
      calls(socketCalls),
      queue(TRANSMIT_CAPACITY) {}

KQSocketCANEndPoint::~KQSocketCANEndPoint() {
  calls->closeSocket(descriptor);
}

// ---- Reading

int KQSocketCANEndPoint::doRead(KQCANMessage& message) {
  for (;;) {
    while (nextReceived < receivedCount) {
      if (acceptReceived(batch[nextReceived++], message)) {
        return KQ_OK;
      }
    }
    if (isEmptied) {
      isEmptied = false;
      return isConnected() ? KQ_NO_DATA : KQ_NOT_AVAILABLE;
    }
    if (!isConnected()) {
      service();
    }
    const int result = receiveBatch();
    if (result != KQ_OK) {
      return result;
    }
  }
}

int KQSocketCANEndPoint::receiveBatch() {
  nextReceived = 0;
  receivedCount = 0;
  const int result = calls->receive(descriptor, batch.data(), wanted);
  if (result > 0) {
    receivedCount = static_cast<unsigned>(result);
    isEmptied = receivedCount < wanted;
    wanted = isEmptied ? USUAL_BATCH : static_cast<unsigned>(batch.size());
    return KQ_OK;
  }
  wanted = USUAL_BATCH;
  if (meansInterfaceDown(result)) {
    goDown(Outage::INTERFACE_DOWN, "interface is down");
  }
  return isConnected() ? KQ_NO_DATA : KQ_NOT_AVAILABLE;
}

// Fills the message with a received frame. @return false: it is not one for readMessage
bool KQSocketCANEndPoint::acceptReceived(const KQCANSocketCalls::Received& received, KQCANMessage& message) {
  countLost(received.lost);
  const canfd_frame& frame = received.frame;
  const bool isClassic = received.size == CAN_MTU && frame.len <= CAN_MAX_DLEN;
  if (isClassic && (frame.can_id & CAN_ERR_FLAG) != 0) {
    handleErrorFrame(frame.can_id, frame.data[1]);
    return false;
  }
  comeBack(Outage::BUS_OFF, "the bus is back after bus-off");
  if (!isClassic || (frame.can_id & ~CAN_SFF_MASK) != 0) {
    count(counters_.dropped);
    return false;
  }
  message.identifier = frame.can_id;
  message.length = frame.len;
  std::memcpy(message.data, frame.data, sizeof message.data);
  message.flags = 0;
  return true;
}

void KQSocketCANEndPoint::countLost(unsigned lostInAll) {
  // The kernel says a number only with frames behind a loss; 0 is silence, not a number.
  if (lostInAll == 0 || lostInAll == lostBefore) {
    return;
  }
  noteOverrun(lostInAll - lostBefore);
  lostBefore = lostInAll;
}

void KQSocketCANEndPoint::noteOverrun(unsigned number) {
  count(counters_.overruns, number);
  overrunTick = KQTick::getTickCount();
  if (!overrun) {
    overrun = true;
    printLine("frames are being lost: overrun");
  }
}

void KQSocketCANEndPoint::endOverrunWhenQuiet() {
  if (overrun && remainingDelay(overrunTick, OVERRUN_QUIET_MS) == 0) {
    overrun = false;
    printLine("no frames are being lost any more");
  }
}

void KQSocketCANEndPoint::handleErrorFrame(unsigned errorClasses, unsigned char controllerState) {
  count(counters_.errorFrames);
  if ((errorClasses & CAN_ERR_CRTL) != 0) {
    handleControllerState(controllerState);
  }
  if ((errorClasses & CAN_ERR_BUSOFF) != 0) {
    count(counters_.busOff);
    goDown(Outage::BUS_OFF, "the controller is bus-off");
  }
  if ((errorClasses & CAN_ERR_RESTARTED) != 0) {
    setErrorPassive(false);
    comeBack(Outage::BUS_OFF, "the controller was restarted after bus-off");
  }
}

void KQSocketCANEndPoint::handleControllerState(unsigned state) {
  if ((state & CONTROLLER_OVERFLOW) != 0) {
    noteOverrun(1);
  }
  if ((state & CONTROLLER_PASSIVE) != 0) {
    setErrorPassive(true);
  } else if ((state & (CONTROLLER_WARNING | CONTROLLER_ACTIVE)) != 0) {
    setErrorPassive(false);
  }
}

void KQSocketCANEndPoint::setErrorPassive(bool passive) {
  if (errorPassive == passive) {
    return;
  }
  errorPassive = passive;
  if (passive) {
    count(counters_.errorPassive);
  }
  printLine(passive ? "the controller is error-passive" : "the controller is error-active again");
}

void KQSocketCANEndPoint::doSetFilter(const KQReceptionFilter* filter) {
  std::vector<can_filter> filters;
  if (filter != nullptr) {
    addFilters(*filter, 0, KQReceptionFilter::COUNT, filters);
  }
  const bool isTooLong = filters.size() > LARGEST_FILTER;
  const bool isSet = filter != nullptr && !isTooLong &&
                     calls->setFilters(descriptor, filters.data(), static_cast<unsigned>(filters.size())) >= 0;
  if (!isSet) {
    // What was set before must not stay: it may hold back what is wanted now.
    const can_filter all{0, 0};
    calls->setFilters(descriptor, &all, 1);
  }
}

// ---- Writing

int KQSocketCANEndPoint::doWrite(const KQCANMessage& message) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (currentOutage != Outage::NONE) {
    return KQ_NOT_AVAILABLE;
  }
  const KQBusFrame frame = KQBusFrame::fromMessage(message);
  if (queue.isEmpty()) {
    return sendOrQueue(frame);
  }
  if (queue.getRoom() == 0 && sendQueued() == KQ_NOT_AVAILABLE) {
    return KQ_NOT_AVAILABLE;
  }
  return queue.push(frame) ? KQ_OK : KQ_DEFERRED;
}

int KQSocketCANEndPoint::sendOrQueue(const KQBusFrame& frame) {
  const int result = calls->send(descriptor, toKernelFrame(frame));
  if (result == 0) {
    return KQ_OK;
  }
  if (!noteObstacle(result)) {
    noteSendFailure(result);
    return KQ_NOT_AVAILABLE;
  }
  queue.push(frame);
  wakeManager();
  return KQ_OK;
}

int KQSocketCANEndPoint::flush() {
  const std::lock_guard<std::mutex> lock(mutex);
  return currentOutage != Outage::NONE ? KQ_NOT_AVAILABLE : sendQueued();
}

int KQSocketCANEndPoint::sendQueued() {
  while (!queue.isEmpty()) {
    const int result = calls->send(descriptor, toKernelFrame(queue.getFront()));
    if (result < 0 && noteObstacle(result)) {
      return KQ_NO_DATA;
    }
    if (result < 0 && noteSendFailure(result)) {
      return KQ_NOT_AVAILABLE;
    }
    // A frame that the kernel does not want at all must not stand in the way of those behind it.
    if (result < 0) {
      count(counters_.discarded);
    }
    queue.pop();
  }
  setObstacle(Obstacle::NONE);
  return KQ_OK;
}

// @return true: the error says that there is no room at the moment
bool KQSocketCANEndPoint::noteObstacle(int error) {
  if (error != -ENOBUFS && !meansSocketFull(error)) {
    return false;
  }
  setObstacle(error == -ENOBUFS ? Obstacle::INTERFACE_FULL : Obstacle::SOCKET_FULL);
  return true;
}

void KQSocketCANEndPoint::setObstacle(Obstacle found) {
  obstacle = found;
  obstacleTick = KQTick::getTickCount();
  noteHindrance();
}

// @return true: the error says that the port is down, and now it is
bool KQSocketCANEndPoint::noteSendFailure(int error) {
  if (!meansInterfaceDown(error)) {
    return false;
  }
  beginOutage(Outage::INTERFACE_DOWN, "interface is down");
  return true;
}

bool KQSocketCANEndPoint::wantsWritable() const {
  if (!isHindered) {
    return false;
  }
  const std::lock_guard<std::mutex> lock(mutex);
  return obstacle == Obstacle::SOCKET_FULL;
}

// ---- Going down and coming back

void KQSocketCANEndPoint::goDown(Outage outage, const char* reason) {
  const std::lock_guard<std::mutex> lock(mutex);
  beginOutage(outage, reason);
}

// With the lock held. An interface that is down is down for a bus-off controller too, but not the other way round.
void KQSocketCANEndPoint::beginOutage(Outage outage, const char* reason) {
  if (currentOutage == outage || currentOutage == Outage::INTERFACE_DOWN) {
    return;
  }
  currentOutage = outage;
  outageTick = KQTick::getTickCount();
  retryTick = outageTick;
  count(counters_.discarded, static_cast<unsigned>(queue.getCount()));
  queue.clear();
  obstacle = Obstacle::NONE;
  noteHindrance();
  setConnected(false, reason);
}

// Ends an outage of that kind; another one goes on.
void KQSocketCANEndPoint::comeBack(Outage outage, const char* reason) {
  if (isConnected()) {
    return;
  }
  const std::lock_guard<std::mutex> lock(mutex);
  if (currentOutage != outage) {
    return;
  }
  currentOutage = Outage::NONE;
  noteHindrance();
  setConnected(true, reason);
}

int KQSocketCANEndPoint::getServiceDelay() const {
  int delay = overrun ? remainingDelay(overrunTick, OVERRUN_QUIET_MS) : -1;
  if (!isHindered) {
    return delay;
  }
  const std::lock_guard<std::mutex> lock(mutex);
  if (obstacle == Obstacle::INTERFACE_FULL) {
    delay = shorterDelay(delay, remainingDelay(obstacleTick, INTERFACE_FULL_RETRY_MS));
  }
  if (currentOutage != Outage::NONE) {
    delay = shorterDelay(delay, remainingDelay(retryTick, RETRY_MS));
  }
  return delay;
}

void KQSocketCANEndPoint::service() {
  endOverrunWhenQuiet();
  Outage outage = Outage::NONE;
  bool isLongOutage = false;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    if (obstacle == Obstacle::INTERFACE_FULL && remainingDelay(obstacleTick, INTERFACE_FULL_RETRY_MS) == 0) {
      sendQueued();
    }
    if (currentOutage == Outage::NONE || remainingDelay(retryTick, RETRY_MS) > 0) {
      return;
    }
    retryTick = KQTick::getTickCount();
    outage = currentOutage;
    isLongOutage = remainingDelay(outageTick, BUS_OFF_MS) == 0;
  }
  tryToReturn(outage, isLongOutage);
}

void KQSocketCANEndPoint::tryToReturn(Outage outage, bool isLongOutage) {
  if (outage == Outage::INTERFACE_DOWN) {
    if (bindAgain()) {
      comeBack(outage, "interface is up again");
    }
    return;
  }
  if (!interfaceHas(IFF_UP)) {
    goDown(Outage::INTERFACE_DOWN, "interface is down");
    return;
  }
  // A driver need not announce its restart, and the flag follows the controller with a delay.
  if (isLongOutage && interfaceHas(IFF_RUNNING)) {
    comeBack(outage, "the interface runs again after bus-off");
  }
}

// Binds to the interface again: one that was unplugged comes back with another index.
bool KQSocketCANEndPoint::bindAgain() {
  const int index = calls->findInterface(descriptor, interface);
  if (index < 0 || !interfaceHas(IFF_UP)) {
    return false;
  }
  // The error of going down may still be pending; read later it would look like a new one.
  calls->clearError(descriptor);
  if (calls->bindSocket(descriptor, index) < 0) {
    return false;
  }
  applyFilter();
  return true;
}

bool KQSocketCANEndPoint::interfaceHas(int flag) const {
  const int flags = calls->getInterfaceFlags(descriptor, interface);
  return flags >= 0 && (flags & flag) != 0;
}

}  // namespace KQ
