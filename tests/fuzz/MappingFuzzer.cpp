// Mapping objects of any records, overlaps and impossible ones included, pack and unpack frames as a reference does
// that moves one bit after the other.
#include <array>
#include <variant>
#include <vector>

#include "Check.h"
#include "Input.h"
#include "KQCANMappingObject.h"
#include "KQCANMessage.h"

namespace {

using Bytes = std::array<unsigned char, 8>;
using Value = std::variant<int, std::string>;

constexpr unsigned int MOST_RECORDS = 12;
constexpr unsigned int MOST_FRAMES = 8;

// A record as the input names it.
struct Record {
  int byte;
  unsigned int bit;
  unsigned int length;
  unsigned int key;
  KQ::KQVariableStorageType type;
  bool isSigned;
  unsigned int lowest;
  unsigned int highest;
};

struct Unpacked {
  unsigned int key;
  Value value;

  bool operator==(const Unpacked& other) const { return key == other.key && value == other.value; }
};

class MappingObject : public KQ::KQCANMappingObject {
public:
  using KQ::KQCANMappingObject::KQCANMappingObject;

  int handleExtractedValue(unsigned int key, int value, KQ::KQDEI*, KQ::KQVariableOwner*, int) const override {
    unpacked.push_back({key, value});
    return 0;
  }
  int handleExtractedValue(unsigned int key, const std::string& value, KQ::KQDEI*, KQ::KQVariableOwner*,
                           int) const override {
    unpacked.push_back({key, value});
    return 0;
  }

  mutable std::vector<Unpacked> unpacked;
};

// Says with one bit at a time where a record's value is.
class Reference {
public:
  explicit Reference(const Record& ofRecord) : record(ofRecord) {}

  bool isText() const { return record.type == KQ::STORAGE_TYPE_STRING; }

  bool canBeMoved(unsigned int frameLength) const {
    const unsigned int bytes = frameLength < 8 ? frameLength : 8;
    const bool isWhole = !isText() || (start() % 8 == 0 && record.length % 8 == 0);
    return isWhole && record.length != 0 && record.length <= 64 && start() + record.length <= 8ULL * bytes;
  }

  void pack(Bytes& bytes, int value) const {
    for (unsigned int bit = 0; bit < record.length; ++bit) {
      setBit(bytes, start() + bit, bitOfValue(value, bit));
    }
  }

  bool allows(std::uint32_t rawValue) const { return rawValue >= record.lowest && rawValue <= record.highest; }

  // The low 32 bits of the record as they stand in the frame.
  std::uint32_t rawValueOf(const Bytes& bytes) const {
    std::uint32_t raw = 0;
    for (unsigned int bit = 0; bit < record.length && bit < 32; ++bit) {
      raw |= bitOf(bytes, start() + bit) ? std::uint32_t{1} << bit : 0U;
    }
    return raw;
  }

  Value unpack(const Bytes& bytes) const {
    return isText() ? Value(textOf(bytes)) : Value(static_cast<int>(extended(bytes)));
  }

private:
  unsigned long long start() const { return 8ULL * static_cast<unsigned int>(record.byte) + record.bit; }

  static bool bitOf(const Bytes& bytes, unsigned long long bit) { return (bytes.at(bit / 8) >> (bit % 8) & 1) != 0; }

  static void setBit(Bytes& bytes, unsigned long long bit, bool isOne) {
    const auto mask = static_cast<unsigned char>(1U << (bit % 8));
    unsigned char& byte = bytes.at(bit / 8);
    byte = static_cast<unsigned char>(isOne ? byte | mask : byte & ~mask);
  }

  bool bitOfValue(int value, unsigned int bit) const {
    return bit < 32 ? (static_cast<std::uint32_t>(value) >> bit & 1U) != 0 : record.isSigned && value < 0;
  }

  std::uint32_t extended(const Bytes& bytes) const {
    std::uint32_t value = rawValueOf(bytes);
    for (unsigned int bit = record.length; bit < 32; ++bit) {
      const bool isOne = record.isSigned && bitOf(bytes, start() + record.length - 1);
      value |= isOne ? std::uint32_t{1} << bit : 0U;
    }
    return value;
  }

  std::string textOf(const Bytes& bytes) const {
    return {reinterpret_cast<const char*>(bytes.data()) + start() / 8, record.length / 8};
  }

