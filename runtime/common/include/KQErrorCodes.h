#pragma once

namespace KQ {

// Result codes that the runtime libraries and the protocols on top of them share. Every operation reports its outcome
// as an int.

inline constexpr int KQ_OK = 0;                 ///< success
inline constexpr int KQ_DONE = 1;               ///< completed, nothing more to report
inline constexpr int KQ_MISSING_OBJECT = 3;     ///< an object that the operation needs does not exist
inline constexpr int KQ_NO_DATA = 5;            ///< nothing (more) to read
inline constexpr int KQ_NO_FREE_INDEX = 6;      ///< every index of the range is taken
inline constexpr int KQ_DISABLED = 7;           ///< switched off
inline constexpr int KQ_UNEXPECTED = 8;         ///< does not belong to what is in progress
inline constexpr int KQ_NOT_AVAILABLE = 10;     ///< a component is missing, or the current state does not allow it
inline constexpr int KQ_NOT_HANDLED = 11;       ///< meant for somebody else
inline constexpr int KQ_VALUE_INVALID = 12;     ///< a value was delivered, but it is marked invalid
inline constexpr int KQ_NOT_WRITTEN = 13;       ///< the value could not be written
inline constexpr int KQ_MISMATCH = 15;          ///< the parts do not fit together
inline constexpr int KQ_FILE_ERROR = 16;        ///< a file could not be opened or used
inline constexpr int KQ_DEFERRED = 17;          ///< not now; to be tried again later
inline constexpr int KQ_INVALID_ARGUMENT = 20;  ///< null, out of range or of the wrong kind
inline constexpr int KQ_NOT_FOUND = 23;         ///< no such object
inline constexpr int KQ_DOES_NOT_FIT = 24;      ///< too large for its destination
inline constexpr int KQ_ALREADY_EXISTS = 25;    ///< the key is taken
inline constexpr int KQ_NO_STORAGE_TYPE = 29;   ///< the data type has no storage type
inline constexpr int KQ_NOT_PERMITTED = 30;     ///< the caller may not do this
inline constexpr int KQ_UNKNOWN_COMMAND = 35;   ///< no such command, or refused

/// The English text of a result code, for diagnostics.
/// @param code  any int; need not be one of these.
/// @return a text of static lifetime, never null; "unknown error" for a code that is not listed above.
/// May be called from any thread.
const char* kqGetErrorString(int code);

}  // namespace KQ
