#include "LineReference.h"

#include <algorithm>
#include <sstream>

namespace fuzz {

namespace {

constexpr std::size_t LONGEST_LINE = 1024;
constexpr const char* DIGITS = "0123456789abcdefABCDEF";

// Only the four blanks of the protocol separate words; a stream would take others, too.
std::vector<std::string> wordsOf(const std::string& line) {
  std::vector<std::string> words(1);
  for (const char character : line) {
    if (std::string(" \t\r\n").find(character) == std::string::npos) {
      words.back() += character;
    } else if (!words.back().empty()) {
      words.emplace_back();
    }
  }
  if (words.back().empty()) {
    words.pop_back();
  }
  return words;
}

bool isHexadecimal(const std::string& word, std::size_t mostDigits) {
  return !word.empty() && word.size() <= mostDigits && word.find_first_not_of(DIGITS) == std::string::npos;
}

unsigned int valueOf(const std::string& word) {
  return static_cast<unsigned int>(std::stoul(word, nullptr, 16));
}

bool parseIdentifier(const std::string& word, LineFrame& frame) {
  if (!isHexadecimal(word, 8)) {
    return false;
  }
  frame.isExtended = word.size() > 3;
  frame.identifier = valueOf(word);
  return frame.identifier <= (frame.isExtended ? 0x1FFFFFFFU : 0x7FFU);
}

}  // namespace

LineFrame LineFrame::of(const KQ::KQCANMessage& message) {
  return {message.identifier, false, {message.data, message.data + std::min(message.length, 8U)}};
}

bool LineReference::split(const std::string& text, std::vector<std::vector<std::string>>& lines) {
  std::size_t begin = 0;
  for (;;) {
    const std::size_t end = text.find('>', begin);
    const std::size_t length = (end == std::string::npos ? text.size() : end + 1) - begin;
    if (length > LONGEST_LINE || (end == std::string::npos && length == LONGEST_LINE)) {
      return true;
    }
    if (end == std::string::npos) {
      return false;
    }
    const std::string line = text.substr(begin, end - begin);
    const std::size_t bracket = line.rfind('<');
    lines.push_back(bracket == std::string::npos ? std::vector<std::string>() : wordsOf(line.substr(bracket + 1)));
    begin = end + 1;
  }
}

bool LineReference::parseSend(const std::vector<std::string>& words, LineFrame& frame) {
  if (words.size() < 3 || words[0] != "send" || !parseIdentifier(words[1], frame) || !isHexadecimal(words[2], 2)) {
    return false;
  }
  const unsigned int length = valueOf(words[2]);
  if (length > 8 || words.size() != 3 + length) {
    return false;
  }
  for (std::size_t i = 3; i < words.size(); ++i) {
    if (!isHexadecimal(words[i], 2)) {
      return false;
    }
    frame.data.push_back(static_cast<unsigned char>(valueOf(words[i])));
  }
  return true;
}

bool LineReference::parseFrame(const std::vector<std::string>& words, LineFrame& frame) {
  if (words.size() < 3 || words[0] != "frame" || !parseIdentifier(words[1], frame)) {
    return false;
  }
  for (std::size_t i = 3; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word.size() % 2 != 0 || word.find_first_not_of(DIGITS) != std::string::npos) {
      return false;
    }
    for (std::size_t digit = 0; digit < word.size(); digit += 2) {
      frame.data.push_back(static_cast<unsigned char>(valueOf(word.substr(digit, 2))));
    }
  }
  return frame.data.size() <= 8;
}

}  // namespace fuzz
