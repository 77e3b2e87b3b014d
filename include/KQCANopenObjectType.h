#pragma once

namespace KQ {

/// CiA 301 object codes of the kinds of object that a node holds.
enum KQCANopenObjectType : int { OBJECT_TYPE_VAR = 7, OBJECT_TYPE_ARRAY = 8, OBJECT_TYPE_RECORD = 9 };

}  // namespace KQ
