#include "SocketcandCodec.h"

#include <chrono>

namespace KQ {

namespace {

constexpr unsigned MAXIMUM_EXTENDED = 0x1FFFFFFF;
constexpr unsigned MAXIMUM_STANDARD = 0x7FF;
constexpr std::size_t STANDARD_DIGITS = 3;
constexpr std::size_t EXTENDED_DIGITS = 8;
constexpr const char* UPPER_DIGITS = "0123456789ABCDEF";
constexpr const char* LOWER_DIGITS = "0123456789abcdef";
constexpr const char* BLANKS = " \t\r\n";

// Appends a number in hexadecimal, with leading zeros up to that many digits.
void appendHex(std::string& output, unsigned value, std::size_t minimumDigits, const char* digits) {
  char text[8];
  std::size_t count = 0;
  for (; value != 0 || count < minimumDigits; value >>= 4U) {
    text[count++] = digits[value & 0xFU];
  }
  while (count > 0) {
    output.push_back(text[--count]);
  }
}

// Appends a number in decimal, with leading zeros up to that many digits.
void appendDecimal(std::string& output, unsigned long long value, std::size_t minimumDigits) {
  char text[24];
  std::size_t count = 0;
  for (; value != 0 || count < minimumDigits; value /= 10) {
    text[count++] = static_cast<char>('0' + value % 10);
  }
  while (count > 0) {
    output.push_back(text[--count]);
  }
}

void appendIdentifier(std::string& output, const KQBusFrame& frame) {
  appendHex(output, frame.identifier, frame.extended ? EXTENDED_DIGITS : 1, UPPER_DIGITS);
}

int hexDigit(char character) {
  if (character >= '0' && character <= '9') {
    return character - '0';
  }
  if (character >= 'a' && character <= 'f') {
    return character - 'a' + 10;
  }
  if (character >= 'A' && character <= 'F') {
    return character - 'A' + 10;
  }
  return -1;
}

// Reads a hexadecimal number of 1 to maximumDigits digits. @return false: it is none
bool parseHex(std::string_view text, std::size_t maximumDigits, unsigned& value) {
  if (text.empty() || text.size() > maximumDigits) {
    return false;
  }
  unsigned result = 0;
  for (const char character : text) {
    const int digit = hexDigit(character);
    if (digit < 0) {
      return false;
    }
    result = result << 4U | static_cast<unsigned>(digit);
  }
  value = result;
  return true;
}

bool parseIdentifier(std::string_view word, KQBusFrame& frame) {
  if (!parseHex(word, EXTENDED_DIGITS, frame.identifier)) {
    return false;
  }
  frame.extended = word.size() > STANDARD_DIGITS;
  return frame.identifier <= (frame.extended ? MAXIMUM_EXTENDED : MAXIMUM_STANDARD);
}

// Appends the bytes of one word of unspaced data. @return false: not such data, or too much of it
bool appendData(std::string_view word, KQBusFrame& frame) {
  if (word.size() % 2 != 0 || word.size() / 2 + frame.length > sizeof frame.data) {
    return false;
  }
  for (std::size_t i = 0; i < word.size(); i += 2) {
    unsigned value = 0;
    if (!parseHex(word.substr(i, 2), 2, value)) {
      return false;
    }
    frame.data[frame.length++] = static_cast<unsigned char>(value);
  }
  return true;
}

std::string_view trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(BLANKS);
  if (first == text.npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

}  // namespace

SocketcandCodec::Split SocketcandCodec::nextLine(std::string_view text, std::string_view& content, std::size_t& used) {
  const std::size_t end = text.substr(0, MAXIMUM_LINE).find('>');
  if (end == text.npos) {
    return text.size() >= MAXIMUM_LINE ? Split::ENDLESS : Split::PARTIAL;
  }
  used = end + 1;
  std::string_view line = text.substr(0, end);
  const std::size_t begin = line.rfind('<');
  content = begin == line.npos ? std::string_view() : trim(line.substr(begin + 1));
  return Split::LINE;
}

std::string_view SocketcandCodec::nextWord(std::string_view& text) {
  text = trim(text);
  const std::string_view word = text.substr(0, text.find_first_of(BLANKS));
  text.remove_prefix(word.size());
  return word;
}

void SocketcandCodec::appendFrameLine(std::string& output, const KQBusFrame& frame, long long microseconds) {
  const auto time = static_cast<unsigned long long>(microseconds);
  output += "< frame ";
  appendIdentifier(output, frame);
  output.push_back(' ');
  appendDecimal(output, time / 1000000, 1);
  output.push_back('.');
  appendDecimal(output, time % 1000000, 6);
  output.push_back(' ');
  for (unsigned i = 0; i < frame.length; ++i) {
    appendHex(output, frame.data[i], 2, UPPER_DIGITS);
  }
  output += " >";
}

void SocketcandCodec::appendSendLine(std::string& output, const KQBusFrame& frame) {
  output += "< send ";
  appendIdentifier(output, frame);
  output.push_back(' ');
  appendHex(output, frame.length, 1, LOWER_DIGITS);
  for (unsigned i = 0; i < frame.length; ++i) {
    output.push_back(' ');
    appendHex(output, frame.data[i], 1, LOWER_DIGITS);
  }
  output += " >";
}

bool SocketcandCodec::parseFrame(std::string_view arguments, KQBusFrame& frame) {
  KQBusFrame result;
  const bool hasIdentifier = parseIdentifier(nextWord(arguments), result);
  const bool hasTime = !nextWord(arguments).empty();
  if (!hasIdentifier || !hasTime) {
    return false;
  }
  for (std::string_view word = nextWord(arguments); !word.empty(); word = nextWord(arguments)) {
    if (!appendData(word, result)) {
      return false;
    }
  }
  frame = result;
  return true;
}

bool SocketcandCodec::parseSend(std::string_view arguments, KQBusFrame& frame) {
  KQBusFrame result;
  unsigned length = 0;
  const bool hasIdentifier = parseIdentifier(nextWord(arguments), result);
  if (!hasIdentifier || !parseHex(nextWord(arguments), 2, length) || length > sizeof result.data) {
    return false;
  }
  for (unsigned i = 0; i < length; ++i) {
    unsigned value = 0;
    if (!parseHex(nextWord(arguments), 2, value)) {
      return false;
    }
    result.data[i] = static_cast<unsigned char>(value);
  }
  result.length = static_cast<unsigned char>(length);
  if (!nextWord(arguments).empty()) {
    return false;
  }
  frame = result;
  return true;
}

long long SocketcandCodec::getWallClock() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count();
}

}  // namespace KQ