  const Record& record;
};

Record readRecord(fuzz::Input& input) {
  const unsigned char shape = input.byte();
  Record record{};
  const unsigned char place = input.byte();
  // Mostly near the frame; now and then anywhere an argument can point to.
  record.byte = shape >= 0xF0 ? static_cast<int>(input.number()) : place % 10;
  record.bit = shape >= 0xF8 ? input.number() : place / 10;
  record.length = input.byte() % 70;
  record.key = 0x20000000U | input.byte();
  record.type = (shape & 6U) == 6U ? KQ::STORAGE_TYPE_STRING : KQ::STORAGE_TYPE_INTEGER;
  record.isSigned = (shape & 1U) != 0;
  record.lowest = (shape & 8U) != 0 ? input.number() : 0;
  record.highest = (shape & 16U) != 0 ? input.number() : 0xFFFFFFFFU;
  return record;
}

int add(MappingObject& object, const Record& record) {
  return object.addMappingData(record.byte, record.bit, record.length, record.key, record.type, record.isSigned,
                               record.lowest, nullptr, record.highest, nullptr, 0.0F, 0.0F, 1.0F, 0, nullptr, false);
}

// All values into one frame, one after the other, as a PDO is filled.
void pack(const MappingObject& object, const std::vector<Record>& records, fuzz::Input& input) {
  const unsigned int length = input.below(9);
  const bool checks = (input.byte() & 1U) != 0;
  Bytes packed{};
  for (unsigned char& byte : packed) {
    byte = input.byte();
  }
  Bytes expected = packed;
  unsigned int cursor = 0;
  for (std::size_t i = 0; i < records.size(); ++i) {
    const Reference reference(records[i]);
    const auto value = static_cast<int>(input.number());
    const unsigned int before = cursor;
    const int result = object.addSingleMappingDataToCANMsgData(packed.data(), length, cursor, value,
                                                               object.getMappingData()[i].get(), checks);
    const bool fits = reference.canBeMoved(length) && !reference.isText();
    const auto bits = static_cast<std::uint32_t>(value);
    const std::uint32_t raw = records[i].length < 32 ? bits & ((1U << records[i].length) - 1U) : bits;
    const bool isPacked = fits && (!checks || reference.allows(raw));
    fuzz::require((result == 0) == isPacked, "packed what must not be, or not what must be; result", unsigned(result));
    fuzz::require(isPacked || cursor == before, "the cursor moved without a value");
    if (isPacked) {
      reference.pack(expected, value);
    }
    fuzz::require(packed == expected, "packed other bits than the reference; record", unsigned(i));
  }
}

void unpack(const MappingObject& object, const std::vector<Record>& records, fuzz::Input& input) {
  KQ::KQCANMessage message;
  const unsigned char length = input.byte();
  message.length = length < 0xF0 ? length % 9 : input.number();
  const bool checks = (input.byte() & 1U) != 0;
  Bytes bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = input.byte();
    message.data[i] = bytes[i];
  }
  std::vector<Unpacked> expected;
  for (const Record& record : records) {
    const Reference reference(record);
    const bool isAllowed = !checks || reference.isText() ||
                           reference.allows(reference.canBeMoved(message.length) ? reference.rawValueOf(bytes) : 0);
    if (reference.canBeMoved(message.length) && isAllowed) {
      expected.push_back({record.key, reference.unpack(bytes)});
    }
  }
  object.unpacked.clear();
  fuzz::require(object.extractMappedValues(&message, nullptr, nullptr, checks) == 0, "a frame was not unpacked");
  fuzz::require(object.unpacked == expected, "unpacked other values than the reference");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  MappingObject object(8, KQ::TRANSMIT_RECEIVE, 0, 0, 1, true, 0, false, 0);
  std::vector<Record> records;
  for (unsigned int i = input.below(MOST_RECORDS + 1); i > 0; --i) {
    const Record record = readRecord(input);
    const int result = add(object, record);
    fuzz::require((result == 0) == (record.byte >= 0), "a record was refused or taken; result", unsigned(result));
    if (result == 0) {
      records.push_back(record);
    }
  }
  for (unsigned int frame = 0; frame < MOST_FRAMES && !input.isEmpty(); ++frame) {
    fuzz::countFrame();
    if ((input.byte() & 1U) != 0) {
      pack(object, records, input);
    } else {
      unpack(object, records, input);
    }
  }
  return 0;
}
