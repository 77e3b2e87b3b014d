#include "NodeDescription.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQTime.h"

namespace panel {

namespace {

using device_description::Access;
using device_description::DeviceDescription;
using device_description::IntegerType;
using device_description::Object;
using device_description::SubObject;
using device_description::Value;

constexpr unsigned short FIRST_DESCRIBED = 0x1000;
constexpr unsigned short FIRST_APPLICATION_OBJECT = 0x2000;
constexpr unsigned short LAST_OBJECT = 0xFFFF;
constexpr unsigned short IDENTITY = 0x1018;
constexpr unsigned short DEVICE_NAME = 0x1008;
constexpr unsigned char COB_ID = 1;

// Limits that an object has which nobody has given any.
constexpr int NO_LOW_LIMIT = 0;
constexpr int NO_HIGH_LIMIT = 0x7FFFFFFF;

Access getAccess(KQ::KQCANopenAccessType access) {
  switch (access) {
    case KQ::ACCESS_RO:
      return Access::RO;
    case KQ::ACCESS_WO:
      return Access::WO;
    case KQ::ACCESS_RW:
      return Access::RW;
    case KQ::ACCESS_RWW:
      return Access::RWW;
    case KQ::ACCESS_RWR:
      return Access::RWR;
    case KQ::ACCESS_CONST:
      break;
  }
  return Access::CONST;
}

bool isPDOCommunication(unsigned short index) {
  return (index >= 0x1400 && index < 0x1600) || (index >= 0x1800 && index < 0x1A00);
}

// A COB-ID of the predefined connection set holds the node-ID in its low bits.
bool isPredefined(unsigned int cobID, unsigned char nodeID) {
  const unsigned int function = cobID & 0x780U;
  return (cobID & 0x7FU) == nodeID && function >= 0x180 && function <= 0x500;
}

bool namesNodeID(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
  return text.find("$NODEID") != std::string::npos;
}

// A number of the dictionary as its type has it: an unsigned one is kept by its bit pattern.
long long toNumber(int pattern, const IntegerType& type) {
  return type.isSigned ? pattern : static_cast<long long>(static_cast<unsigned int>(pattern));
}

class NodeDescriber {
public:
  explicit NodeDescriber(KQ::KQCANopen& described) : node(described), dictionary(*described.getObjectDictionary()) {
    description.nodeID = node.getNodeID();
  }

  DeviceDescription describe() {
    describeTypes();
    for (const KQ::ObjectDictionaryEntry* const entry : dictionary.getEntries(FIRST_DESCRIBED, LAST_OBJECT)) {
      describeObject(*entry);
    }
    describeDevice();
    return std::move(description);
  }

private:
  // The dictionary has a type of its own as an object of that type, from which nobody can tell its length.
  void describeTypes() {
    for (int code = KQ::DATA_TYPE_MANUFACTURER_FIRST; code <= KQ::DATA_TYPE_MANUFACTURER_LAST; ++code) {
      const auto* const definition =
          node.getManufacturerSpecificDataTypeDefinition(static_cast<KQ::KQCANopenDataType>(code));
      if (definition == nullptr) {
        continue;
      }
      SubObject length;
      length.name = (definition->isSigned ? "INTEGER" : "UNSIGNED") + std::to_string(definition->bitCount);
      length.dataType = device_description::TYPE_UNSIGNED32;
      length.access = Access::CONST;
      length.defaultValue = Value{definition->bitCount, false};
      const auto index = static_cast<unsigned short>(code);
      description.objects[index] = Object{index, device_description::CODE_DEFTYPE, length.name, {{0, length}}};
    }
  }

  void describeObject(const KQ::ObjectDictionaryEntry& entry) {
    Object object;
    object.index = entry.index;
    object.code = static_cast<device_description::ObjectCode>(entry.objectType);
    object.name = entry.name.empty() ? "Object " + device_description::getSectionName(entry.index) : entry.name;
    for (const auto& item : entry.subEntries) {
      object.subObjects.emplace(item.first, describeSubObject(object, *item.second));
    }
    description.objects.emplace(object.index, std::move(object));
  }

