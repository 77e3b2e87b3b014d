#include "CandumpReader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace monitor {

namespace {

constexpr std::size_t BUFFER_SIZE = 262144;
constexpr std::size_t LONGEST_LINE = 4096;
constexpr unsigned int CLASSIC_BYTES = 8;
constexpr unsigned int STANDARD_DIGITS = 3;
constexpr unsigned int EXTENDED_DIGITS = 8;
constexpr unsigned int LAST_STANDARD = 0x7FF;
constexpr unsigned int LAST_EXTENDED = 0x1FFFFFFF;
constexpr unsigned int ERROR_FLAG = 0x20000000;

// The value of each letter as a hexadecimal digit, or -1.
struct Digits {
  constexpr Digits() : values() {
    for (signed char& value : values) {
      value = -1;
    }
    for (int i = 0; i < 10; ++i) {
      values['0' + i] = static_cast<signed char>(i);
    }
    for (int i = 0; i < 6; ++i) {
      values['A' + i] = static_cast<signed char>(10 + i);
      values['a' + i] = static_cast<signed char>(10 + i);
    }
  }
  signed char values[256];
};

constexpr Digits DIGITS;

int hexDigit(char letter) {
  return DIGITS.values[static_cast<unsigned char>(letter)];
}

bool isDecimal(char letter) {
  return letter >= '0' && letter <= '9';
}

bool isBlank(char letter) {
  return letter == ' ' || letter == '\t' || letter == '\r';
}

// A line from its beginning on. What a take...() does not find it leaves where it is.
class Cursor {
public:
  explicit Cursor(std::string_view line) : next(line.data()), last(line.data() + line.size()) {}

  bool isAtEnd() const { return next == last; }
  char peek() const { return isAtEnd() ? '\0' : *next; }

  bool take(char letter) {
    if (peek() != letter) {
      return false;
    }
    ++next;
    return true;
  }

  bool takeBlanks() {
    const char* const before = next;
    while (!isAtEnd() && isBlank(*next)) {
      ++next;
    }
    return next != before;
  }

  std::string_view takeWord() {
    const char* const before = next;
    while (!isAtEnd() && !isBlank(*next)) {
      ++next;
    }
    return {before, static_cast<std::size_t>(next - before)};
  }

  // @param longest of so many digits at most
  unsigned int takeHex(unsigned int longest, unsigned int& digits) {
    unsigned int number = 0;
    for (digits = 0; digits < longest && !isAtEnd() && hexDigit(*next) >= 0; ++digits, ++next) {
      number = number << 4 | static_cast<unsigned int>(hexDigit(*next));
    }
    return number;
  }

  bool takeByte(unsigned char& byte) {
    if (last - next < 2 || hexDigit(next[0]) < 0 || hexDigit(next[1]) < 0) {
      return false;
    }
    byte = static_cast<unsigned char>(hexDigit(next[0]) << 4 | hexDigit(next[1]));
    next += 2;
    return true;
  }

  bool takeText(std::string_view text) {
    if (static_cast<std::size_t>(last - next) < text.size() || std::string_view(next, text.size()) != text) {
      return false;
    }
    next += text.size();
    return true;
  }

