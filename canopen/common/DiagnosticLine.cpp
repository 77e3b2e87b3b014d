#include "DiagnosticLine.h"

#include <array>
#include <iostream>
#include <iterator>

namespace KQ {

namespace {

void print(std::ostream& stream, std::string line) {
  line += '\n';
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

void printErrorLine(const std::string& line) {
  print(std::cerr, line);
}

}  // namespace KQ
