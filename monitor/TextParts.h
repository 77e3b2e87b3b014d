#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace monitor {

// Parts of a line, added to its end without a stream or a string of their own between: a log has millions of them.
// Any thread.

void appendNumber(std::string& text, long long number);
void appendNumber(std::string& text, std::uint64_t number);

/// The shortest decimal number that reads back as the same. @param single of 32 bits
void appendReal(std::string& text, double number, bool single);

/// Upper-case, with at least so many digits, of which there are never less than one.
void appendHex(std::string& text, std::uint64_t number, unsigned int digits);

/// "1A FF 00"
void appendBytes(std::string& text, const unsigned char* bytes, std::size_t count);

/// How a text is shown.
enum class TextStyle {
  PLAIN,  ///< as it is; half of a surrogate pair as U+FFFD
  QUOTED  ///< in quotation marks; quotation marks, backslashes and what is no letter escaped as in C
};

/// As UTF-8. @param bytes ISO 8859-1
void appendLatin(std::string& text, const std::string& bytes, TextStyle style);

/// The same. @param bytes UTF-16, the low byte of each unit first; an odd byte at the end is left out
void appendWide(std::string& text, const std::string& bytes, TextStyle style);

/// "2026-11-22 07:30:00.000" of milliseconds of the day in the low 28 bits and days since 1984 from bit 32 on.
void appendTimeOfDay(std::string& text, std::uint64_t time);

/// "2026-11-22 07:30:00.123456" of microseconds since 1970, UTC.
void appendDate(std::string& text, long long microseconds);

/// "1700000000.123456"
void appendSeconds(std::string& text, long long microseconds);

}  // namespace monitor
