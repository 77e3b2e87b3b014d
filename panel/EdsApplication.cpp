#include "EdsApplication.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iterator>
#include <optional>
#include <set>

#include "EdsFile.h"
#include "KQCANopen.h"
#include "KQCANopenDataType.h"
#include "KQCANopenObjectDictionary.h"
#include "PanelError.h"

namespace panel {

namespace {

constexpr unsigned short FIRST_APPLICATION_INDEX = 0x2000;
constexpr unsigned char HIGHEST_SUB_INDEX = 0xFE;
constexpr const char* OBJECT_LISTS[] = {"MandatoryObjects", "OptionalObjects", "ManufacturerObjects"};

struct DataType {
  long long code;
  const char* name;
  int bitLength;
  bool isSigned;
};

// The integers that a variable can hold; VISIBLE_STRING stands beside them.
constexpr DataType INTEGER_TYPES[] = {
    {KQ::DATA_TYPE_BOOLEAN, "BOOLEAN", 1, false},        {KQ::DATA_TYPE_INTEGER8, "INTEGER8", 8, true},
    {KQ::DATA_TYPE_INTEGER16, "INTEGER16", 16, true},    {KQ::DATA_TYPE_INTEGER24, "INTEGER24", 24, true},
    {KQ::DATA_TYPE_INTEGER32, "INTEGER32", 32, true},    {KQ::DATA_TYPE_UNSIGNED8, "UNSIGNED8", 8, false},
    {KQ::DATA_TYPE_UNSIGNED16, "UNSIGNED16", 16, false}, {KQ::DATA_TYPE_UNSIGNED24, "UNSIGNED24", 24, false},
    {KQ::DATA_TYPE_UNSIGNED32, "UNSIGNED32", 32, false}};

// Types of which a user asks why they are refused.
constexpr DataType REFUSED_TYPES[] = {{KQ::DATA_TYPE_REAL32, "REAL32", 32, true},
                                      {KQ::DATA_TYPE_OCTET_STRING, "OCTET_STRING", 0, false},
                                      {KQ::DATA_TYPE_UNICODE_STRING, "UNICODE_STRING", 0, false},
                                      {KQ::DATA_TYPE_TIME_OF_DAY, "TIME_OF_DAY", 48, false},
                                      {KQ::DATA_TYPE_TIME_DIFFERENCE, "TIME_DIFFERENCE", 48, false},
                                      {KQ::DATA_TYPE_DOMAIN, "DOMAIN", 0, false},
                                      {KQ::DATA_TYPE_REAL64, "REAL64", 64, true},
                                      {KQ::DATA_TYPE_INTEGER40, "INTEGER40", 40, true},
                                      {KQ::DATA_TYPE_INTEGER48, "INTEGER48", 48, true},
                                      {KQ::DATA_TYPE_INTEGER56, "INTEGER56", 56, true},
                                      {KQ::DATA_TYPE_INTEGER64, "INTEGER64", 64, true},
                                      {KQ::DATA_TYPE_UNSIGNED40, "UNSIGNED40", 40, false},
                                      {KQ::DATA_TYPE_UNSIGNED48, "UNSIGNED48", 48, false},
                                      {KQ::DATA_TYPE_UNSIGNED56, "UNSIGNED56", 56, false},
                                      {KQ::DATA_TYPE_UNSIGNED64, "UNSIGNED64", 64, false}};

template <std::size_t COUNT>
const DataType* findType(const DataType (&types)[COUNT], long long code) {
  const auto* const found =
      std::find_if(std::begin(types), std::end(types), [code](const DataType& type) { return type.code == code; });
  return found == std::end(types) ? nullptr : found;
}

struct AccessType {
  const char* text;
  int mode;  // of a KQVariable
};

constexpr AccessType ACCESS_TYPES[] = {{"rw", 0}, {"rwr", 0}, {"rww", 0}, {"wo", 1}, {"ro", 2}, {"const", 3}};

std::string hexadecimal(unsigned int number) {
  char text[16];
  std::snprintf(text, sizeof text, "%X", number);
  return text;
}

// What an integer type holds, as the numbers of a file are compared with it.
struct Range {
  long long lowest;
  long long highest;
};

Range getRange(const DataType& type) {
  const long long numbers = 1LL << type.bitLength;
  return type.isSigned ? Range{-numbers / 2, numbers / 2 - 1} : Range{0, numbers - 1};
}

/// Reads the objects of one file.
class ObjectReader {
public:
  explicit ObjectReader(const EdsFile& eds) : file(eds) {}

