#include "MetricLabels.h"

#include <algorithm>
#include <cstddef>

namespace panel {

namespace {

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// How many bytes the first byte of a character promises, 0 when it begins none.
std::size_t getPromisedLength(unsigned char lead) {
  if (lead < 0x80) {
    return 1;
  }
  if (lead >= 0xC2 && lead <= 0xDF) {
    return 2;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    return 3;
  }
  return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

// The second byte of some characters is restricted further: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isSecondByteAllowed(unsigned char lead, unsigned char second) {
  switch (lead) {
    case 0xE0:
      return second >= 0xA0;
    case 0xED:
      return second <= 0x9F;
    case 0xF0:
      return second >= 0x90;
    case 0xF4:
      return second <= 0x8F;
    default:
      return true;
  }
}

// How many bytes of the text are one character of UTF-8, 0 when they are none.
std::size_t getCharacterLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = getPromisedLength(lead);
  if (length <= 1 || text.size() < length) {
    return length <= text.size() ? length : 0;
  }
  const bool isWhole =
      std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length), isContinuation);
  return isWhole && isSecondByteAllowed(lead, static_cast<unsigned char>(text[1])) ? length : 0;
}

void appendLatin1(std::string& text, unsigned char byte) {
  text += static_cast<char>(0xC0 | byte >> 6);
  text += static_cast<char>(0x80 | (byte & 0x3F));
}

void appendEscaped(std::string& text, char byte) {
  if (byte == '\n') {
    text += "\\n";
    return;
  }
  if (byte == '"' || byte == '\\') {
    text += '\\';
  }
  text += byte;
}

void appendValue(std::string& text, std::string_view value) {
  while (!value.empty()) {
    const std::size_t length = getCharacterLength(value);
    if (length == 0) {
      appendLatin1(text, static_cast<unsigned char>(value.front()));
    } else if (length == 1) {
      appendEscaped(text, value.front());
    } else {
      text.append(value.substr(0, length));
    }
    value.remove_prefix(std::max<std::size_t>(length, 1));
  }
}

}  // namespace

MetricLabels& MetricLabels::add(std::string_view name, std::string_view value) {
  if (!text.empty()) {
    text += ',';
  }
  text.append(name).append("=\"");
  appendValue(text, value);
  text += '"';
  return *this;
}

MetricLabels& MetricLabels::add(std::string_view name, unsigned int value) {
  return add(name, std::to_string(value));
}

}  // namespace panel
