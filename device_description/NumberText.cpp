#include "NumberText.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <limits>

namespace device_description {

namespace {

constexpr const char NODE_ID[] = "$NODEID";
constexpr std::size_t NODE_ID_LENGTH = sizeof NODE_ID - 1;

std::string withoutBlanksInUpperCase(const std::string& text) {
  std::string result;
  for (const char letter : text.substr(0, text.find(';'))) {
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
  } else if (text[plus] == '+' && std::isdigit(static_cast<unsigned char>(text[plus == 0 ? 1 : 0])) != 0) {
    text.erase(plus, 1);
  } else {
    text.clear();  // no number
  }
  return true;
}

}  // namespace

std::optional<NumberText> NumberText::parse(const std::string& text, unsigned char nodeID) {
  NumberText number;
  std::string digits = withoutBlanksInUpperCase(text);
  number.dependsOnNodeID = removeNodeID(digits);
  number.isNegative = !digits.empty() && digits[0] == '-';
  digits.erase(0, number.isNegative ? 1 : 0);
  number.isHexadecimal = digits.rfind("0X", 0) == 0;
  if (digits.empty() || std::isdigit(static_cast<unsigned char>(digits[0])) == 0) {
    return std::nullopt;
  }
  char* end = nullptr;
  errno = 0;
  number.magnitude = std::strtoull(digits.c_str(), &end, 0);
  const unsigned int added = number.dependsOnNodeID ? nodeID : 0;
  if (*end != '\0' || errno != 0 || number.magnitude > std::numeric_limits<unsigned long long>::max() - added) {
    return std::nullopt;
  }
  number.magnitude += added;
  return number;
}

std::optional<Value> NumberText::as(const IntegerType& type) const {
  const unsigned long long half = 1ULL << (type.bits - 1);
  const unsigned long long highest = type.isSigned ? half - 1 : half - 1 + half;
  if (isNegative) {
    const bool fits = magnitude <= (type.isSigned ? half : 0);
    return fits ? std::optional(Value{static_cast<long long>(0 - magnitude), dependsOnNodeID}) : std::nullopt;
  }
  if (magnitude <= highest) {
    return Value{static_cast<long long>(magnitude), dependsOnNodeID};
  }
  if (type.isSigned && isHexadecimal && magnitude <= half - 1 + half) {
    // 0xFF of an INTEGER8 is -1.
    return Value{static_cast<long long>(magnitude - half - half), dependsOnNodeID};
  }
  return std::nullopt;
}

std::optional<unsigned int> NumberText::within(unsigned int lowest, unsigned int highest) const {
  const bool isInside = !(isNegative && magnitude != 0) && magnitude >= lowest && magnitude <= highest;
  return isInside ? std::optional(static_cast<unsigned int>(magnitude)) : std::nullopt;
}

}  // namespace device_description
