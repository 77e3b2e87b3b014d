#include "Frames.h"

#include <cstdio>
#include <stdexcept>

namespace test {

KQ::KQCANMessage frame(const std::string& text) {
  const std::size_t separator = text.find('#');
  if (separator == std::string::npos) {
    throw std::invalid_argument("not a frame: " + text);
  }
  KQ::KQCANMessage message;
  message.identifier = static_cast<unsigned int>(std::stoul(text.substr(0, separator), nullptr, 16));
  message.length = 0;
  std::string digits;
  for (const char c : text.substr(separator + 1)) {
    if (c == ' ') {
      continue;
    }
    digits += c;
    if (digits.size() == 2) {
      message.data[message.length++] = static_cast<unsigned char>(std::stoul(digits, nullptr, 16));
      digits.clear();
    }
  }
  return message;
}

std::string toText(const KQ::KQCANMessage& message) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "%03X#", message.identifier);
  std::string text = buffer;
  for (unsigned int i = 0; i < message.length && i < 8; ++i) {
    std::snprintf(buffer, sizeof buffer, i == 0 ? "%02X" : " %02X", static_cast<unsigned int>(message.data[i]));
    text += buffer;
  }
  return text;
}

}  // namespace test
