#pragma once

namespace KQ {

/// The result codes by number; their meanings are in docs/porting.md.
enum KQErrorCode : int {
  KQ_OK = 0,
  KQ_DONE = 1,
  KQ_MISSING_OBJECT = 3,
  KQ_NO_DATA = 5,
  KQ_NO_FREE_INDEX = 6,
  KQ_DISABLED = 7,
  KQ_UNEXPECTED = 8,
  KQ_NOT_AVAILABLE = 10,
  KQ_NOT_HANDLED = 11,
  KQ_VALUE_INVALID = 12,
  KQ_NOT_WRITTEN = 13,
  KQ_MISMATCH = 15,
  KQ_FILE_ERROR = 16,
  KQ_DEFERRED = 17,
  KQ_INVALID_ARGUMENT = 20,
  KQ_NOT_FOUND = 23,
  KQ_DOES_NOT_FIT = 24,
  KQ_ALREADY_EXISTS = 25,
  KQ_NO_STORAGE_TYPE = 29,
  KQ_NOT_PERMITTED = 30,
  KQ_UNKNOWN_COMMAND = 35
};

const char* kqGetErrorString(int code);

}  // namespace KQ
