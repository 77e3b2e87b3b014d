#include "KQEeprom.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <optional>
#include <string>

namespace KQ {

namespace {

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string withoutBlanks(const std::string& text) {
  const char* const blanks = " \t\r";
  const std::size_t first = text.find_first_not_of(blanks);
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// The value of the first line "key=value" of the file; empty when there is none.
std::string fileValue(const std::string& key) {
  const std::string fileName = environment("KQ_EEPROM_FILE");
  std::ifstream file;
  if (!fileName.empty()) {
    file.open(fileName);
  }
  for (std::string line; std::getline(file, line);) {
    const std::size_t equals = line.find('=');
    if (equals != std::string::npos && withoutBlanks(line.substr(0, equals)) == key) {
      return withoutBlanks(line.substr(equals + 1));
    }
  }
  return "";
}

std::optional<unsigned int> number(const std::string& text) {
  // strtoull would take a sign and turn "-1" into the largest number.
  if (text.empty() || std::isdigit(static_cast<unsigned char>(text.front())) == 0) {
    return std::nullopt;
  }
  char* end = nullptr;
  errno = 0;
  const unsigned long long value = std::strtoull(text.c_str(), &end, 0);
  if (*end != '\0' || errno != 0 || value > std::numeric_limits<unsigned int>::max()) {
    return std::nullopt;
  }
  return static_cast<unsigned int>(value);
}

}  // namespace

unsigned int KQEeprom::getProductType() {
  if (const auto value = number(environment("KQ_PRODUCT_TYPE"))) {
    return *value;
  }
  return number(fileValue("product_type")).value_or(DEFAULT_PRODUCT_TYPE);
}

std::string KQEeprom::getSerialNumber() {
  for (const std::string& value : {environment("KQ_SERIAL_NUMBER"), fileValue("serial_number")}) {
    if (!value.empty()) {
      return value;
    }
  }
  return DEFAULT_SERIAL_NUMBER;
}

}  // namespace KQ
