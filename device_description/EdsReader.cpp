#include "EdsReader.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include "NumberText.h"

namespace device_description {

namespace {

constexpr const char* OBJECT_LISTS[] = {"MandatoryObjects", "OptionalObjects", "ManufacturerObjects"};
constexpr const char SUPPORTED_OBJECTS[] = "SupportedObjects";
constexpr const char DEVICE_INFO[] = "DeviceInfo";
constexpr const char FILE_INFO[] = "FileInfo";
// Spelt so in CiA 306; some write it as it is spelt elsewhere.
constexpr const char* COMMISSIONING[] = {"DeviceComissioning", "DeviceCommissioning"};

// Sections that are no objects, and of which nothing is wanted.
constexpr const char* OTHER_SECTIONS[] = {
    "DUMMYUSAGE", "COMMENTS", "DYNAMICCHANNELS", "STANDARDDATATYPES", "SUPPORTEDMODULES", "CONNECTEDMODULES", "TOOLS"};

// The keys of an object or of a sub-index.
constexpr const char* OBJECT_KEYS[] = {"PARAMETERNAME", "OBJECTTYPE",     "DATATYPE",   "ACCESSTYPE", "LOWLIMIT",
                                       "HIGHLIMIT",     "DEFAULTVALUE",   "PDOMAPPING", "SUBNUMBER",  "COMPACTSUBOBJ",
                                       "OBJFLAGS",      "PARAMETERVALUE", "DENOTATION", "PARAMREFD",  "UPLOADFILE",
                                       "DOWNLOADFILE",  "SUBEXTENDS",     "UNIQUEIDREF"};

constexpr const char* ADDITIONS[] = {"NAME", "VALUE", "DENOTATION", "OBJECTLINKS"};

constexpr unsigned int HIGHEST_COMPACT_SUB_INDEX = 0xFE;
constexpr unsigned short FIRST_OBJECT = 0x1000;

struct AccessName {
  const char* text;
  Access access;
};

constexpr AccessName ACCESS_NAMES[] = {{"RO", Access::RO},   {"WO", Access::WO},   {"RW", Access::RW},
                                       {"RWR", Access::RWR}, {"RWW", Access::RWW}, {"CONST", Access::CONST}};

constexpr ObjectCode OBJECT_CODES[] = {CODE_DOMAIN, CODE_DEFTYPE, CODE_DEFSTRUCT, CODE_VAR, CODE_ARRAY, CODE_RECORD};

std::string inUpperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(letter < 0x80 ? std::toupper(letter) : letter); });
  return text;
}

template <std::size_t COUNT>
bool contains(const char* const (&names)[COUNT], const std::string& name) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// Takes up to most hexadecimal digits from the front of a name in upper case.
std::optional<unsigned int> takeHexadecimal(std::string& name, std::size_t most) {
  const std::size_t count = std::min(name.find_first_not_of("0123456789ABCDEF"), name.size());
  if (count == 0 || count > most) {
    return std::nullopt;
  }
  const auto number = static_cast<unsigned int>(std::stoul(name.substr(0, count), nullptr, 16));
  name.erase(0, count);
  return number;
}

