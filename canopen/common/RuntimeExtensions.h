#pragma once

#include <string>
#include <type_traits>
#include <utility>

#include "KQErrorCodes.h"
#include "ObjectDictionarySubEntry.h"
#include "internal/KQFrameDispatch.h"

namespace KQ {

/// What a runtime may offer beyond the operations that every runtime has. Where it does, it is used; where it does not,
/// the node does the same at a higher cost. This file is the only one that knows of such operations. The benchmark
/// builds the stack also without them, to show what they pay.
namespace extension {

#ifndef TAVO_NO_RUNTIME_EXTENSIONS
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
#endif

/// Without them every frame is read and declined.
template <typename EndPoint>
void setReceptionFilter(EndPoint& /*endPoint*/, const KQFrameDispatch& /*dispatch*/, long /*fallback*/) {}
template <typename EndPoint>
bool lacksReceptionFilter(const EndPoint& /*endPoint*/, const KQFrameDispatch& /*dispatch*/, long /*fallback*/) {
  return false;
}

/// The variable of an object in the store, by the operations that every store has: looked up for each of them.
template <typename Store, typename = void>
class ObjectVariable {
public:
  ObjectVariable(Store& theStore, unsigned short theIndex, const ObjectDictionarySubEntry& subEntry)
      : store(theStore), index(theIndex), subIndex(subEntry.subIndex) {}

  int getValue(int& value) const { return store.getVariableValue(index, subIndex, &value); }
  int setValue(int value) const { return store.setVariableValue(index, subIndex, value, true, false); }
  int forceSetValue(int value, const std::string& ownerName) const {
    return store.forceSetVariableValue(index, subIndex, value, ownerName, true, false);
  }
  auto getOwner() const { return store.getVariableOwnerPointer(index, subIndex); }

private:
  Store& store;
  const unsigned short index;
  const unsigned char subIndex;
};

#ifndef TAVO_NO_RUNTIME_EXTENSIONS
/// The same with a store that hands the variable out, which then stands in the object's entry.
///
/// Asks for KQStoredVariable* KQDEI::findVariable(index, sub-index), null when there is none. What it gives out has the
/// operations of the store for that one variable, with the same results, and exists as long as the process.
template <typename Store>
class ObjectVariable<Store, std::void_t<decltype(std::declval<Store&>().findVariable(0, 0))>> {
public:
  ObjectVariable(Store& store, unsigned short index, ObjectDictionarySubEntry& subEntry)
      : variable(__atomic_load_n(&subEntry.storedVariable, __ATOMIC_ACQUIRE)) {
    if (variable == nullptr) {
      variable = store.findVariable(index, subEntry.subIndex);
      __atomic_store_n(&subEntry.storedVariable, variable, __ATOMIC_RELEASE);
    }
  }

  int getValue(int& value) const { return variable != nullptr ? variable->getVariableValue(&value) : KQ_NOT_FOUND; }
  int setValue(int value) const { return variable != nullptr ? variable->setVariableValue(value, true) : KQ_NOT_FOUND; }
  int forceSetValue(int value, const std::string& ownerName) const {
    return variable != nullptr ? variable->forceSetVariableValue(value, ownerName, true) : KQ_NOT_FOUND;
  }
  auto getOwner() const { return variable != nullptr ? variable->getVariableOwnerPointer() : nullptr; }

private:
  decltype(std::declval<Store&>().findVariable(0, 0)) variable;
};
#endif

}  // namespace extension

}  // namespace KQ
