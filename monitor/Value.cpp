#include "Value.h"

#include <cstring>

#include "TextParts.h"

namespace monitor {

namespace {

constexpr unsigned int PATTERN_BITS = 64;

std::uint64_t lowBits(std::uint64_t pattern, unsigned int bits) {
  return bits < PATTERN_BITS ? pattern & ((std::uint64_t{1} << bits) - 1) : pattern;
}

std::uint64_t littleEndian(const unsigned char* bytes, std::size_t count) {
  std::uint64_t number = 0;
  for (std::size_t i = count; i-- > 0;) {
    number = number << 8 | bytes[i];
  }
  return number;
}

bool isText(const unsigned char* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (bytes[i] < ' ' || bytes[i] > '~') {
      return false;
    }
  }
  return count > 0;
}

bool isInBytes(Form form) {
  return form == Form::TEXT || form == Form::WIDE_TEXT || form == Form::BYTES;
}

}  // namespace

void Value::setBytes(ValueType type, const unsigned char* source, std::size_t count) {
  const std::size_t wanted = type.bits > 0 ? (type.bits + 7U) / 8U : count;
  const bool fits = wanted > 0 && wanted <= count && wanted <= sizeof pattern;
  if (!isInBytes(type.form) && fits) {
    setBits(type, littleEndian(source, wanted), type.bits > 0 ? type.bits : static_cast<unsigned int>(8 * wanted));
    return;
  }
  form = type.form;
  if (!isInBytes(form)) {
    form = type.form == Form::PATTERN && isText(source, count) ? Form::TEXT : Form::BYTES;
  }
  bits = 0;
  pattern = 0;
  bytes.assign(reinterpret_cast<const char*>(source), count);
}

void Value::setBits(ValueType type, std::uint64_t source, unsigned int count) {
  form = type.form;
  bits = static_cast<unsigned short>(type.bits > 0 && type.bits < count ? type.bits : count);
  pattern = lowBits(source, bits);
  const bool realOfOtherSize = form == Form::REAL && bits != 32 && bits != 64;
  if (realOfOtherSize) {
    form = Form::PATTERN;
  }
  if (!isInBytes(form)) {
    return;
  }
  bytes.clear();
  for (unsigned int i = 0; i < (bits + 7U) / 8U; ++i) {
    bytes += static_cast<char>(pattern >> 8 * i & 0xFF);
  }
}

long long Value::getSigned() const {
  if (bits == 0 || bits >= PATTERN_BITS) {
    return static_cast<long long>(pattern);
  }
  const std::uint64_t sign = std::uint64_t{1} << (bits - 1);
  return static_cast<long long>((pattern ^ sign) - sign);
}

double Value::getReal() const {
  if (bits == 32) {
    const auto word = static_cast<std::uint32_t>(pattern);
    float number = 0;
    std::memcpy(&number, &word, sizeof number);
    return static_cast<double>(number);
  }
  double number = 0;
  std::memcpy(&number, &pattern, sizeof number);
  return number;
}

void Value::appendTo(std::string& text) const {
  switch (form) {
    case Form::BOOLEAN:
      text += pattern != 0 ? "true" : "false";
      return;
    case Form::SIGNED:
      appendNumber(text, getSigned());
      return;
    case Form::UNSIGNED:
      appendNumber(text, pattern);
      return;
    case Form::REAL:
      appendReal(text, getReal(), bits == 32);
      return;
    case Form::PATTERN:
      text += "0x";
      appendHex(text, pattern, (bits + 3U) / 4U);
      return;
    case Form::TIME:
      appendTimeOfDay(text, pattern);
      return;
    case Form::TEXT:
      appendLatin(text, bytes, TextStyle::QUOTED);
      return;
    case Form::WIDE_TEXT:
      appendWide(text, bytes, TextStyle::QUOTED);
      return;
    case Form::BYTES:
      appendBytes(text, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  }
}

}  // namespace monitor
