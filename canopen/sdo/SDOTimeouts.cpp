// The time-outs of both roles of the SDO handler.

#include <algorithm>

#include "KQCANopen.h"
#include "KQCANopenStateMachine.h"
#include "KQDEI.h"
#include "KQSDOAbortCode.h"
#include "KQSDOHandler.h"
#include "KQTick.h"
#include "ObjectKey.h"

namespace KQ {

void KQSDOHandler::checkSDOTimeouts(unsigned int* nextDue) {
  if (!isTransferPending()) {
    return;
  }
  const unsigned int now = KQTick::getTickCount();
  checkConfirmationTimeouts(now, nextDue);
  checkDownloadTimeout(now);
  checkUploadTimeout(KQTick::getTickCount());  // who heard of the one before may have begun another one
}

void KQSDOHandler::checkConfirmationTimeouts(unsigned int now, unsigned int* nextDue) {
  for (auto it = downloadResponses.begin(); it != downloadResponses.end();) {
    const SDODownloadResponseStorage& pending = it->second;
    const auto remaining = static_cast<int>(pending.deadline - now);
    if (remaining < 0) {
      sendSDOAbort(indexOf(it->first), subIndexOf(it->first), pending.requestCOBID, SDO_ABORT_TIMED_OUT);
      it = downloadResponses.erase(it);
      continue;
    }
    if (nextDue != nullptr) {
      *nextDue = std::min(*nextDue, static_cast<unsigned int>(remaining));
    }
    ++it;
  }
}

unsigned int KQSDOHandler::getTimeToNextWork(unsigned int now) const {
  const bool isReading = upload.inProgress || upload.responseCOBID != 0;
  if (hasDownloadRequests || (hasUploadRequests && upload.responseCOBID == 0)) {
    return 0;
  }
  unsigned int time = KQCANopenStateMachine::NO_WORK;
  if (isReading) {
    time = std::min(time, timeToTimeout(now, upload.tick));
  }
  if (download.inProgress) {
    time = std::min(time, timeToTimeout(now, download.tick));
  }
  for (const auto& item : downloadResponses) {
    const auto remaining = static_cast<int>(item.second.deadline - now);
    time = std::min(time, remaining < 0 ? 0U : static_cast<unsigned int>(remaining) + 1);
  }
  return time;
}

// A transfer times out when more than the time-out has passed.
unsigned int KQSDOHandler::timeToTimeout(unsigned int now, unsigned int lastStep) const {
  if (instance == nullptr) {
    return KQCANopenStateMachine::NO_WORK;
  }
  return isTimedOut(now, lastStep) ? 0 : instance->getSDOTimeout() - (now - lastStep) + 1;
}

bool KQSDOHandler::isTimedOut(unsigned int now, unsigned int lastStep) const {
  // The difference counts on over the wrap of the tick, a sum would not.
  return instance != nullptr && now - lastStep > instance->getSDOTimeout();
}

void KQSDOHandler::checkDownloadTimeout(unsigned int now) {
  if (!download.inProgress || !isTimedOut(now, download.tick)) {
    return;
  }
  // As client this is the COB-ID on which the server answers, not the one that the client sends on.
  const unsigned int cobID = download.isClient ? download.requestCOBID : download.responseCOBID;
  sendSDOAbort(download.index, download.subIndex, cobID, SDO_ABORT_TIMED_OUT);
  download.inProgress = false;
  signalSDOEvent(download.key(), false);
}

void KQSDOHandler::checkUploadTimeout(unsigned int now) {
  const bool isPending = upload.inProgress || upload.responseCOBID != 0;
  if (!isPending || !isTimedOut(now, upload.tick)) {
    return;
  }
  // A server hears of an object under its own key, a master under the key that it asked for.
  const unsigned int key = upload.isClient ? remoteKeyOf(upload.key()) : upload.key();
  sendSDOAbort(indexOf(key), subIndexOf(key), upload.responseCOBID, SDO_ABORT_TIMED_OUT);
  if (dei != nullptr) {
    dei->markValueAsInvalid(upload.index, upload.subIndex, true);
  }
  upload = Transfer();
}

}  // namespace KQ
