// A description as an electronic data sheet.

#include <algorithm>
#include <functional>
#include <locale>
#include <sstream>

#include "DeviceDescription.h"

namespace device_description {

namespace {

constexpr unsigned short MANDATORY_OBJECTS[] = {0x1000, 0x1001, 0x1018};
constexpr unsigned short FIRST_COMMUNICATION_OBJECT = 0x1000;
constexpr unsigned short FIRST_MANUFACTURER_OBJECT = 0x2000;
constexpr unsigned short FIRST_PROFILE_OBJECT = 0x6000;

// A text that stays in its line, and is not empty unless it was.
std::string inOneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char byte) { return byte < 0x20 && byte != '\t'; }, '?');
  return text;
}

bool isMandatory(unsigned short index) {
  return std::find(std::begin(MANDATORY_OBJECTS), std::end(MANDATORY_OBJECTS), index) != std::end(MANDATORY_OBJECTS);
}

// Types that the manufacturer defined are listed with what else is his.
bool isManufacturers(unsigned short index) {
  return index < FIRST_COMMUNICATION_OBJECT || (index >= FIRST_MANUFACTURER_OBJECT && index < FIRST_PROFILE_OBJECT);
}

bool isOptional(unsigned short index) {
  return !isMandatory(index) && !isManufacturers(index);
}

class Writer {
public:
  explicit Writer(const DeviceDescription& written) : description(written) {
    out.imbue(std::locale::classic());  // no digit grouping, whatever locale the application runs in
  }

  std::string write(const std::string& fileName) {
    writeFileInfo(fileName);
    writeDeviceInfo();
    out << "[DummyUsage]\n";
    for (int type = 1; type <= 7; ++type) {
      out << "Dummy000" << type << "=1\n";
    }
    out << "\n[Comments]\nLines=0\n";
    writeList("MandatoryObjects", isMandatory);
    writeList("OptionalObjects", isOptional);
    writeList("ManufacturerObjects", isManufacturers);
    for (const auto& item : description.objects) {
      writeObject(item.second);
    }
    return out.str();
  }

private:
  void writeKey(const char* key, const std::string& text) { out << key << '=' << inOneLine(text) << '\n'; }
  void writeNumber(const char* key, unsigned long long number) { writeKey(key, toHexadecimal(number)); }

  void writeFileInfo(const std::string& fileName) {
    const FileInfo& info = description.fileInfo;
    out << "[FileInfo]\n";
    writeKey("FileName", fileName);
    out << "FileVersion=1\nFileRevision=1\nEDSVersion=4.0\nDescription=Description of a running node\n";
    writeKey("CreationTime", info.creationTime);
    writeKey("CreationDate", info.creationDate);
    out << "CreatedBy=tavo-panel\n";
    writeKey("ModificationTime", info.modificationTime);
    writeKey("ModificationDate", info.modificationDate);
    out << "ModifiedBy=tavo-panel\n";
  }

  void writeDeviceInfo() {
    const DeviceInfo& info = description.deviceInfo;
    const std::vector<PDO> pdos = description.getPDOs();
    const auto transmitted = std::count_if(pdos.begin(), pdos.end(), [](const PDO& pdo) { return pdo.isTransmit; });
    out << "\n[DeviceInfo]\n";
    writeKey("VendorName", info.vendorName);
    writeNumber("VendorNumber", info.vendorNumber);
    writeKey("ProductName", info.productName);
    writeNumber("ProductNumber", info.productNumber);
    writeNumber("RevisionNumber", info.revisionNumber);
    writeKey("OrderCode", info.orderCode);
    out << "BaudRate_10=0\nBaudRate_20=0\nBaudRate_50=0\nBaudRate_125=1\nBaudRate_250=1\nBaudRate_500=1\n"
           "BaudRate_800=0\nBaudRate_1000=1\nSimpleBootUpMaster=0\nSimpleBootUpSlave=1\n"
           // Mappings cannot be changed over the bus.
           "Granularity=0\nDynamicChannelsSupported=0\nCompactPDO=0\nGroupMessaging=0\n"
        << "NrOfRXPDO=" << static_cast<long>(pdos.size()) - transmitted << "\nNrOfTXPDO=" << transmitted
        << "\nLSS_Supported=0\n\n";
  }

  void writeList(const char* section, const std::function<bool(unsigned short)>& belongs) {
    std::vector<unsigned short> indexes;
    for (const auto& item : description.objects) {
      if (belongs(item.first)) {
        indexes.push_back(item.first);
      }
    }
    out << "\n[" << section << "]\nSupportedObjects=" << indexes.size() << '\n';
    for (std::size_t i = 0; i < indexes.size(); ++i) {
      out << i + 1 << '=' << toHexadecimal(indexes[i], 4) << '\n';
    }
  }

  void writeObject(const Object& object) {
    out << "\n[" << getSectionName(object.index) << "]\n";
    writeKey("ParameterName", object.name);
    writeNumber("ObjectType", object.code);
    if (!object.hasSubIndexes()) {
      for (const auto& item : object.subObjects) {
        writeSubObject(item.second);
      }
      return;
    }
    out << "SubNumber=" << object.subObjects.size() << '\n';
    for (const auto& item : object.subObjects) {
      out << "\n[" << getSectionName(object.index, item.first) << "]\n";
      writeKey("ParameterName", item.second.name);
      writeNumber("ObjectType", CODE_VAR);
      writeSubObject(item.second);
    }
  }

  void writeSubObject(const SubObject& subObject) {
    out << "DataType=" << toHexadecimal(subObject.dataType, 4) << '\n';
    writeKey("AccessType", getName(subObject.access));
    writeValue("LowLimit", subObject, subObject.lowLimit);
    writeValue("HighLimit", subObject, subObject.highLimit);
    if (description.getIntegerType(subObject.dataType)) {
      writeValue("DefaultValue", subObject, subObject.getValue());
    } else {
      writeKey("DefaultValue", subObject.getText());
    }
    out << "PDOMapping=" << (subObject.isMappable ? 1 : 0) << '\n';
  }

  // A negative number is written in decimal: some readers take every hexadecimal one for positive.
  void writeValue(const char* key, const SubObject& subObject, const std::optional<Value>& value) {
    if (!value) {
      return;
    }
    const bool isSigned = description.getIntegerType(subObject.dataType).value_or(IntegerType{64, true}).isSigned;
    if (value->dependsOnNodeID) {
      writeKey(key, "$NODEID+" + toHexadecimal(static_cast<unsigned long long>(value->number - description.nodeID)));
    } else if (isSigned) {
      writeKey(key, std::to_string(value->number));
    } else {
      writeNumber(key, static_cast<unsigned long long>(value->number));
    }
  }

  const DeviceDescription& description;
  std::ostringstream out;
};

}  // namespace

std::string DeviceDescription::write(const std::string& fileName) const {
  return Writer(*this).write(fileName);
}

}  // namespace device_description
