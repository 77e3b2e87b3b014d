#pragma once

namespace panel {

/// The files of the page, as they stand in the folder panel/page.
struct PageFiles {
  static const char* const HTML;
  static const char* const STYLE;
  static const char* const SCRIPT;
};

}  // namespace panel
