#pragma once

#include <string>

namespace fuzz {

/// A file in memory, for what is read by its name.
class TextFile {
public:
  TextFile();
  ~TextFile();
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  void write(const std::string& text);
  const std::string& getName() const { return name; }

private:
  const int descriptor;
  const std::string name;
};

}  // namespace fuzz
