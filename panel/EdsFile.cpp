#include "EdsFile.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>

#include "PanelError.h"

namespace panel {

namespace {

constexpr const char NODE_ID[] = "$NODEID";
constexpr std::size_t NODE_ID_LENGTH = sizeof NODE_ID - 1;

// The reader of the text does not say why it could not open the file.
const std::string& requireReadable(const std::string& fileName) {
  errno = 0;
  std::ifstream file(fileName);
  file.peek();
  if (!file.is_open() || file.bad() || errno == EISDIR) {
    throw PanelError("--app: cannot read '" + fileName + "': " + std::strerror(errno));
  }
  return fileName;
}

std::string withoutBlanksInUpperCase(const std::string& text) {
  std::string result;
  for (const char letter : text) {
    if (std::isspace(static_cast<unsigned char>(letter)) == 0) {
      result += static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    }
  }
  return result;
}

// Takes "$NODEID" and the plus sign that joins it to a number out of the text. @return whether it was there
bool removeNodeID(std::string& text) {
  const std::size_t position = text.find(NODE_ID);
  if (position == std::string::npos) {
    return false;
  }
  text.erase(position, NODE_ID_LENGTH);
  const std::size_t plus = position == 0 ? 0 : position - 1;
  if (text.empty()) {
    text = "0";
  } else if (text[plus] == '+') {
    text.erase(plus, 1);
  } else {
    text.clear();  // no number
  }
  return true;
}

// @param offset 0 to 127, added to the number
std::optional<EdsFile::Number> parseNumber(const std::string& text, int offset) {
  const char* const begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(begin, &end, 0);
  if (end == begin || *end != '\0' || errno != 0 || value > std::numeric_limits<long long>::max() - offset) {
    return std::nullopt;
  }
  return EdsFile::Number{value + offset, text.rfind("0X", 0) == 0};
}

}  // namespace

EdsFile::EdsFile(std::string fileName, unsigned char id)
    : name(std::move(fileName)), nodeID(id), reader(requireReadable(name)) {
  if (reader.ParseError() != 0) {
    throw PanelError(name + ": line " + std::to_string(reader.ParseError()) + " is neither a section nor a key");
  }
}

std::string EdsFile::getText(const std::string& section, const std::string& key) const {
  std::string text = reader.Get(section, key, "");
  if (text.find('\n') != std::string::npos) {
    fail(section, key, "is given more than once");
  }
  return text;
}

std::optional<EdsFile::Number> EdsFile::getNumber(const std::string& section, const std::string& key) const {
  const std::string text = getText(section, key);
  if (text.empty()) {
    return std::nullopt;
  }
  std::string digits = withoutBlanksInUpperCase(text);
  const bool dependsOnNode = removeNodeID(digits);
  const std::optional<Number> number = parseNumber(digits, dependsOnNode ? nodeID : 0);
  if (!number) {
    fail(section, key, "'" + text + "' is not a number");
  }
  return number;
}

long long EdsFile::getNumber(const std::string& section, const std::string& key, long long lowest,
                             long long highest) const {
  const std::optional<Number> number = getNumber(section, key);
  if (!number) {
    fail(section, key, "is missing");
  }
  if (number->value < lowest || number->value > highest) {
    fail(section, key, "'" + getText(section, key) + "' is out of range");
  }
  return number->value;
}

void EdsFile::fail(const std::string& section, const std::string& key, const std::string& reason) const {
  throw PanelError(name + ": [" + section + "] " + key + ": " + reason);
}

}  // namespace panel