bool isNumber(const std::string& key) {
  return key.size() <= 5 && key.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

void EdsReader::readAll(std::optional<unsigned char> nodeID, unsigned char otherwise) {
  readNodeID(nodeID, otherwise);
  sortSections();
  readDeviceInfo();
  readLists();
  // Values are read by their types, so that those come first.
  readObjects(true);
  readObjects(false);
}

void EdsReader::readNodeID(std::optional<unsigned char> nodeID, unsigned char otherwise) {
  for (const char* const section : COMMISSIONING) {
    const std::optional<unsigned int> found = readNumber(section, "NodeID", 1, 127, 0);
    if (found.value_or(0) != 0) {
      description.commissionedNodeID = static_cast<unsigned char>(*found);
    }
  }
  description.nodeID = nodeID.value_or(description.commissionedNodeID.value_or(otherwise));
}

void EdsReader::sortSections() {
  for (const std::string& section : text.getSections()) {
    const std::string name = inUpperCase(section);
    const bool isTool = name.rfind("TOOL", 0) == 0 && name.size() > 4 && isNumber(name.substr(4));
    const bool isKnown = contains(OTHER_SECTIONS, name) || isTool || name == inUpperCase(FILE_INFO) ||
                         name == inUpperCase(DEVICE_INFO) || name == inUpperCase(COMMISSIONING[0]) ||
                         name == inUpperCase(COMMISSIONING[1]) ||
                         std::any_of(std::begin(OBJECT_LISTS), std::end(OBJECT_LISTS),
                                     [&name](const char* list) { return name == inUpperCase(list); });
    if (!isKnown && !sortObjectSection(section)) {
      report(Severity::NOTE, section, "", "is no section that is known here, and is not read");
    }
  }
}

bool EdsReader::sortObjectSection(const std::string& section) {
  std::string rest = inUpperCase(section);
  const std::optional<unsigned int> index = takeHexadecimal(rest, 4);
  if (!index) {
    return false;
  }
  ObjectSections& sections = objectSections[static_cast<unsigned short>(*index)];
  std::string* place = &sections.object;
  if (contains(ADDITIONS, rest)) {
    place = &sections.additions[rest];
  } else if (rest.rfind("SUB", 0) == 0) {
    rest.erase(0, 3);
    const std::optional<unsigned int> subIndex = takeHexadecimal(rest, 2);
    if (!subIndex || !rest.empty()) {
      return false;
    }
    place = &sections.subObjects[static_cast<unsigned char>(*subIndex)];
  } else if (!rest.empty()) {
    return false;
  }
  if (!place->empty()) {
    report(Severity::WARNING, section, "", "is the same as [" + *place + "], expected one of them; it is not read");
    return true;
  }
  *place = section;
  return true;
}

void EdsReader::readDeviceInfo() {
  description.fileInfo.creationTime = text.getText(FILE_INFO, "CreationTime").value_or("");
  description.fileInfo.creationDate = text.getText(FILE_INFO, "CreationDate").value_or("");
  description.fileInfo.modificationTime = text.getText(FILE_INFO, "ModificationTime").value_or("");
  description.fileInfo.modificationDate = text.getText(FILE_INFO, "ModificationDate").value_or("");
  if (!text.hasSection(DEVICE_INFO)) {
    report(Severity::WARNING, DEVICE_INFO, "", "is missing, expected vendor and product");
    return;
  }
  DeviceInfo& info = description.deviceInfo;
  info.vendorName = text.getText(DEVICE_INFO, "VendorName").value_or("");
  info.productName = text.getText(DEVICE_INFO, "ProductName").value_or("");
  info.orderCode = text.getText(DEVICE_INFO, "OrderCode").value_or("");
  info.vendorNumber = readNumber(DEVICE_INFO, "VendorNumber", 0, 0xFFFFFFFF, 0).value_or(0);
  info.productNumber = readNumber(DEVICE_INFO, "ProductNumber", 0, 0xFFFFFFFF, 0).value_or(0);
  info.revisionNumber = readNumber(DEVICE_INFO, "RevisionNumber", 0, 0xFFFFFFFF, 0).value_or(0);
  if (readNumber(DEVICE_INFO, "CompactPDO", 0, 0xFFFFFFFF, 0).value_or(0) != 0) {
    report(Severity::WARNING, DEVICE_INFO, "CompactPDO",
           "is not supported, expected sections for all PDO parameters; PDOs without are left out");
  }
}

void EdsReader::readLists() {
  bool anyList = false;
  for (const char* const list : OBJECT_LISTS) {
    if (text.hasSection(list)) {
      anyList = true;
      readList(list);
    }
  }
  if (!anyList) {
    report(Severity::ERROR, OBJECT_LISTS[2], SUPPORTED_OBJECTS, "is missing, the file is no EDS");
    return;
  }
  checkListed();
}

void EdsReader::readList(const std::string& list) {
  const std::optional<unsigned int> count = readNumber(list, SUPPORTED_OBJECTS, 0, 0xFFFF);
  unsigned int entries = 0;
  for (const std::string& key : text.getKeys(list)) {
    if (inUpperCase(key) == inUpperCase(SUPPORTED_OBJECTS)) {
      continue;
    }
    if (!isNumber(key)) {
      report(Severity::WARNING, list, key, "is no key of a list, expected 1, 2, 3 and so on; it is not read");
      continue;
    }
    ++entries;
    const std::optional<unsigned int> index = readNumber(list, key, 1, 0xFFFF);
    if (index && !listed.emplace(static_cast<unsigned short>(*index), list).second) {
      report(Severity::WARNING, list, key, toHexadecimal(*index, 4) + " is listed twice, expected once");
    }
  }
  if (count && *count != entries) {
    report(Severity::WARNING, list, SUPPORTED_OBJECTS,
           quote(*text.getText(list, SUPPORTED_OBJECTS)) + " objects announced, found " + std::to_string(entries) +
               "; all that are found are read");
  }
}

void EdsReader::checkListed() {
  for (const auto& [index, list] : listed) {
    const auto sections = objectSections.find(index);
    if (sections == objectSections.end() || sections->second.object.empty()) {
      report(Severity::WARNING, getSectionName(index), "", "is missing, although [" + list + "] names the object");
    }
  }
  for (const auto& [index, sections] : objectSections) {
    if (!sections.object.empty() && listed.find(index) == listed.end()) {
      report(Severity::WARNING, sections.object, "", "is an object that no list names, expected it in one; it is read");
    }
    if (sections.object.empty()) {
      for (const auto& item : sections.subObjects) {
        report(Severity::WARNING, item.second, "",
               "belongs to no object, expected a section [" + getSectionName(index) + "]; it is not read");
      }
    }
  }
}

void EdsReader::readObjects(bool areTypes) {
  for (const auto& [index, sections] : objectSections) {
    if (!sections.object.empty() && (index < FIRST_OBJECT) == areTypes) {
      readObject(index, sections);
    }
  }
}

void EdsReader::readObject(unsigned short index, const ObjectSections& sections) {
  checkKeys(sections.object);
  Object object;
  object.index = index;
  const std::optional<std::string> name = readName(sections.object);
  const std::optional<ObjectCode> code = readObjectCode(sections);
  if (!name || !code) {
    return;
  }
  object.name = *name;
  object.code = *code;
  if (object.hasSubIndexes()) {
    readSubObjects(sections, object);
  } else {
    for (const auto& item : sections.subObjects) {
      report(Severity::WARNING, item.second, "", "belongs to an object without sub-indexes; it is not read");
    }
    tellUnused(sections);
    if (std::optional<SubObject> subObject = readSubObject(sections.object, object.code, 0)) {
      object.subObjects.emplace(0, std::move(*subObject));
    }
  }
  if (!object.subObjects.empty()) {
    description.objects.emplace(index, std::move(object));
  }
}

std::optional<ObjectCode> EdsReader::readObjectCode(const ObjectSections& sections) {
  constexpr const char KEY[] = "ObjectType";
  const std::optional<std::string> found = text.getText(sections.object, KEY);
  if (!found) {
    if (sections.subObjects.empty() && !text.getText(sections.object, "CompactSubObj")) {
      return CODE_VAR;
    }
    report(Severity::ERROR, sections.object, KEY, "is missing, expected ARRAY (0x8) or RECORD (0x9)");
    return std::nullopt;
  }
  const std::optional<NumberText> number = NumberText::parse(*found, description.nodeID);
  const std::optional<unsigned int> code = number ? number->within(0, 0xFF) : std::nullopt;
  const auto* const known = std::find_if(std::begin(OBJECT_CODES), std::end(OBJECT_CODES),
                                         [&code](ObjectCode one) { return code && one == *code; });
  if (known == std::end(OBJECT_CODES)) {
    report(Severity::ERROR, sections.object, KEY,
           quote(*found) +
               ", expected VAR (0x7), ARRAY (0x8), RECORD (0x9), DOMAIN (0x2), DEFTYPE (0x5) or DEFSTRUCT (0x6)");
    return std::nullopt;
  }
  return *known;
}

void EdsReader::readSubObjects(const ObjectSections& sections, Object& object) {
  const unsigned int compact =
      readNumber(sections.object, "CompactSubObj", 0, HIGHEST_COMPACT_SUB_INDEX, 0).value_or(0);
  if (compact != 0) {
    readCompact(sections, compact, object);
  }
  for (const auto& [subIndex, section] : sections.subObjects) {
    checkKeys(section);
    if (std::optional<SubObject> subObject = readSubObject(section, CODE_VAR, subIndex)) {
      object.subObjects[subIndex] = std::move(*subObject);
    }
  }
  if (compact == 0) {
    checkSubNumber(sections, object);
    tellUnused(sections);
  }
}

void EdsReader::tellUnused(const ObjectSections& sections) {
  for (const auto& [kind, section] : sections.additions) {
    if (kind != "OBJECTLINKS") {
      report(Severity::WARNING, section, "", "belongs to an object without CompactSubObj; it is not read");
    }
  }
}

void EdsReader::checkSubNumber(const ObjectSections& sections, const Object& object) {
  constexpr const char KEY[] = "SubNumber";
  const std::optional<unsigned int> count = readNumber(sections.object, KEY, 1, 0x100);
  if (count && *count != sections.subObjects.size()) {
    report(Severity::WARNING, sections.object, KEY,
           quote(*text.getText(sections.object, KEY)) + " sub-indexes announced, found " +
               std::to_string(sections.subObjects.size()) + "; all that are found are read");
  }
  if (sections.subObjects.find(0) == sections.subObjects.end()) {
    report(Severity::WARNING, getSectionName(object.index, 0), "", "is missing, expected the highest sub-index there");
  }
}

// All sub-indexes from 1 on are alike, but for what further sections say; sub-index 0 is not written at all.
void EdsReader::readCompact(const ObjectSections& sections, unsigned int count, Object& object) {
  const std::optional<SubObject> pattern = readSubObject(sections.object, CODE_VAR, 1);
  if (!pattern) {
    return;
  }
  SubObject highest;
  highest.name = "NrOfObjects";
  highest.dataType = TYPE_UNSIGNED8;
  highest.defaultValue = Value{static_cast<long long>(count), false};
  object.subObjects.emplace(0, highest);
  for (unsigned int subIndex = 1; subIndex <= count; ++subIndex) {
    SubObject subObject = *pattern;
    subObject.subIndex = static_cast<unsigned char>(subIndex);
    subObject.name = object.name + std::to_string(subIndex);
    object.subObjects.emplace(subObject.subIndex, std::move(subObject));
  }
  for (const char* const kind : {"NAME", "DENOTATION", "VALUE"}) {
    readAddition(sections, kind, object);
  }
}

void EdsReader::readAddition(const ObjectSections& sections, const char* kind, Object& object) {
  const auto addition = sections.additions.find(kind);
  if (addition == sections.additions.end()) {
    return;
  }
  constexpr const char COUNT[] = "NrOfEntries";
  const std::string& section = addition->second;
  const std::optional<unsigned int> count = readNumber(section, COUNT, 0, 0xFF);
  unsigned int entries = 0;
  for (const std::string& key : text.getKeys(section)) {
    if (inUpperCase(key) == inUpperCase(COUNT)) {
      continue;
    }
    ++entries;
    const unsigned long subIndex = isNumber(key) ? std::stoul(key) : 0x100;
    const auto subObject =
        subIndex > 0xFF ? object.subObjects.end() : object.subObjects.find(static_cast<unsigned char>(subIndex));
    if (subObject == object.subObjects.end()) {
      report(Severity::WARNING, section, key, "is no sub-index of the object; it is not read");
    } else if (kind == std::string("VALUE")) {
      subObject->second.parameterText = text.getText(section, key).value_or("");
      if (const std::optional<IntegerType> type = description.getIntegerType(subObject->second.dataType)) {
        readValue(section, key.c_str(), *type, subObject->second.dataType, subObject->second.parameterValue);
      }
    } else {
      subObject->second.name = text.getText(section, key).value_or(subObject->second.name);
    }
  }
  if (count && *count != entries) {
    report(Severity::WARNING, section, COUNT,
           quote(*text.getText(section, COUNT)) + " entries announced, found " + std::to_string(entries) +
               "; all that are found are read");
  }
}

std::optional<SubObject> EdsReader::readSubObject(const std::string& section, ObjectCode code, unsigned char subIndex) {
  SubObject subObject;
  subObject.subIndex = subIndex;
  const std::optional<std::string> name = readName(section);
  const bool isDomain = code == CODE_DOMAIN;
  const std::optional<unsigned int> dataType =
      isDomain ? readNumber(section, "DataType", 1, 0xFFFF, TYPE_DOMAIN) : readNumber(section, "DataType", 1, 0xFFFF);
  const std::optional<Access> access = readAccess(section, isDomain || code == CODE_DEFTYPE);
  const bool isMappableRead = readMappable(section, subObject);
  if (!name || !dataType || !access || !isMappableRead) {
    return std::nullopt;
  }
  subObject.name = *name;
  subObject.dataType = *dataType;
  subObject.access = *access;
  return readValues(section, subObject) ? std::optional(std::move(subObject)) : std::nullopt;
}

bool EdsReader::readValues(const std::string& section, SubObject& subObject) {
  subObject.defaultText = text.getText(section, "DefaultValue").value_or("");
  subObject.parameterText = text.getText(section, "ParameterValue").value_or("");
  const std::optional<IntegerType> type = description.getIntegerType(subObject.dataType);
  if (!type) {
    return true;
  }
  const unsigned int code = subObject.dataType;
  const bool areLimitsRead = readValue(section, "LowLimit", *type, code, subObject.lowLimit) &&
                             readValue(section, "HighLimit", *type, code, subObject.highLimit);
  const bool areValuesRead = readValue(section, "DefaultValue", *type, code, subObject.defaultValue) &&
                             readValue(section, "ParameterValue", *type, code, subObject.parameterValue);
  return areLimitsRead && areValuesRead && (type->bits == 64 || checkLimits(section, subObject));
}

bool EdsReader::checkLimits(const std::string& section, SubObject& subObject) {
  std::optional<Value>& low = subObject.lowLimit;
  std::optional<Value>& high = subObject.highLimit;
  if (low && high && low->number > high->number) {
    report(Severity::WARNING, section, "LowLimit",
           quote(*text.getText(section, "LowLimit")) + " is above HighLimit " +
               quote(*text.getText(section, "HighLimit")) + ", expected at most that; both are ignored");
    low.reset();
    high.reset();
  }
  for (const char* const key : {"DefaultValue", "ParameterValue"}) {
    const std::optional<Value>& value = key[0] == 'D' ? subObject.defaultValue : subObject.parameterValue;
    if (value && ((low && value->number < low->number) || (high && value->number > high->number))) {
      report(Severity::ERROR, section, key,
             quote(text.getText(section, key).value_or("")) + " is outside LowLimit to HighLimit, expected " +
                 (low ? std::to_string(low->number) : "the lowest") + " to " +
                 (high ? std::to_string(high->number) : "the highest"));
      return false;
    }
  }
  return true;
}

bool EdsReader::readValue(const std::string& section, const char* key, const IntegerType& type, unsigned int dataType,
                          std::optional<Value>& value) {
  const std::optional<std::string> found = text.getText(section, key);
  if (!found) {
    return true;
  }
  const std::optional<NumberText> number = NumberText::parse(*found, description.nodeID);
  if (!number) {
    report(Severity::ERROR, section, key,
           quote(*found) + " is not a number, expected decimal, 0x hexadecimal or 0 octal, with or without $NODEID+");
    return false;
  }
  value = number->as(type);
  if (!value) {
    report(
        Severity::ERROR, section, key,
        quote(*found) + " does not fit into " + description.getTypeName(dataType) + ", expected " + getRangeText(type));
  }
  return value.has_value();
}

std::optional<Access> EdsReader::readAccess(const std::string& section, bool mayBeMissing) {
  constexpr const char KEY[] = "AccessType";
  constexpr const char EXPECTED[] = ", expected ro, wo, rw, rwr, rww or const";
  const std::optional<std::string> found = text.getText(section, KEY);
  if (!found) {
    if (mayBeMissing) {
      return Access::RO;
    }
    report(Severity::ERROR, section, KEY, std::string("is missing") + EXPECTED);
    return std::nullopt;
  }
  const std::string wanted = inUpperCase(*found);
  for (const AccessName& name : ACCESS_NAMES) {
    if (wanted == name.text) {
      return name.access;
    }
  }
  report(Severity::ERROR, section, KEY, quote(*found) + EXPECTED);
  return std::nullopt;
}

bool EdsReader::readMappable(const std::string& section, SubObject& subObject) {
  const std::optional<unsigned int> isMappable = readNumber(section, "PDOMapping", 0, 1, 0);
  subObject.isMappable = isMappable.value_or(0) != 0;
  return isMappable.has_value();
}

std::optional<std::string> EdsReader::readName(const std::string& section) {
  std::optional<std::string> name = text.getText(section, "ParameterName");
  if (!name) {
    report(Severity::ERROR, section, "ParameterName", "is missing, expected a name");
  }
  return name;
}

std::optional<unsigned int> EdsReader::readNumber(const std::string& section, const std::string& key,
                                                  unsigned int lowest, unsigned int highest,
                                                  std::optional<unsigned int> otherwise) {
  const std::string expected = "expected a number from " + std::to_string(lowest) + " to " +
                               (highest > 0xFF ? toHexadecimal(highest) : std::to_string(highest));
  const std::optional<std::string> found = text.getText(section, key);
  if (!found) {
    if (!otherwise) {
      report(Severity::ERROR, section, key, "is missing, " + expected);
    }
    return otherwise;
  }
  const std::optional<NumberText> number = NumberText::parse(*found, description.nodeID);
  const std::optional<unsigned int> value = number ? number->within(lowest, highest) : std::nullopt;
  if (!value) {
    report(Severity::ERROR, section, key,
           quote(*found) + (number ? " is out of range, " : " is not a number, ") + expected);
  }
  return value;
}

void EdsReader::checkKeys(const std::string& section) {
  for (const std::string& key : text.getKeys(section)) {
    if (!contains(OBJECT_KEYS, inUpperCase(key))) {
      report(Severity::WARNING, section, key, "is no key of an object, and is not read");
    }
  }
}

}  // namespace device_description