  SubObject describeSubObject(const Object& object, const KQ::ObjectDictionarySubEntry& subEntry) {
    SubObject subObject;
    subObject.subIndex = subEntry.subIndex;
    subObject.name = !subEntry.name.empty() ? subEntry.name : object.name;
    subObject.dataType = static_cast<unsigned int>(subEntry.dataType);
    subObject.access = getAccess(subEntry.accessType);
    subObject.isMappable = subEntry.pdoMappable;
    if (const std::optional<IntegerType> type = description.getIntegerType(subObject.dataType)) {
      describeNumber(object.index, subEntry, *type, subObject);
    } else {
      subObject.defaultText = subEntry.isVariable ? subEntry.defaultValueString : subEntry.valueString;
    }
    return subObject;
  }

  // A communication object may hold something else than what it was created with, by what configured the node.
  void describeNumber(unsigned short index, const KQ::ObjectDictionarySubEntry& subEntry, const IntegerType& type,
                      SubObject& subObject) {
    const int held = subEntry.isVariable ? subEntry.defaultValue : subEntry.loadValue();
    const bool isDefault = held == subEntry.defaultValue && namesNodeID(subEntry.defaultValueString);
    const bool isCOBID = isPDOCommunication(index) && subEntry.subIndex == COB_ID &&
                         isPredefined(static_cast<unsigned int>(held), node.getNodeID());
    subObject.defaultValue = Value{toNumber(held, type), isDefault || isCOBID};
    describeLimits(index, subEntry, type, subObject);
  }

  void describeLimits(unsigned short index, const KQ::ObjectDictionarySubEntry& subEntry, const IntegerType& type,
                      SubObject& subObject) {
    const bool isUnlimited = index < FIRST_APPLICATION_OBJECT
                                 ? subEntry.lowLimit == NO_LOW_LIMIT && subEntry.highLimit == NO_HIGH_LIMIT
                                 : !isOwnVariable(index, subEntry.subIndex);
    if (isUnlimited || type.bits > 32) {
      return;
    }
    const long long half = 1LL << (type.bits - 1);
    const long long lowest = type.isSigned ? -half : 0;
    const long long highest = type.isSigned ? half - 1 : half - 1 + half;
    const long long low = std::max(lowest, toNumber(subEntry.lowLimit, type));
    const long long high = std::min(highest, toNumber(subEntry.highLimit, type));
    const long long value = subObject.defaultValue->number;
    if (low > value || value > high) {
      return;
    }
    if (low > lowest) {
      subObject.lowLimit = Value{low, false};
    }
    if (high < highest) {
      subObject.highLimit = Value{high, false};
    }
  }

  // The node checks the limits of its own variables, and of no others.
  bool isOwnVariable(unsigned short index, unsigned char subIndex) const {
    return KQ::KQDEI::instance()->getVariableOwnerPointer(index, subIndex) == &node;
  }

  void describeDevice() {
    device_description::DeviceInfo& info = description.deviceInfo;
    info.vendorName = "Hollmark Elektronik GmbH & Co. KG";
    info.productName = "TAVO Operating Panel";
    dictionary.getValue(DEVICE_NAME, 0, info.orderCode);
    info.vendorNumber = getIdentity(1);
    info.productNumber = getIdentity(2);
    info.revisionNumber = getIdentity(3);
  }

  unsigned int getIdentity(unsigned char subIndex) {
    int number = 0;
    dictionary.getValue(IDENTITY, subIndex, number);
    return static_cast<unsigned int>(number);
  }

  KQ::KQCANopen& node;
  KQ::KQCANopenObjectDictionary& dictionary;
  DeviceDescription description;
};

std::string getTimeText(const KQ::KQTime& now) {
  char text[16];
  const int hour = now.getHours() % 12 == 0 ? 12 : now.getHours() % 12;
  std::snprintf(text, sizeof text, "%02d:%02d%s", hour, now.getMinutes(), now.getHours() > 11 ? "PM" : "AM");
  return text;
}

std::string getDateText(const KQ::KQTime& now) {
  char text[32];
  std::snprintf(text, sizeof text, "%02d-%02d-%04d", now.getMonth(), now.getDays(), now.getYear());
  return text;
}

}  // namespace

DeviceDescription describeNode(KQ::KQCANopen& node, const device_description::FileInfo& made) {
  DeviceDescription description = NodeDescriber(node).describe();
  const KQ::KQTime now(0);
  description.fileInfo.creationTime = made.creationTime.empty() ? getTimeText(now) : made.creationTime;
  description.fileInfo.creationDate = made.creationDate.empty() ? getDateText(now) : made.creationDate;
  description.fileInfo.modificationTime = description.fileInfo.creationTime;
  description.fileInfo.modificationDate = description.fileInfo.creationDate;
  return description;
}

}  // namespace panel
