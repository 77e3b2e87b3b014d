#pragma once

namespace KQ {

class KQCANMessage;
class KQCANopen;
class KQDEI;
class KQPDO;

/// Takes the values out of the frame of an RPDO and reports it: received, and back when its reception had timed out.
/// A frame that cannot be unpacked is reported to no one.
void applyReceivedFrame(KQPDO& pdo, KQCANMessage& message, KQDEI* dei, KQCANopen* instance);

}  // namespace KQ