  // @param longest digits at most
  bool takeDecimal(unsigned int longest, long long& number) {
    unsigned int digits = 0;
    for (number = 0; digits < longest && isDecimal(peek()); ++digits, ++next) {
      number = 10 * number + (*next - '0');
    }
    return digits > 0;
  }

private:
  const char* next;
  const char* last;
};

// "1700000000.123456": digits behind the microseconds are left out.
bool takeTime(Cursor& cursor, long long& microseconds) {
  constexpr unsigned int LONGEST_SECONDS = 12;
  long long seconds = 0;
  if (!cursor.takeDecimal(LONGEST_SECONDS, seconds)) {
    return false;
  }
  long long fraction = 0;
  if (cursor.take('.')) {
    for (long long weight = 100000; isDecimal(cursor.peek()); weight /= 10) {
      fraction += weight * (cursor.peek() - '0');
      cursor.take(cursor.peek());
    }
  }
  microseconds = seconds * 1000000 + fraction;
  return true;
}

bool takeBracketedTime(Cursor& cursor, long long& microseconds) {
  return takeTime(cursor, microseconds) && cursor.take(')') && cursor.takeBlanks();
}

bool takeIdentifier(Cursor& cursor, Frame& frame) {
  unsigned int digits = 0;
  frame.identifier = cursor.takeHex(EXTENDED_DIGITS, digits);
  frame.kind = FrameKind::DATA;
  if (digits == STANDARD_DIGITS) {
    return frame.identifier <= LAST_STANDARD;
  }
  if (digits != EXTENDED_DIGITS) {
    return false;
  }
  frame.kind = frame.identifier <= LAST_EXTENDED ? FrameKind::EXTENDED : FrameKind::ERROR;
  const bool known = frame.identifier <= (LAST_EXTENDED | ERROR_FLAG);
  frame.identifier &= LAST_EXTENDED;
  return known;
}

void makeRemote(Frame& frame) {
  if (frame.kind == FrameKind::DATA) {
    frame.kind = FrameKind::REMOTE;
  }
}

// As many bytes as there are, with dots between them or none.
bool takeData(Cursor& cursor, Frame& frame, unsigned int longest) {
  unsigned int count = 0;
  while (hexDigit(cursor.peek()) >= 0) {
    if (count == longest || !cursor.takeByte(frame.data[count])) {
      return false;
    }
    ++count;
    cursor.take('.');
  }
  frame.length = static_cast<unsigned char>(count);
  return true;
}

// "705#00", "705#R4", "705##1001122", and "_C" where a length above eight was on the wire.
bool takeCompactFrame(Cursor& cursor, Frame& frame) {
  if (!takeIdentifier(cursor, frame) || !cursor.take('#')) {
    return false;
  }
  if (cursor.take('#')) {
    unsigned int digits = 0;
    cursor.takeHex(1, digits);
    frame.kind = FrameKind::FD;
    return digits == 1 && takeData(cursor, frame, sizeof frame.data);
  }
  if (cursor.take('R')) {
    long long length = 0;
    cursor.takeDecimal(1, length);
    makeRemote(frame);
    frame.length = static_cast<unsigned char>(std::min<long long>(length, CLASSIC_BYTES));
  } else if (!takeData(cursor, frame, CLASSIC_BYTES)) {
    return false;
  }
  unsigned int digits = 1;
  if (cursor.take('_')) {
    cursor.takeHex(1, digits);
  }
  return digits == 1;
}

bool takeDirection(Cursor& cursor, char& direction) {
  direction = ' ';
  if (!cursor.takeBlanks() || cursor.isAtEnd()) {
    return cursor.isAtEnd();
  }
  direction = cursor.peek();
  const bool known = cursor.take('R') || cursor.take('T');
  cursor.takeBlanks();
  return known && cursor.isAtEnd();
}

// "RX - -" or "TX B E", which candump shows with -x.
void takeShownDirection(Cursor& cursor, char& direction) {
  Cursor ahead = cursor;
  const std::string_view word = ahead.takeWord();
  if (word != "RX" && word != "TX") {
    return;
  }
  direction = word.front();
  for (int flag = 0; flag < 2; ++flag) {
    ahead.takeBlanks();
    ahead.takeWord();
  }
  ahead.takeBlanks();
  cursor = ahead;
}

// "[1]", and "[08]" with two digits for CAN FD.
bool takeShownLength(Cursor& cursor, Frame& frame) {
  long long tens = 0;
  long long length = 0;
  if (!cursor.take('[') || !cursor.takeDecimal(1, length)) {
    return false;
  }
  if (isDecimal(cursor.peek())) {
    tens = length;
    cursor.takeDecimal(1, length);
    frame.kind = FrameKind::FD;
  }
  length += 10 * tens;
  frame.length = static_cast<unsigned char>(length);
  return cursor.take(']') &&
         length <= static_cast<long long>(frame.kind == FrameKind::FD ? sizeof frame.data : CLASSIC_BYTES);
}

// "705   [1]  00" or "705   [0]  remote request". What follows the bytes are letters or words for a person.
bool takeShownFrame(Cursor& cursor, Frame& frame) {
  if (!takeIdentifier(cursor, frame) || !cursor.takeBlanks() || !takeShownLength(cursor, frame)) {
    return false;
  }
  cursor.takeBlanks();
  if (cursor.takeText("remote request")) {
    makeRemote(frame);
    return true;
  }
  for (unsigned int i = 0; i < frame.length; ++i) {
    if (!cursor.takeByte(frame.data[i]) || (!cursor.takeBlanks() && !cursor.isAtEnd())) {
      return false;
    }
  }
  return true;
}

// An interface's name goes to terminals, and so holds nothing that would steer them.
bool isName(std::string_view word) {
  return !word.empty() &&
         std::all_of(word.begin(), word.end(), [](char letter) { return letter > ' ' && letter <= '~'; });
}

std::string_view withoutLineEnd(std::string_view line) {
  while (!line.empty() && isBlank(line.back())) {
    line.remove_suffix(1);
  }
  return line;
}

}  // namespace

