#pragma once

#include "DeviceDescription.h"

namespace KQ {
class KQCANopen;
}

namespace panel {

/// Describes a node as it is configured at this moment, in the form that other tools read (CiA 306): its communication
/// objects with what they hold, its application objects with the values that they start with. Protocol thread, after
/// the node's init() and when its application is bound.
/// @param made when the description was made that the node comes from; empty texts: now
device_description::DeviceDescription describeNode(KQ::KQCANopen& node, const device_description::FileInfo& made);

}  // namespace panel
