#pragma once

namespace KQ {

/// Result codes that the runtime libraries and the protocols on top of them share. Every operation
/// reports its outcome as an int; the enumeration is unscoped so that a code converts to it.
enum KQErrorCode : int {
  KQ_OK = 0,                 ///< success
  KQ_DONE = 1,               ///< completed, nothing more to report
  KQ_MISSING_OBJECT = 3,     ///< an object that the operation needs does not exist
  KQ_NO_DATA = 5,            ///< nothing (more) to read
  KQ_NO_FREE_INDEX = 6,      ///< every index of the range is taken
  KQ_DISABLED = 7,           ///< switched off
  KQ_UNEXPECTED = 8,         ///< does not belong to what is in progress
  KQ_NOT_AVAILABLE = 10,     ///< a component is missing, or the current state does not allow it
  KQ_NOT_HANDLED = 11,       ///< meant for somebody else
  KQ_VALUE_INVALID = 12,     ///< a value was delivered, but it is marked invalid
  KQ_NOT_WRITTEN = 13,       ///< the value could not be written
  KQ_MISMATCH = 15,          ///< the parts do not fit together
  KQ_FILE_ERROR = 16,        ///< a file could not be opened or used
  KQ_DEFERRED = 17,          ///< not now; to be tried again later
  KQ_INVALID_ARGUMENT = 20,  ///< null, out of range or of the wrong kind
  KQ_NOT_FOUND = 23,         ///< no such object
  KQ_DOES_NOT_FIT = 24,      ///< too large for its destination
  KQ_ALREADY_EXISTS = 25,    ///< the key is taken
  KQ_NO_STORAGE_TYPE = 29,   ///< the data type has no storage type
  KQ_NOT_PERMITTED = 30,     ///< the caller may not do this
  KQ_UNKNOWN_COMMAND = 35    ///< no such command, or refused
};

/// The English text of a result code, for diagnostics.
/// @param code  any int; need not be a KQErrorCode.
/// @return a text of static lifetime, never null; "unknown error" for a code that is not listed above.
/// May be called from any thread.
const char* kqGetErrorString(int code);

}  // namespace KQ