  std::vector<EdsApplication::Object> readAll() const;

private:
  std::set<unsigned short> readIndexes() const;
  void readList(const std::string& list, std::set<unsigned short>& indexes) const;
  EdsApplication::Object readObject(unsigned short index) const;
  void readSubIndexes(const std::string& section, EdsApplication::Object& object) const;
  KQ::KQVariable readVariable(const std::string& section, unsigned short index, unsigned char subIndex) const;
  void readText(const std::string& section, KQ::KQVariable& variable) const;
  void readInteger(const std::string& section, const DataType& type, KQ::KQVariable& variable) const;
  std::optional<long long> readValue(const std::string& section, const char* key, const DataType& type) const;
  const DataType* readIntegerType(const std::string& section) const;
  int readAccessMode(const std::string& section) const;
  std::string readName(const std::string& section) const;

  const EdsFile& file;
};

std::vector<EdsApplication::Object> ObjectReader::readAll() const {
  std::vector<EdsApplication::Object> objects;
  for (const unsigned short index : readIndexes()) {
    objects.push_back(readObject(index));
  }
  return objects;
}

std::set<unsigned short> ObjectReader::readIndexes() const {
  std::set<unsigned short> indexes;
  bool anyList = false;
  for (const char* const list : OBJECT_LISTS) {
    if (file.hasSection(list)) {
      anyList = true;
      readList(list, indexes);
    }
  }
  if (!anyList) {
    file.fail(OBJECT_LISTS[2], "SupportedObjects", "is missing, the file is no EDS");
  }
  return indexes;
}

void ObjectReader::readList(const std::string& list, std::set<unsigned short>& indexes) const {
  const long long count = file.getNumber(list, "SupportedObjects", 0, 0xFFFF);
  for (long long i = 1; i <= count; ++i) {
    const std::string key = std::to_string(i);
    const auto index = static_cast<unsigned short>(file.getNumber(list, key, 1, 0xFFFF));
    if (index >= FIRST_APPLICATION_INDEX && !indexes.insert(index).second) {
      file.fail(list, key, "0x" + hexadecimal(index) + " is listed twice");
    }
  }
}

EdsApplication::Object ObjectReader::readObject(unsigned short index) const {
  const std::string section = hexadecimal(index);
  if (!file.hasSection(section)) {
    file.fail(section, "ParameterName", "is missing, although the object is listed");
  }
  const auto type = file.getText(section, "ObjectType").empty()
                        ? KQ::OBJECT_TYPE_VAR
                        : static_cast<KQ::KQCANopenObjectType>(file.getNumber(section, "ObjectType", 0, 0xFF));
  EdsApplication::Object object{index, type, readName(section), {}};
  if (type == KQ::OBJECT_TYPE_VAR) {
    object.variables.push_back(readVariable(section, index, 0));
  } else if (type == KQ::OBJECT_TYPE_ARRAY || type == KQ::OBJECT_TYPE_RECORD) {
    readSubIndexes(section, object);
  } else {
    file.fail(section, "ObjectType", "is not VAR (0x7), ARRAY (0x8) or RECORD (0x9)");
  }
  return object;
}

void ObjectReader::readSubIndexes(const std::string& section, EdsApplication::Object& object) const {
  if (file.getNumber(section, "CompactSubObj").value_or(EdsFile::Number{0, false}).value != 0) {
    file.fail(section, "CompactSubObj", "is not supported, every sub-index needs a section of its own");
  }
  const auto count = static_cast<std::size_t>(file.getNumber(section, "SubNumber", 1, HIGHEST_SUB_INDEX + 1));
  for (unsigned int subIndex = 0; subIndex <= HIGHEST_SUB_INDEX; ++subIndex) {
    const std::string subSection = section + "sub" + hexadecimal(subIndex);
    if (file.hasSection(subSection)) {
      object.variables.push_back(readVariable(subSection, object.index, static_cast<unsigned char>(subIndex)));
    }
  }
  if (object.variables.size() != count) {
    file.fail(section, "SubNumber",
              "does not agree with the " + std::to_string(object.variables.size()) + " sub-indexes in the file");
  }
}

KQ::KQVariable ObjectReader::readVariable(const std::string& section, unsigned short index,
                                          unsigned char subIndex) const {
  const DataType* const type = readIntegerType(section);
  KQ::KQVariable variable(index, subIndex, readName(section));
  variable.setAccessMode(readAccessMode(section));
  if (type == nullptr) {
    readText(section, variable);
  } else {
    readInteger(section, *type, variable);
  }
  return variable;
}

void ObjectReader::readText(const std::string& section, KQ::KQVariable& variable) const {
  variable.setStorageType(KQ::STORAGE_TYPE_STRING);
  variable.setInitialText(file.getText(section, "DefaultValue"));
}

void ObjectReader::readInteger(const std::string& section, const DataType& type, KQ::KQVariable& variable) const {
  const Range range = getRange(type);
  const long long low = readValue(section, "LowLimit", type).value_or(range.lowest);
  const long long high = readValue(section, "HighLimit", type).value_or(range.highest);
  if (low > high) {
    file.fail(section, "LowLimit", "is above HighLimit");
  }
  const std::optional<long long> initial = readValue(section, "DefaultValue", type);
  if (initial && (*initial < low || *initial > high)) {
    file.fail(section, "DefaultValue", "is outside LowLimit to HighLimit");
  }
  variable.setBitLength(type.bitLength);
  variable.setSigned(type.isSigned);
  // Values and limits of 32 bits are kept by their bit pattern.
  variable.setMinimum(static_cast<int>(low));
  variable.setMaximum(static_cast<int>(high));
  variable.setInitialValue(static_cast<int>(initial.value_or(std::clamp(0LL, low, high))));
}

std::optional<long long> ObjectReader::readValue(const std::string& section, const char* key,
                                                 const DataType& type) const {
  const std::optional<EdsFile::Number> number = file.getNumber(section, key);
  if (!number) {
    return std::nullopt;
  }
  const Range range = getRange(type);
  const long long numbers = 1LL << type.bitLength;
  long long value = number->value;
  if (type.isSigned && number->isHexadecimal && value > range.highest && value < numbers) {
    value -= numbers;  // 0xFF of an INTEGER8 is -1
  }
  if (value < range.lowest || value > range.highest) {
    file.fail(section, key, "'" + file.getText(section, key) + "' does not fit into " + type.name);
  }
  return value;
}

// Null for VISIBLE_STRING.
const DataType* ObjectReader::readIntegerType(const std::string& section) const {
  const long long code = file.getNumber(section, "DataType", 0, 0xFFFF);
  const DataType* const type = findType(INTEGER_TYPES, code);
  if (type == nullptr && code != KQ::DATA_TYPE_VISIBLE_STRING) {
    const DataType* const refused = findType(REFUSED_TYPES, code);
    const std::string name = refused == nullptr ? file.getText(section, "DataType") : refused->name;
    file.fail(section, "DataType",
              name + (refused != nullptr && refused->bitLength > 32 ? " has more than the 32 bits of a variable"
                                                                    : " is not a type that a variable can hold"));
  }
  return type;
}

int ObjectReader::readAccessMode(const std::string& section) const {
  std::string text = file.getText(section, "AccessType");
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  for (const AccessType& access : ACCESS_TYPES) {
    if (text == access.text) {
      return access.mode;
    }
  }
  file.fail(section, "AccessType", text.empty() ? "is missing" : "'" + text + "' is not ro, wo, rw, rwr, rww or const");
}

std::string ObjectReader::readName(const std::string& section) const {
  std::string name = file.getText(section, "ParameterName");
  if (name.empty()) {
    file.fail(section, "ParameterName", "is missing");
  }
  return name;
}

}  // namespace

EdsApplication::EdsApplication(const std::string& fileName, unsigned char nodeID)
    : objects(ObjectReader(EdsFile(fileName, nodeID)).readAll()) {}

void EdsApplication::bind(KQ::KQCANopen& node) {
  for (Object& object : objects) {
    // The entry first: addVariable() would have to guess its name and object code.
    node.getObjectDictionary()->addEntry(object.index, object.type, object.name);
    for (KQ::KQVariable& variable : object.variables) {
      node.addVariable(&variable);
    }
  }
}

}  // namespace panel
