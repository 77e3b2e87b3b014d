#pragma once

#include <string>

namespace KQ {

/// Diagnostic prints, switched on and off by section. A section is a part of the program that has
/// registered a name; each has a level, and a print of a higher level than that is left out. Every
/// operation may be called from any thread, and also before main() begins.
class KQDebug {
public:
  /// Level of a new section: errors (level 1 and below) are shown.
  static constexpr int DEFAULT_LEVEL = 1;

  /// Registers a section.
  /// @param name  shown before each line of the section.
  /// @return the number of the section, 0 or more; a name that is registered already keeps its number.
  static int insertNewDebugSection(const std::string& name);

  /// Prints one line to standard error, "name: text" and a line end, when level is not above the level
  /// of the section. Lines of different threads do not mix.
  /// @param level    0 or more; the more important, the lower.
  /// @param section  number of the section; an unknown one prints nothing.
  /// @param format   as of printf, without the line end.
  static void debugPrintError(int level, int section, const char* format, ...) __attribute__((format(printf, 3, 4)));

  /// @param level  prints of this level and below are shown; -1: none.
  /// @return 0; 23 when there is no such section.
  static int setLevel(int section, int level);

  /// @return the level of a section; -1 when there is no such section.
  static int getLevel(int section);
};

}  // namespace KQ
