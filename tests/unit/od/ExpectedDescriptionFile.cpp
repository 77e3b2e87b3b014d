#include "ExpectedDescriptionFile.h"

#include <sstream>
#include <unordered_map>

namespace test {

namespace {

constexpr int VISIBLE_STRING = 9;
constexpr int VAR = 7;

// Maps of the same kind, filled in the same order, walk in the order of the dictionary's.
using SubEntries = std::unordered_map<unsigned char, const ExpectedObject*>;
using Entries = std::unordered_map<unsigned short, SubEntries>;

Entries entriesOf(const std::vector<ExpectedObject>& objects) {
  Entries entries;
  for (const ExpectedObject& object : objects) {
    entries[object.index].emplace(object.subIndex, &object);
  }
  return entries;
}

std::string hex(unsigned int value) {
  std::ostringstream text;
  text << std::hex << value;
  return text.str();
}

std::string valueLines(const ExpectedObject& object) {
  if (object.dataType == VISIBLE_STRING) {
    return "DefaultValue=" + object.defaultText + "\nParameterValue=" + object.defaultText + "\n";
  }
  return "LowLimit=0x" + hex(object.lowLimit) + "\nHighLimit=0x" + hex(object.highLimit) + "\nDefaultValue=0x" +
         hex(object.defaultValue) + "\nParameterValue=0x" + hex(object.defaultValue) + "\n";
}

std::string typeLines(const ExpectedObject& object) {
  return "DataType=0x" + hex(static_cast<unsigned int>(object.dataType)) + "\nAccessType=" + object.access + "\n";
}

std::string mappingLine(const ExpectedObject& object) {
  return std::string("PDOMapping=") + (object.pdoMappable ? "1" : "0") + "\n";
}

std::string subEntrySections(unsigned short index, const SubEntries& subEntries) {
  std::string text = "SubNumber=" + std::to_string(subEntries.size()) + "\n";
  for (const auto& [subIndex, object] : subEntries) {
    text += "\n[" + hex(index) + "sub" + hex(subIndex) + "]\nParameterName=" + object->subName + "\nObjectType=0x7\n" +
            typeLines(*object) + valueLines(*object) + mappingLine(*object);
  }
  return text;
}

std::string entrySection(unsigned short index, const SubEntries& subEntries) {
  if (index < 0x1000) {
    return {};
  }
  const ExpectedObject& first = *subEntries.begin()->second;
  const std::string head = "[" + hex(index) + "]\nParameterName=" + first.entryName + "\nObjectType=0x" +
                           hex(static_cast<unsigned int>(first.objectType)) + "\n";
  if (first.objectType == VAR) {
    const ExpectedObject& object = *subEntries.at(0);
    return head + typeLines(object) + mappingLine(object) + valueLines(object);
  }
  return head + subEntrySections(index, subEntries);
}

std::string objectList(const std::string& name, const std::vector<unsigned short>& indexes) {
  std::string text = "[" + name + "]\nSupportedObjects=" + std::to_string(indexes.size()) + "\n";
  for (std::size_t i = 0; i < indexes.size(); ++i) {
    text += std::to_string(i + 1) + "=0x" + hex(indexes[i]) + "\n";
  }
  return text + "\n";
}

// The list of optional objects ends at the first manufacturer object that the walk meets.
std::string objectLists(const Entries& entries) {
  std::vector<unsigned short> optional;
  std::vector<unsigned short> manufacturer;
  for (const auto& item : entries) {
    if (item.first >= 0x2000) {
      manufacturer.push_back(item.first);
    } else if (item.first > 0x1001 && item.first != 0x1018 && manufacturer.empty()) {
      optional.push_back(item.first);
    }
  }
  return objectList("OptionalObjects", optional) + objectList("ManufacturerObjects", manufacturer);
}

}  // namespace

std::string expectedFileHeader(const ExpectedFileData& data) {
  return "[FileInfo]\n"
         "FileName=tavo.dcf\n"
         "FileVersion=1\n"
         "FileRevision=1\n"
         "EDSVersion=4.0\n"
         "Description=Generated DCF File for TAVO Terminal\n"
         "CreationTime=" +
         data.time + "\nCreationDate=" + data.date +
         "\n"
         "CreatedBy=Hollmark Elektronik TAVO CANopen Stack\n"
         "ModificationTime=" +
         data.time + "\nModificationDate=" + data.date +
         "\n"
         "ModifiedBy=TAVO Terminal CANopen Stack\n"
         "\n"
         "[DeviceInfo]\n"
         "VendorName=Hollmark Elektronik GmbH & Co. KG\n"
         "VendorNumber=0x3c7\n"
         "ProductName=TAVO Operating Panel\n"
         "ProductNumber=" +
         data.productNumber + "\nRevisionNumber=" + data.revisionNumber + "\nOrderCode=" + data.orderCode +
         "\n"
         "BaudRate_10=0\n"
         "BaudRate_20=0\n"
         "BaudRate_50=0\n"
         "BaudRate_125=1\n"
         "BaudRate_250=1\n"
         "BaudRate_500=1\n"
         "BaudRate_800=0\n"
         "BaudRate_1000=1\n"
         "SimpleBootUpMaster=0\n"
         "SimpleBootUpSlave=0\n"
         "Granularity=1\n"
         "DynamicChannelsSupported=0\n"
         "GroupMessaging=0\n"
         "NrOfRxPDO=64\n"
         "NrOfTxPDO=64\n"
         "LSS_Supported=0\n"
         "\n"
         "[DummyUsage]\n"
         "Dummy0001=1\n"
         "Dummy0002=1\n"
         "Dummy0003=1\n"
         "Dummy0004=1\n"
         "Dummy0005=1\n"
         "Dummy0006=1\n"
         "Dummy0007=1\n"
         "\n"
         "[Comments]\n"
         "Lines=0\n"
         "\n"
         "[MandatoryObjects]\n"
         "SupportedObjects=3\n"
         "1=0x1000\n"
         "2=0x1001\n"
         "3=0x1018\n"
         "\n";
}

std::string expectedFile(const ExpectedFileData& data, const std::vector<ExpectedObject>& objects) {
  const Entries entries = entriesOf(objects);
  std::string text = expectedFileHeader(data) + objectLists(entries);
  for (const auto& [index, subEntries] : entries) {
    text += entrySection(index, subEntries) + "\n";
  }
  return text;
}

std::string orderCodeOf(const std::string& file) {
  const std::string key = "\nOrderCode=";
  const std::size_t found = file.find(key);
  if (found == std::string::npos) {
    return {};
  }
  const std::size_t begin = found + key.size();
  return file.substr(begin, file.find('\n', begin) - begin);
}

}  // namespace test
