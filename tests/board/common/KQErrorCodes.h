#pragma once

namespace KQ {

/// The result codes by number; their meanings are in docs/porting.md.
inline constexpr int KQ_OK = 0;
inline constexpr int KQ_DONE = 1;
inline constexpr int KQ_MISSING_OBJECT = 3;
inline constexpr int KQ_NO_DATA = 5;
inline constexpr int KQ_NO_FREE_INDEX = 6;
inline constexpr int KQ_DISABLED = 7;
inline constexpr int KQ_UNEXPECTED = 8;
inline constexpr int KQ_NOT_AVAILABLE = 10;
inline constexpr int KQ_NOT_HANDLED = 11;
inline constexpr int KQ_VALUE_INVALID = 12;
inline constexpr int KQ_NOT_WRITTEN = 13;
inline constexpr int KQ_MISMATCH = 15;
inline constexpr int KQ_FILE_ERROR = 16;
inline constexpr int KQ_DEFERRED = 17;
inline constexpr int KQ_INVALID_ARGUMENT = 20;
inline constexpr int KQ_NOT_FOUND = 23;
inline constexpr int KQ_DOES_NOT_FIT = 24;
inline constexpr int KQ_ALREADY_EXISTS = 25;
inline constexpr int KQ_NO_STORAGE_TYPE = 29;
inline constexpr int KQ_NOT_PERMITTED = 30;
inline constexpr int KQ_UNKNOWN_COMMAND = 35;

const char* kqGetErrorString(int code);

}  // namespace KQ
