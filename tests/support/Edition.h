#pragma once

#include <functional>
#include <memory>

#include "KQEndPoint.h"

/// What the tests need of the edition of the runtime on which they run, beyond what the stack calls. Each edition has a
/// folder with its own Edition.cpp and EditionEndPoint.h: support/host and board/support.
namespace test::edition {

/// Puts another clock in place of the runtime's; null: back to that. It may be asked on any thread.
void setClock(unsigned int (*clock)());

/// The same for the wall clock: seconds since 1970.
void setWallClock(long (*clock)());

/// Forgets every variable and every registration for changes.
void clearStore();

/// Whether the runtime's debug facility prints; it does at first.
void printDebugLines(bool print);

/// Says how a CAN port is opened, by its number.
void bindPort(unsigned int number, std::function<std::unique_ptr<KQ::KQEndPoint>()> open);
/// A port whose end points are on one bus: each sees what the others send.
void bindBus(unsigned int number);
void unbindPort(unsigned int number);
/// One more end point on a port.
std::unique_ptr<KQ::KQEndPoint> openPort(unsigned int number);

}  // namespace test::edition
