#include "DiagnosticLine.h"

#include <array>
#include <iostream>
#include <iterator>
#include <mutex>

namespace KQ {

namespace {

// Nodes of one process may run on several threads, and what the application has put behind a stream need not be able
// to take that.
std::mutex printing;

void print(std::ostream& stream, std::string line) {
  line += '\n';
  const std::lock_guard<std::mutex> lock(printing);
  // Unformatted, so that the stream's flags play no part.
  stream.write(line.data(), static_cast<std::streamsize>(line.size()));
  stream.flush();
}

}  // namespace

std::string hexadecimal(unsigned int value) {
  std::array<char, 2 * sizeof value> digits;
  auto first = digits.end();
  do {
    *--first = "0123456789abcdef"[value & 0xFU];
    value >>= 4;
  } while (value != 0);
  return std::string(first, digits.end());
}

void printLine(const std::string& line) {
  print(std::cout, line);
}

void countInTens() {
  const std::lock_guard<std::mutex> lock(printing);
  std::cout << std::dec;
}

void printErrorLine(const std::string& line) {
  print(std::cerr, line);
}

}  // namespace KQ
