#pragma once

#include <filesystem>
#include <string>

namespace test {

/// A working directory of the test's own: the process is moved into it, and back at the end, when it is removed.
class TemporaryDirectory {
public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return directory; }

  /// The content of a file in it; empty when there is none.
  std::string read(const std::string& fileName) const;

private:
  std::filesystem::path previous;
  std::filesystem::path directory;
};

}  // namespace test
