#include "TextParts.h"

#include <charconv>

namespace monitor {

namespace {

constexpr char DIGITS[] = "0123456789ABCDEF";

template <typename Number>
void appendDecimal(std::string& text, Number number) {
  char digits[24];
  const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, number);
  text.append(digits, result.ptr);
}

void appendPadded(std::string& text, std::uint64_t number, unsigned int width) {
  char digits[24];
  char* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  const auto count = static_cast<unsigned int>(end - digits);
  text.append(width > count ? width - count : 0, '0');
  text.append(digits, end);
}

bool isSurrogate(std::uint32_t letter) {
  return letter >= 0xD800 && letter < 0xE000;
}

void appendUTF8(std::string& text, std::uint32_t letter) {
  const auto add = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (letter < 0x80) {
    add(letter);
  } else if (letter < 0x800) {
    add(0xC0 | letter >> 6);
    add(0x80 | (letter & 0x3F));
  } else if (letter < 0x10000) {
    add(0xE0 | letter >> 12);
    add(0x80 | (letter >> 6 & 0x3F));
    add(0x80 | (letter & 0x3F));
  } else {
    add(0xF0 | letter >> 18);
    add(0x80 | (letter >> 12 & 0x3F));
    add(0x80 | (letter >> 6 & 0x3F));
    add(0x80 | (letter & 0x3F));
  }
}

void appendEscaped(std::string& text, std::uint32_t letter) {
  const bool isControl = letter < 0x20 || (letter >= 0x7F && letter < 0xA0);
  if (letter == '"' || letter == '\\') {
    text += '\\';
    text += static_cast<char>(letter);
  } else if (isControl) {
    text += "\\x";
    appendHex(text, letter, 2);
  } else if (isSurrogate(letter)) {
    text += "\\u";
    appendHex(text, letter, 4);
  } else {
    appendUTF8(text, letter);
  }
}

void appendLetter(std::string& text, std::uint32_t letter, TextStyle style) {
  constexpr std::uint32_t REPLACEMENT = 0xFFFD;
  if (style == TextStyle::QUOTED) {
    appendEscaped(text, letter);
  } else {
    appendUTF8(text, isSurrogate(letter) ? REPLACEMENT : letter);
  }
}

void appendQuotationMark(std::string& text, TextStyle style) {
  if (style == TextStyle::QUOTED) {
    text += '"';
  }
}

struct Date {
  std::uint64_t year;
  unsigned int month;
  unsigned int day;
};

// The Gregorian date of a day, in eras of 400 years that begin with a March.
Date dateOf(std::uint64_t daysSince1970) {
  constexpr unsigned int DAYS_OF_ERA = 146097;
  const std::uint64_t days = daysSince1970 + 719468;
  const std::uint64_t era = days / DAYS_OF_ERA;
  const auto dayOfEra = static_cast<unsigned int>(days % DAYS_OF_ERA);
  const unsigned int yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const unsigned int dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned int marchMonth = (5 * dayOfYear + 2) / 153;
  const unsigned int month = marchMonth < 10 ? marchMonth + 3 : marchMonth - 9;
  return {yearOfEra + era * 400 + (month <= 2 ? 1U : 0U), month, dayOfYear - (153 * marchMonth + 2) / 5 + 1};
}

void appendDay(std::string& text, std::uint64_t daysSince1970) {
  const Date date = dateOf(daysSince1970);
  appendNumber(text, date.year);
  text += '-';
  appendPadded(text, date.month, 2);
  text += '-';
  appendPadded(text, date.day, 2);
}

// " 07:30:00.123". @param perSecond the unit of time @param digits of it that are shown
void appendTimeInDay(std::string& text, std::uint64_t time, std::uint64_t perSecond, unsigned int digits) {
  const std::uint64_t seconds = time / perSecond;
  text += ' ';
  appendPadded(text, seconds / 3600, 2);
  text += ':';
  appendPadded(text, seconds / 60 % 60, 2);
  text += ':';
  appendPadded(text, seconds % 60, 2);
  text += '.';
  appendPadded(text, time % perSecond, digits);
}

}  // namespace

void appendNumber(std::string& text, long long number) {
  appendDecimal(text, number);
}

void appendNumber(std::string& text, std::uint64_t number) {
  appendDecimal(text, number);
}

void appendReal(std::string& text, double number, bool single) {
  char digits[40];
  char* const end = digits + sizeof digits;
  const std::to_chars_result result =
      single ? std::to_chars(digits, end, static_cast<float>(number)) : std::to_chars(digits, end, number);
  text.append(digits, result.ptr);
}

void appendHex(std::string& text, std::uint64_t number, unsigned int digits) {
  char written[16];
  unsigned int count = 0;
  do {
    written[15 - count++] = DIGITS[number & 0xF];
    number >>= 4;
  } while ((number != 0 || count < digits) && count < sizeof written);
  text.append(written + sizeof written - count, count);
}

void appendBytes(std::string& text, const unsigned char* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const char parts[3] = {' ', DIGITS[bytes[i] >> 4], DIGITS[bytes[i] & 0xF]};
    text.append(parts + (i == 0 ? 1 : 0), parts + 3);
  }
}

void appendLatin(std::string& text, const std::string& bytes, TextStyle style) {
  appendQuotationMark(text, style);
  for (const char letter : bytes) {
    appendLetter(text, static_cast<unsigned char>(letter), style);
  }
  appendQuotationMark(text, style);
}

void appendWide(std::string& text, const std::string& bytes, TextStyle style) {
  const auto unit = [&bytes](std::size_t at) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at])) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + 1])) << 8;
  };
  appendQuotationMark(text, style);
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    std::uint32_t letter = unit(at);
    const bool isHigh = (letter & 0xFC00) == 0xD800;
    if (isHigh && at + 3 < bytes.size() && (unit(at + 2) & 0xFC00) == 0xDC00) {
      letter = 0x10000 + ((letter & 0x3FF) << 10 | (unit(at + 2) & 0x3FF));
      at += 2;
    }
    appendLetter(text, letter, style);
  }
  appendQuotationMark(text, style);
}

void appendTimeOfDay(std::string& text, std::uint64_t time) {
  constexpr unsigned int DAYS_FROM_1970_TO_1984 = 5113;
  appendDay(text, DAYS_FROM_1970_TO_1984 + (time >> 32 & 0xFFFF));
  appendTimeInDay(text, time & 0x0FFFFFFF, 1000, 3);
}

void appendDate(std::string& text, long long microseconds) {
  constexpr std::uint64_t PER_DAY = 86400000000;
  const std::uint64_t time = microseconds < 0 ? 0 : static_cast<std::uint64_t>(microseconds);
  appendDay(text, time / PER_DAY);
  appendTimeInDay(text, time % PER_DAY, 1000000, 6);
}

void appendSeconds(std::string& text, long long microseconds) {
  constexpr std::uint64_t PER_SECOND = 1000000;
  if (microseconds < 0) {
    text += '-';
  }
  const auto magnitude =
      microseconds < 0 ? 0 - static_cast<std::uint64_t>(microseconds) : static_cast<std::uint64_t>(microseconds);
  appendNumber(text, magnitude / PER_SECOND);
  text += '.';
  appendPadded(text, magnitude % PER_SECOND, 6);
}

}  // namespace monitor
