#pragma once

#include <string>

namespace KQ {

class KQDebug {
public:
  static int insertNewDebugSection(const std::string& name);
  static void debugPrintError(int level, int section, const char* format, ...) __attribute__((format(printf, 3, 4)));
};

}  // namespace KQ
