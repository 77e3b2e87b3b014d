#include "TemporaryDirectory.h"

#include <stdlib.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace test {

TemporaryDirectory::TemporaryDirectory() : previous(std::filesystem::current_path()) {
  std::string name = (std::filesystem::temp_directory_path() / "tavo-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("no temporary directory: " + name);
  }
  directory = name;
  std::filesystem::current_path(directory);
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::current_path(previous, ignored);
  std::filesystem::permissions(directory, std::filesystem::perms::owner_all, ignored);
  std::filesystem::remove_all(directory, ignored);
}

std::string TemporaryDirectory::read(const std::string& fileName) const {
  const std::ifstream file(directory / fileName);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

}  // namespace test
