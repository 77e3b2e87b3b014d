#include "EdsApplication.h"

#include <algorithm>

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"

namespace panel {

namespace {

using device_description::Access;
using device_description::IntegerType;
using device_description::Severity;
using device_description::SubObject;
using device_description::toHexadecimal;
using device_description::Value;

constexpr unsigned short FIRST_APPLICATION_INDEX = 0x2000;
constexpr unsigned char STRUCTURE_SUB_INDEX = 0xFF;
constexpr unsigned int MOST_BITS = 32;
// How many types of an odd length a node can define.
constexpr std::size_t MOST_OWN_TYPES = 8;

int getAccessMode(Access access) {
  switch (access) {
    case Access::WO:
      return 1;
    case Access::RO:
      return 2;
    case Access::CONST:
      return 3;
    case Access::RW:
    case Access::RWR:
    case Access::RWW:
      break;
  }
  return 0;
}

bool isStandardLength(const IntegerType& type) {
  return type.bits % 8 == 0 || (type.bits == 1 && !type.isSigned);
}

long long getLowest(const IntegerType& type) {
  return type.isSigned ? -(1LL << (type.bits - 1)) : 0;
}

long long getHighest(const IntegerType& type) {
  return (1LL << (type.isSigned ? type.bits - 1 : type.bits)) - 1;
}

unsigned int getKey(const KQ::KQVariable& variable) {
  return static_cast<unsigned int>(variable.getFirstAddress()) << 16 | variable.getSecondAddress();
}

}  // namespace

// Takes the objects that a variable store can hold.
class EdsApplication::Reader {
public:
  Reader(const device_description::DeviceDescription& read, const std::string& file, device_description::Findings& told,
         EdsApplication& filled)
      : description(read), fileName(file), findings(told), application(filled) {}

  void readAll() {
    for (auto object = description.objects.lower_bound(FIRST_APPLICATION_INDEX); object != description.objects.end();
         ++object) {
      readObject(object->second);
    }
  }

  // What a PDO may map.
  const NodeConfiguration::ObjectBits& getBits() const { return bits; }

private:
  void readObject(const device_description::Object& described) {
    if (described.code != device_description::CODE_VAR && described.code != device_description::CODE_ARRAY &&
        described.code != device_description::CODE_RECORD) {
      report(described.index, "ObjectType",
             toHexadecimal(described.code) +
                 " is no object of variables, expected VAR (0x7), ARRAY (0x8) or RECORD (0x9)");
      return;
    }
    Object object{described.index, static_cast<KQ::KQCANopenObjectType>(described.code), described.name, {}};
    for (const auto& item : described.subObjects) {
      readVariable(described, item.second, object);
    }
    if (!object.variables.empty()) {
      application.objects.push_back(std::move(object));
    }
  }

  void readVariable(const device_description::Object& described, const SubObject& subObject, Object& object) {
    const std::string section = described.hasSubIndexes()
                                    ? device_description::getSectionName(described.index, subObject.subIndex)
                                    : device_description::getSectionName(described.index);
    const std::optional<IntegerType> type = description.getIntegerType(subObject.dataType);
    KQ::KQVariable variable(described.index, subObject.subIndex, subObject.name);
    variable.setAccessMode(getAccessMode(subObject.access));
    if (subObject.subIndex == STRUCTURE_SUB_INDEX) {
      report(section, "", "is the structure of the object, which is no variable");
    } else if (subObject.dataType == device_description::TYPE_VISIBLE_STRING) {
      variable.setStorageType(KQ::STORAGE_TYPE_STRING);
      variable.setInitialText(subObject.getText());
      take(variable, 0, object);
    } else if (isTaken(section, subObject, type)) {
      fill(described, subObject, *type, variable);
      take(variable, type->bits, object);
    }
  }

  void take(const KQ::KQVariable& variable, unsigned int length, Object& object) {
    object.variables.push_back(variable);
    bits[getKey(variable)] = length;
  }

