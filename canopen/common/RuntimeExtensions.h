#pragma once

#include "KQFrameDispatch.h"

namespace KQ {

/// What a runtime may offer beyond the operations that every runtime has. Where it does, it is used; where it does not,
/// the node does the same at a higher cost. This file is the only one that knows of such operations.
namespace extension {

template <typename EndPoint, typename Filter>
Filter filterOf(void (EndPoint::*)(const Filter*));

/// Tells the port which frames the node serves, so that others need not wake it.
///
/// Asks for KQEndPoint::setReceptionFilter(const Filter*), where null stands for every frame and a Filter takes
/// identifiers by add(unsigned int). It has to hold for every frame that arrives after its return. And for
/// KQEndPoint::hasReceptionFilter(), which tells a port that was opened anew from one that has been told.
template <typename EndPoint>
auto setReceptionFilter(EndPoint& endPoint, const KQFrameDispatch& dispatch, int /*preferred*/)
    -> decltype(endPoint.setReceptionFilter(nullptr)) {
  if (dispatch.servesEveryFrame()) {
    endPoint.setReceptionFilter(nullptr);
    return;
  }
  decltype(filterOf(&EndPoint::setReceptionFilter)) filter;
  for (unsigned int identifier = 0; identifier < KQServedCOBIDs::COUNT; ++identifier) {
    if (dispatch.serves(identifier)) {
      filter.add(identifier);
    }
  }
  endPoint.setReceptionFilter(&filter);
}

template <typename EndPoint>
auto lacksReceptionFilter(const EndPoint& endPoint, const KQFrameDispatch& dispatch, int /*preferred*/)
    -> decltype(endPoint.hasReceptionFilter()) {
  return !dispatch.servesEveryFrame() && !endPoint.hasReceptionFilter();
}

/// Without them every frame is read and declined.
template <typename EndPoint>
void setReceptionFilter(EndPoint& /*endPoint*/, const KQFrameDispatch& /*dispatch*/, long /*fallback*/) {}
template <typename EndPoint>
bool lacksReceptionFilter(const EndPoint& /*endPoint*/, const KQFrameDispatch& /*dispatch*/, long /*fallback*/) {
  return false;
}

}  // namespace extension

}  // namespace KQ
