#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace device_description {

enum class Severity {
  NOTE,     ///< worth knowing, nothing to mend
  WARNING,  ///< not as it should be, or not taken: the rest serves
  ERROR     ///< wrong: the file cannot be used as it stands
};

/// What was found out about a file: one line that names the file, the line or the section, the key, what was found and
/// what was expected.
struct Finding {
  Severity severity;
  std::string text;
};

/// "note", "warning", "error".
const char* getName(Severity severity);

/// The findings about one file, in the order in which they were made. One thread at a time.
class Findings {
public:
  void add(Severity severity, std::string text) { findings.push_back({severity, std::move(text)}); }

  /// The same, put together: "FILE: [section] key: reason". Without a key the section alone is named.
  void add(Severity severity, const std::string& fileName, const std::string& section, const std::string& key,
           const std::string& reason) {
    add(severity, fileName + ": [" + section + "] " + (key.empty() ? "" : key + ": ") + reason);
  }

  const std::vector<Finding>& getAll() const { return findings; }
  std::size_t count(Severity severity) const;

  /// The text of the first finding of this severity; empty without one.
  std::string getFirst(Severity severity) const;

private:
  std::vector<Finding> findings;
};

}  // namespace device_description