  bool isTaken(const std::string& section, const SubObject& subObject, const std::optional<IntegerType>& type) {
    const std::string name = description.getTypeName(subObject.dataType);
    if (!type) {
      report(section, "DataType",
             name + " is not a type that a variable can hold, expected an integer of up to 32 bits or VISIBLE_STRING");
      return false;
    }
    if (type->bits > MOST_BITS) {
      report(section, "DataType", name + " has more than the 32 bits of a variable");
      return false;
    }
    if (!isStandardLength(*type) && !defineType(*type)) {
      report(section, "DataType", name + " is the ninth type of its own, expected at most 8");
      return false;
    }
    return true;
  }

  bool defineType(const IntegerType& type) {
    std::vector<IntegerType>& types = application.ownTypes;
    const bool isDefined = std::any_of(types.begin(), types.end(), [&type](const IntegerType& one) {
      return one.bits == type.bits && one.isSigned == type.isSigned;
    });
    if (!isDefined && types.size() < MOST_OWN_TYPES) {
      types.push_back(type);
      return true;
    }
    return isDefined;
  }

  static void fill(const device_description::Object& described, const SubObject& subObject, const IntegerType& type,
                   KQ::KQVariable& variable) {
    const long long low = subObject.lowLimit ? subObject.lowLimit->number : getLowest(type);
    const long long high = subObject.highLimit ? subObject.highLimit->number : getHighest(type);
    const bool isHighestSubIndex = described.hasSubIndexes() && subObject.subIndex == 0;
    const long long usual = isHighestSubIndex ? described.subObjects.rbegin()->first : 0;
    const std::optional<Value>& value = subObject.getValue();
    variable.setBitLength(static_cast<int>(type.bits));
    variable.setSigned(type.isSigned);
    // Values and limits of 32 bits are kept by their bit pattern.
    variable.setMinimum(static_cast<int>(low));
    variable.setMaximum(static_cast<int>(high));
    variable.setInitialValue(static_cast<int>(value ? value->number : std::clamp(usual, low, high)));
    if (value && value->dependsOnNodeID) {
      // Kept with the object, so that it can be told again.
      variable.setInitialText(subObject.getText());
    }
  }

  void report(unsigned short index, const char* key, const std::string& reason) {
    report(device_description::getSectionName(index), key, reason);
  }

  void report(const std::string& section, const char* key, const std::string& reason) {
    findings.add(Severity::WARNING, fileName, section, key, reason + "; it is left out");
  }

  const device_description::DeviceDescription& description;
  const std::string& fileName;
  device_description::Findings& findings;
  EdsApplication& application;
  NodeConfiguration::ObjectBits bits;
};

EdsApplication::EdsApplication(device_description::DeviceDescription read, const std::string& fileName,
                               device_description::Findings& findings)
    : description(std::move(read)) {
  Reader reader(description, fileName, findings, *this);
  reader.readAll();
  configuration = std::make_unique<NodeConfiguration>(description, fileName, reader.getBits(), findings);
}

EdsApplication::EdsApplication(const std::string& fileName, std::optional<unsigned char> nodeID,
                               device_description::Findings& findings, unsigned char otherwise)
    : EdsApplication(device_description::DeviceDescription::read(fileName, nodeID, findings, otherwise), fileName,
                     findings) {}

void EdsApplication::bind(KQ::KQCANopen& node) {
  for (const IntegerType& type : ownTypes) {
    node.createDataTypeIfNotExisting(static_cast<int>(type.bits), type.isSigned);
  }
  KQ::KQCANopenObjectDictionary& dictionary = *node.getObjectDictionary();
  for (Object& object : objects) {
    // The entry first: addVariable() would have to guess its name and object code.
    dictionary.addEntry(object.index, object.type, object.name);
    for (KQ::KQVariable& variable : object.variables) {
      node.addVariable(&variable);
      const auto subIndex = static_cast<unsigned char>(variable.getSecondAddress());
      dictionary.getSubentry(object.index, subIndex)->pdoMappable =
          description.find(object.index, subIndex)->isMappable || configuration->maps(getKey(variable));
    }
  }
  configuration->apply(node);
}

}  // namespace panel
