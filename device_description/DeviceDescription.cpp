#include "DeviceDescription.h"

#include <cstdio>

namespace device_description {

namespace {

constexpr unsigned short RECEIVE_PDO = 0x1400;
constexpr unsigned short TRANSMIT_PDO = 0x1800;
constexpr unsigned short PDO_COUNT = 0x200;
constexpr unsigned short MAPPING_OFFSET = 0x200;
constexpr unsigned int NO_COB_ID = 0x80000000U;
constexpr unsigned char HIGHEST_MAPPING = 64;

// The value of a sub-index that is described, else what stands for it.
long long getNumber(const DeviceDescription& description, unsigned short index, unsigned char subIndex,
                    long long otherwise) {
  const SubObject* const subObject = description.find(index, subIndex);
  return subObject != nullptr && subObject->getValue() ? subObject->getValue()->number : otherwise;
}

// Where the file does not say how many there are, all up to the first that maps nothing.
bool isMapped(long long count, unsigned char position, unsigned int entry) {
  return count < 0 ? entry != 0 : position <= count;
}

std::vector<MappedObject> getMapping(const DeviceDescription& description, unsigned short mappingIndex) {
  std::vector<MappedObject> mapping;
  const long long count = getNumber(description, mappingIndex, 0, -1);
  for (unsigned char position = 1; position <= HIGHEST_MAPPING; ++position) {
    const auto entry = static_cast<unsigned int>(getNumber(description, mappingIndex, position, 0));
    if (!isMapped(count, position, entry)) {
      break;
    }
    mapping.push_back({static_cast<unsigned short>(entry >> 16), static_cast<unsigned char>(entry >> 8),
                       static_cast<unsigned char>(entry)});
  }
  return mapping;
}

PDO getPDO(const DeviceDescription& description, bool isTransmit, unsigned short number) {
  PDO pdo;
  pdo.isTransmit = isTransmit;
  pdo.number = number;
  const unsigned short index = pdo.getCommunicationIndex();
  pdo.cobID = static_cast<unsigned int>(getNumber(description, index, 1, NO_COB_ID));
  pdo.transmissionType = static_cast<unsigned char>(getNumber(description, index, 2, pdo.transmissionType));
  pdo.inhibitTime = static_cast<unsigned short>(getNumber(description, index, 3, 0));
  pdo.eventTimer = static_cast<unsigned short>(getNumber(description, index, 5, 0));
  pdo.mapping = getMapping(description, pdo.getMappingIndex());
  return pdo;
}

}  // namespace

const char* getName(Access access) {
  switch (access) {
    case Access::RO:
      return "ro";
    case Access::WO:
      return "wo";
    case Access::RW:
      return "rw";
    case Access::RWR:
      return "rwr";
    case Access::RWW:
      return "rww";
    case Access::CONST:
      break;
  }
  return "const";
}

unsigned short PDO::getCommunicationIndex() const {
  return static_cast<unsigned short>((isTransmit ? TRANSMIT_PDO : RECEIVE_PDO) + number);
}

unsigned short PDO::getMappingIndex() const {
  return static_cast<unsigned short>(getCommunicationIndex() + MAPPING_OFFSET);
}

const Object* DeviceDescription::find(unsigned short index) const {
  const auto found = objects.find(index);
  return found == objects.end() ? nullptr : &found->second;
}

const SubObject* DeviceDescription::find(unsigned short index, unsigned char subIndex) const {
  const Object* const object = find(index);
  if (object == nullptr) {
    return nullptr;
  }
  const auto found = object->subObjects.find(subIndex);
  return found == object->subObjects.end() ? nullptr : &found->second;
}

std::string DeviceDescription::getName(unsigned short index, unsigned char subIndex) const {
  const Object* const object = find(index);
  if (object == nullptr) {
    return "";
  }
  const SubObject* const subObject = object->hasSubIndexes() ? find(index, subIndex) : nullptr;
  return subObject == nullptr ? object->name : object->name + ", " + subObject->name;
}

std::optional<IntegerType> DeviceDescription::getIntegerType(unsigned int dataType) const {
  if (const DataType* const standard = findDataType(dataType)) {
    return standard->isInteger ? std::optional(IntegerType{standard->bits, standard->isSigned}) : std::nullopt;
  }
  const Object* const definition = find(static_cast<unsigned short>(dataType));
  if (definition == nullptr || definition->code != CODE_DEFTYPE) {
    return std::nullopt;
  }
  const long long bits = getNumber(*this, definition->index, 0, 0);
  if (bits < 1 || bits > 64) {
    return std::nullopt;
  }
  // CiA 301 gives the length as the value of the type; whether it has a sign, only its name can tell.
  return IntegerType{static_cast<unsigned int>(bits), definition->name.rfind("INTEGER", 0) == 0};
}

std::string DeviceDescription::getTypeName(unsigned int dataType) const {
  const DataType* const standard = findDataType(dataType);
  return standard != nullptr ? standard->name : toHexadecimal(dataType);
}

std::vector<PDO> DeviceDescription::getPDOs() const {
  std::vector<PDO> pdos;
  for (const bool isTransmit : {false, true}) {
    const unsigned short first = isTransmit ? TRANSMIT_PDO : RECEIVE_PDO;
    const auto end = objects.lower_bound(static_cast<unsigned short>(first + PDO_COUNT));
    for (auto object = objects.lower_bound(first); object != end; ++object) {
      pdos.push_back(getPDO(*this, isTransmit, static_cast<unsigned short>(object->first - first)));
    }
  }
  return pdos;
}

std::string toHexadecimal(unsigned long long number, int digits) {
  char text[32];
  std::snprintf(text, sizeof text, "0x%0*llX", digits, number);
  return text;
}

std::string getSectionName(unsigned short index) {
  return toHexadecimal(index).substr(2);
}

std::string getSectionName(unsigned short index, unsigned char subIndex) {
  return getSectionName(index) + "sub" + toHexadecimal(subIndex).substr(2);
}

}  // namespace device_description
