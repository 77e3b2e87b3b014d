#include "KQErrorCodes.h"

namespace KQ {

const char* kqGetErrorString(int code) {
  return code == KQ_OK ? "no error" : "error";
}

}  // namespace KQ
