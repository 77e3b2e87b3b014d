#include "KQDebug.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "KQErrorCodes.h"

namespace KQ {

namespace {

struct Section {
  std::string name;
  int level;
};

struct Sections {
  Section* find(int number) {
    const bool known = number >= 0 && static_cast<std::size_t>(number) < list.size();
    return known ? &list[static_cast<std::size_t>(number)] : nullptr;
  }

  std::mutex mutex;
  std::vector<Section> list;
};

// Sections are registered while libraries are loaded and used until the process ends, so that they
// exist from the first call on and are never destroyed.
Sections& sections() {
  static Sections* const theSections = new Sections;
  return *theSections;
}

}  // namespace

int KQDebug::insertNewDebugSection(const std::string& name) {
  Sections& all = sections();
  const std::lock_guard<std::mutex> lock(all.mutex);
  for (std::size_t number = 0; number < all.list.size(); ++number) {
    if (all.list[number].name == name) {
      return static_cast<int>(number);
    }
  }
  all.list.push_back({name, DEFAULT_LEVEL});
  return static_cast<int>(all.list.size()) - 1;
}

void KQDebug::debugPrintError(int level, int section, const char* format, ...) {
  std::string line;
  {
    Sections& all = sections();
    const std::lock_guard<std::mutex> lock(all.mutex);
    const Section* found = all.find(section);
    if (found == nullptr || level > found->level || format == nullptr) {
      return;
    }
    line = found->name + ": ";
  }
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  const std::size_t prefix = line.size();
  line.resize(prefix + (length > 0 ? static_cast<std::size_t>(length) : 0U));
  va_start(arguments, format);
  // The terminating zero goes where the string keeps its own.
  std::vsnprintf(&line[prefix], line.size() - prefix + 1, format, arguments);
  va_end(arguments);
  line += '\n';
  // One call for the whole line: the stream's own lock keeps the lines of threads apart.
  std::fwrite(line.data(), 1, line.size(), stderr);
}

int KQDebug::setLevel(int section, int level) {
  Sections& all = sections();
  const std::lock_guard<std::mutex> lock(all.mutex);
  Section* found = all.find(section);
  if (found == nullptr) {
    return KQ_NOT_FOUND;
  }
  found->level = level;
  return KQ_OK;
}

int KQDebug::getLevel(int section) {
  Sections& all = sections();
  const std::lock_guard<std::mutex> lock(all.mutex);
  const Section* found = all.find(section);
  return found != nullptr ? found->level : -1;
}

}  // namespace KQ