CandumpReader::CandumpReader(int file) : descriptor(file), buffer(new char[BUFFER_SIZE]) {}

CandumpReader::~CandumpReader() = default;

bool CandumpReader::parseLine(std::string_view text, LoggedFrame& logged) {
  Cursor cursor(withoutLineEnd(text));
  logged.frame = Frame();
  logged.direction = ' ';
  cursor.takeBlanks();
  if (cursor.take('(') && !takeBracketedTime(cursor, logged.frame.microseconds)) {
    return false;
  }
  logged.interface = cursor.takeWord();
  if (!isName(logged.interface) || !cursor.takeBlanks()) {
    return false;
  }
  Cursor ahead = cursor;
  if (takeCompactFrame(ahead, logged.frame)) {
    return takeDirection(ahead, logged.direction);
  }
  logged.frame = Frame(logged.frame.microseconds);
  takeShownDirection(cursor, logged.direction);
  return takeShownFrame(cursor, logged.frame);
}

CandumpReader::Item CandumpReader::next(LoggedFrame& logged) {
  while (nextLine()) {
    if (lineTooLong) {
      return Item::REFUSED;
    }
    if (!withoutLineEnd(line).empty()) {
      return parseLine(line, logged) ? Item::FRAME : Item::REFUSED;
    }
  }
  return Item::END;
}

bool CandumpReader::hasLine() const {
  return std::memchr(buffer.get() + begin, '\n', end - begin) != nullptr;
}

// The next line, without its end. Of one that is too long the beginning is kept and the rest is left out.
bool CandumpReader::nextLine() {
  lineTooLong = false;
  std::size_t searched = begin;
  while (!takeLine(searched)) {
    searched = end;
    if (end - begin > LONGEST_LINE) {
      return skipLine();
    }
    if (!fill(searched)) {
      return takeRest();
    }
  }
  return true;
}

bool CandumpReader::takeLine(std::size_t from) {
  const void* const found = std::memchr(buffer.get() + from, '\n', end - from);
  if (found == nullptr) {
    return false;
  }
  const auto lineEnd = static_cast<std::size_t>(static_cast<const char*>(found) - buffer.get());
  line = {buffer.get() + begin, lineEnd - begin};
  lineTooLong = line.size() > LONGEST_LINE;
  begin = lineEnd + 1;
  ++lineNumber;
  return true;
}

// What stands behind the last line end.
bool CandumpReader::takeRest() {
  line = {buffer.get() + begin, end - begin};
  begin = end;
  lineNumber += line.empty() ? 0 : 1;
  return !line.empty();
}

bool CandumpReader::skipLine() {
  std::memcpy(beginning, buffer.get() + begin, sizeof beginning);
  begin = end;
  std::size_t searched = begin;
  while (!takeLine(searched)) {
    begin = end;
    searched = end;
    if (!fill(searched)) {
      ++lineNumber;
      break;
    }
  }
  line = {beginning, sizeof beginning};
  lineTooLong = true;
  return true;
}

// Reads more, behind what is there, which is moved to the front. @param searched moves with it
bool CandumpReader::fill(std::size_t& searched) {
  std::memmove(buffer.get(), buffer.get() + begin, end - begin);
  searched -= begin;
  end -= begin;
  begin = 0;
  const ssize_t count = read(descriptor, buffer.get() + end, BUFFER_SIZE - end);
  if (count <= 0) {
    error = count < 0 ? errno : 0;
    return false;
  }
  end += static_cast<std::size_t>(count);
  bytesRead += static_cast<std::uint64_t>(count);
  return true;
}

}  // namespace monitor
