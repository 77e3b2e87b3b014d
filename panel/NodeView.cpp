#include "NodeView.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <tuple>

#include "DecodedFrame.h"
#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"

namespace panel {

namespace {

constexpr unsigned short FIRST_RECEIVE_PDO = 0x1400;
constexpr unsigned short LAST_RECEIVE_PDO = 0x15FF;
constexpr unsigned short FIRST_TRANSMIT_PDO = 0x1800;
constexpr unsigned short LAST_TRANSMIT_PDO = 0x19FF;
constexpr unsigned short MAPPING_OFFSET = 0x200;
constexpr unsigned char SUB_COB_ID = 1;
constexpr unsigned char SUB_TRANSMISSION_TYPE = 2;
constexpr unsigned char SUB_INHIBIT_TIME = 3;
constexpr unsigned char SUB_EVENT_TIMER = 5;
constexpr unsigned int COB_ID_INVALID = 0x80000000U;
constexpr unsigned int COB_ID_MASK = 0x7FF;
constexpr unsigned int HIGHEST_MAPPING = 64;

struct TypeName {
  KQ::KQCANopenDataType type;
  const char* name;
};

constexpr TypeName TYPE_NAMES[] = {
    {KQ::DATA_TYPE_BOOLEAN, "BOOLEAN"},
    {KQ::DATA_TYPE_REAL32, "REAL32"},
    {KQ::DATA_TYPE_REAL64, "REAL64"},
    {KQ::DATA_TYPE_VISIBLE_STRING, "VISIBLE_STRING"},
    {KQ::DATA_TYPE_OCTET_STRING, "OCTET_STRING"},
    {KQ::DATA_TYPE_UNICODE_STRING, "UNICODE_STRING"},
    {KQ::DATA_TYPE_TIME_OF_DAY, "TIME_OF_DAY"},
    {KQ::DATA_TYPE_TIME_DIFFERENCE, "TIME_DIFFERENCE"},
    {KQ::DATA_TYPE_DOMAIN, "DOMAIN"},
};

// The types whose values are whole numbers of at most the 32 bits that the dictionary keeps, and longer ones of which
// it keeps the low bits.
bool isIntegerType(KQ::KQCANopenDataType type) {
  return (type >= KQ::DATA_TYPE_INTEGER8 && type <= KQ::DATA_TYPE_UNSIGNED32) || type == KQ::DATA_TYPE_INTEGER24 ||
         (type >= KQ::DATA_TYPE_INTEGER40 && type <= KQ::DATA_TYPE_UNSIGNED64) ||
         (type >= KQ::DATA_TYPE_MANUFACTURER_FIRST && type <= KQ::DATA_TYPE_MANUFACTURER_LAST) ||
         type == KQ::DATA_TYPE_BOOLEAN;
}

// Numbers are kept by their 32-bit pattern.
long long toNumber(const ObjectInfo& object, int pattern) {
  return object.isSigned ? pattern : static_cast<long long>(static_cast<unsigned int>(pattern));
}

struct Range {
  long long low;
  long long high;
};

// What the 32 bits of a value, or fewer, can hold.
Range getRange(const ObjectInfo& object) {
  const long long numbers = 1LL << std::min(object.bits, 32);
  return object.isSigned ? Range{-numbers / 2, numbers / 2 - 1} : Range{0, numbers - 1};
}

std::optional<long long> parseNumber(const std::string& text) {
  if (text == "true" || text == "false") {
    return text == "true" ? 1 : 0;
  }
  char* end = nullptr;
  errno = 0;
  const bool isHexadecimal = text.find_first_of("xX") != std::string::npos;
  const long long number = std::strtoll(text.c_str(), &end, isHexadecimal ? 16 : 10);
  const bool isNumber = !text.empty() && text.front() != ' ' && *end == '\0' && errno == 0;
  return isNumber ? std::optional<long long>(number) : std::nullopt;
}

std::string hexadecimal(unsigned int number) {
  std::string digits;
  for (int shift = 28; shift >= 0; shift -= 4) {
    digits += "0123456789ABCDEF"[number >> shift & 0xF];
  }
  return digits;
}

// Results are abort codes, in the standard's words, or codes of the runtime.
std::string getReason(int result) {
  if (result > 0xFFFF) {
    return std::string(monitor::getAbortText(static_cast<std::uint32_t>(result))) + " (abort code 0x" +
           hexadecimal(static_cast<unsigned int>(result)) + ")";
  }
  return KQ::kqGetErrorString(result);
}

}  // namespace

bool PDOInfo::operator==(const PDOInfo& other) const {
  const auto sameMapping = [](const MappingInfo& left, const MappingInfo& right) {
    return left.index == right.index && left.subIndex == right.subIndex && left.bits == right.bits;
  };
  const auto parameters = [](const PDOInfo& pdo) {
    return std::tie(pdo.isTransmit, pdo.number, pdo.cobID, pdo.isValid, pdo.transmissionType, pdo.inhibitTime,
                    pdo.eventTimer);
  };
  return parameters(*this) == parameters(other) &&
         std::equal(mapping.begin(), mapping.end(), other.mapping.begin(), other.mapping.end(), sameMapping);
}

NodeView::NodeView(KQ::KQCANopen& shown) : node(shown) {
  const auto entries = node.getObjectDictionary()->getEntries(0, 0xFFFF);
  for (const KQ::ObjectDictionaryEntry* const entry : entries) {
    std::vector<unsigned char> subIndexes;
    for (const auto& item : entry->subEntries) {
      subIndexes.push_back(item.first);
    }
    std::sort(subIndexes.begin(), subIndexes.end());
    for (const unsigned char subIndex : subIndexes) {
      addObject(*entry, *entry->subEntries.at(subIndex));
    }
    const bool isPDO = (entry->index >= FIRST_RECEIVE_PDO && entry->index <= LAST_RECEIVE_PDO) ||
                       (entry->index >= FIRST_TRANSMIT_PDO && entry->index <= LAST_TRANSMIT_PDO);
    if (isPDO) {
      pdos.push_back(entry->index);
    }
  }
}

void NodeView::addObject(const KQ::ObjectDictionaryEntry& entry, const KQ::ObjectDictionarySubEntry& subEntry) {
  ObjectInfo object;
  object.index = entry.index;
  object.subIndex = subEntry.subIndex;
  object.objectName = entry.name;
  object.name = subEntry.name;
  object.dataType = subEntry.dataType;
  object.accessName = KQ::KQCANopenObjectDictionary::getAccessTypeString(subEntry.accessType);
  object.isReadable = subEntry.accessType != KQ::ACCESS_WO;
  object.isWritable = subEntry.accessType != KQ::ACCESS_RO && subEntry.accessType != KQ::ACCESS_CONST;
  object.isVariable = subEntry.isVariable;
  object.isInRecord = entry.objectType != KQ::OBJECT_TYPE_VAR;
  describeType(object);
  if (object.isInteger) {
    const Range range = getRange(object);
    const Range limits{toNumber(object, subEntry.lowLimit), toNumber(object, subEntry.highLimit)};
    // Limits that no value can have are those of a variable that was given none.
    const bool isNarrower = limits.low >= range.low && limits.low <= limits.high && limits.high <= range.high;
    object.lowest = isNarrower ? limits.low : range.low;
    object.highest = isNarrower ? limits.high : range.high;
  }
  objects.push_back(object);
}

void NodeView::describeType(ObjectInfo& object) const {
  const KQ::KQCANopenObjectDictionary& dictionary = *node.getObjectDictionary();
  object.isText = object.dataType == KQ::DATA_TYPE_VISIBLE_STRING;
  object.isInteger = isIntegerType(object.dataType);
  const auto* const known = std::find_if(std::begin(TYPE_NAMES), std::end(TYPE_NAMES),
                                         [&object](const TypeName& one) { return one.type == object.dataType; });
  if (const auto* const own = node.getManufacturerSpecificDataTypeDefinition(object.dataType); own != nullptr) {
    object.bits = own->bitCount;
    object.isSigned = own->isSigned;
  } else if (object.isInteger) {
    object.bits = object.dataType == KQ::DATA_TYPE_BOOLEAN ? 1 : dictionary.getNumberOfBitsByDatatType(object.dataType);
    object.isSigned = dictionary.isDataTypeSigned(object.dataType);
  }
  if (known != std::end(TYPE_NAMES)) {
    object.typeName = known->name;
  } else if (object.isInteger) {
    object.typeName = (object.isSigned ? "INTEGER" : "UNSIGNED") + std::to_string(object.bits);
  } else {
    object.typeName = "type 0x" + hexadecimal(static_cast<unsigned int>(object.dataType)).substr(4);
  }
}

const ObjectInfo* NodeView::findObject(unsigned short index, unsigned char subIndex) const {
  const auto found = std::lower_bound(
      objects.begin(), objects.end(), std::make_pair(index, subIndex),
      [](const ObjectInfo& object, const auto& key) { return std::make_pair(object.index, object.subIndex) < key; });
  return found != objects.end() && found->index == index && found->subIndex == subIndex ? &*found : nullptr;
}

// 0 for an object that there is not: it means the same as the default of each that is read so.
unsigned int NodeView::readNumber(unsigned short index, unsigned char subIndex) {
  int value = 0;
  node.getObjectDictionary()->getValue(index, subIndex, value);
  return static_cast<unsigned int>(value);
}

PDOInfo NodeView::readPDO(unsigned short communicationParameter) {
  PDOInfo pdo;
  pdo.isTransmit = communicationParameter >= FIRST_TRANSMIT_PDO;
  pdo.number = communicationParameter - (pdo.isTransmit ? FIRST_TRANSMIT_PDO : FIRST_RECEIVE_PDO) + 1U;
  const unsigned int cobID = readNumber(communicationParameter, SUB_COB_ID);
  pdo.cobID = cobID & COB_ID_MASK;
  pdo.isValid = (cobID & COB_ID_INVALID) == 0;
  pdo.transmissionType = readNumber(communicationParameter, SUB_TRANSMISSION_TYPE);
  pdo.inhibitTime = pdo.isTransmit ? readNumber(communicationParameter, SUB_INHIBIT_TIME) : 0;
  pdo.eventTimer = readNumber(communicationParameter, SUB_EVENT_TIMER);
  const auto mapping = static_cast<unsigned short>(communicationParameter + MAPPING_OFFSET);
  const unsigned int count = std::min(readNumber(mapping, 0), HIGHEST_MAPPING);
  for (unsigned int sub = 1; sub <= count; ++sub) {
    const unsigned int entry = readNumber(mapping, static_cast<unsigned char>(sub));
    pdo.mapping.push_back({static_cast<unsigned short>(entry >> 16), static_cast<unsigned char>(entry >> 8 & 0xFF),
                           static_cast<unsigned char>(entry & 0xFF)});
  }
  return pdo;
}

int NodeView::getState() const {
  return node.getCANopenState();
}

ObjectReading NodeView::read(const ObjectInfo& object) {
  ObjectReading reading;
  KQ::KQCANopenObjectDictionary& dictionary = *node.getObjectDictionary();
  if (!object.isReadable) {
    reading.reason = "write only";
    return reading;
  }
  int result = KQ::KQ_OK;
  int number = 0;
  std::string text;
  if (object.isText) {
    result = dictionary.getValue(object.index, object.subIndex, text);
  } else if (object.isInteger) {
    result = dictionary.getValue(object.index, object.subIndex, number);
  } else {
    reading.reason = "not shown";
    return reading;
  }
  if (result != KQ::KQ_OK && result != KQ::KQ_VALUE_INVALID) {
    reading.reason = getReason(result);
    return reading;
  }
  reading.isValid = result == KQ::KQ_OK;
  if (object.isText) {
    reading.text = text;
  } else {
    reading.number = toNumber(object, number);
  }
  return reading;
}

std::string NodeView::write(const ObjectInfo& object, const std::string& text) {
  KQ::KQCANopenObjectDictionary& dictionary = *node.getObjectDictionary();
  if (object.isText) {
    const int result = dictionary.setValue(object.index, object.subIndex, text, false);
    return result == KQ::KQ_OK ? "" : getReason(result);
  }
  if (!object.isInteger || object.bits > 32) {
    return "values of " + object.typeName + " cannot be written here";
  }
  const std::optional<long long> number = parseNumber(text);
  if (!number) {
    return "'" + text + "' is no whole number";
  }
  const Range range = getRange(object);
  if (*number < range.low || *number > range.high) {
    return text + " does not fit into " + object.typeName + ", " + std::to_string(range.low) + " to " +
           std::to_string(range.high);
  }
  const int result = dictionary.setValue(object.index, object.subIndex, static_cast<int>(*number), false);
  return result == KQ::KQ_OK ? "" : getReason(result);
}

}  // namespace panel
