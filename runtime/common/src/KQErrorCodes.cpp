#include "KQErrorCodes.h"

namespace KQ {

const char* kqGetErrorString(int code) {
  switch (code) {
    case KQ_OK:
      return "no error";
    case KQ_DONE:
      return "done";
    case KQ_MISSING_OBJECT:
      return "missing object";
    case KQ_NO_DATA:
      return "no data";
    case KQ_NO_FREE_INDEX:
      return "no free index";
    case KQ_DISABLED:
      return "disabled";
    case KQ_UNEXPECTED:
      return "unexpected";
    case KQ_NOT_AVAILABLE:
      return "not available";
    case KQ_NOT_HANDLED:
      return "not handled";
    case KQ_VALUE_INVALID:
      return "value is invalid";
    case KQ_NOT_WRITTEN:
      return "not written";
    case KQ_MISMATCH:
      return "mismatch";
    case KQ_FILE_ERROR:
      return "file error";
    case KQ_DEFERRED:
      return "deferred";
    case KQ_INVALID_ARGUMENT:
      return "invalid argument";
    case KQ_NOT_FOUND:
      return "not found";
    case KQ_DOES_NOT_FIT:
      return "does not fit";
    case KQ_ALREADY_EXISTS:
      return "already exists";
    case KQ_NO_STORAGE_TYPE:
      return "no storage type";
    case KQ_NOT_PERMITTED:
      return "not permitted";
    case KQ_UNKNOWN_COMMAND:
      return "unknown command";
    default:
      return "unknown error";
  }
}

}  // namespace KQ
