#include "BenchEnvironment.h"

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <string>
#include <system_error>

#include "KQTick.h"

namespace bench {

namespace {

constexpr unsigned int START = 100000;

unsigned int tick = START;

unsigned int readTick() {
  return tick;
}

std::filesystem::path createDirectory() {
  std::string name = (std::filesystem::temp_directory_path() / "tavo-bench-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), name);
  }
  return name;
}

}  // namespace

BenchEnvironment::BenchEnvironment()
    : previousDirectory(std::filesystem::current_path()),
      directory(createDirectory()),
      output(std::cout.rdbuf(&nullBuffer)) {
  std::filesystem::current_path(directory);
  tick = START;
  KQ::KQTick::setSource(readTick);
}

BenchEnvironment::~BenchEnvironment() {
  KQ::KQTick::setSource(nullptr);
  std::cout.rdbuf(output);
  std::error_code ignored;
  std::filesystem::current_path(previousDirectory, ignored);
  std::filesystem::remove_all(directory, ignored);
}

unsigned int BenchEnvironment::now() {
  return tick;
}

void BenchEnvironment::advance(unsigned int milliseconds) {
  tick += milliseconds;
}

}  // namespace bench
