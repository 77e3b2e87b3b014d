// The object dictionary as a device configuration file (CiA 306).

#include <fstream>
#include <iostream>
#include <locale>
#include <sstream>
#include <vector>

#include "DiagnosticLine.h"
#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "KQTime.h"
#include "ObjectIndexes.h"

namespace KQ {

namespace {

using EntryMap = std::unordered_map<unsigned short, ObjectDictionaryEntry*>;

constexpr unsigned short FIRST_OPTIONAL_OBJECT = 0x1002;

constexpr const char* VENDOR_ADDRESS = "www.hollmark-elektronik.example";

unsigned int bitsOf(int value) {
  return static_cast<unsigned int>(value);
}

// Writes "key=0x" and the number in lower-case hexadecimal.
void writeHex(std::ostream& out, const char* key, unsigned int value) {
  out << key << "=0x" << std::hex << value << std::dec << '\n';
}

std::string timeText(const KQTime& now) {
  const int hour = now.getHours();
  const int hourOfHalfDay = hour % 12 == 0 ? 12 : hour % 12;
  // The trailing blank is part of the file's format.
  return std::to_string(hourOfHalfDay) + ':' + std::to_string(now.getMinutes()) + (hour > 11 ? " PM " : " AM ");
}

std::string dateText(const KQTime& now) {
  return std::to_string(now.getMonth()) + '-' + std::to_string(now.getDays()) + '-' + std::to_string(now.getYear());
}

void writeFileInfo(std::ostream& out) {
  const KQTime now(0);
  const std::string time = timeText(now);
  const std::string date = dateText(now);
  out << "[FileInfo]\n"
         "FileName=tavo.dcf\n"
         "FileVersion=1\n"
         "FileRevision=1\n"
         "EDSVersion=4.0\n"
         "Description=Generated DCF File for TAVO Terminal\n"
      << "CreationTime=" << time << '\n'
      << "CreationDate=" << date << '\n'
      << "CreatedBy=Hollmark Elektronik TAVO CANopen Stack\n"
      << "ModificationTime=" << time << '\n'
      << "ModificationDate=" << date << '\n'
      << "ModifiedBy=TAVO Terminal CANopen Stack\n"
         "\n";
}

void writeDeviceInfo(std::ostream& out, unsigned int productCode, unsigned int revisionNumber) {
  out << "[DeviceInfo]\n"
         "VendorName=Hollmark Elektronik GmbH & Co. KG\n"
         "VendorNumber=0x3c7\n"
         "ProductName=TAVO Operating Panel\n";
  writeHex(out, "ProductNumber", productCode);
  writeHex(out, "RevisionNumber", revisionNumber);
  out << "OrderCode=" << VENDOR_ADDRESS
      << "\n"
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
         "\n";
}

void writeFixedSections(std::ostream& out) {
  out << "[DummyUsage]\n"
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

void writeObjectList(std::ostream& out, const char* section, const std::vector<unsigned short>& indexes) {
  out << section << "\nSupportedObjects=" << indexes.size() << '\n';
  unsigned int number = 0;
  for (const unsigned short index : indexes) {
    writeHex(out, std::to_string(++number).c_str(), index);
  }
  out << '\n';
}

// The walk ends at the first application object, as that of a communication reset does.
std::vector<unsigned short> optionalObjects(const EntryMap& entries) {
  std::vector<unsigned short> indexes;
  for (const auto& item : entries) {
    if (item.first >= object::FIRST_APPLICATION_OBJECT) {
      break;
    }
    if (item.first >= FIRST_OPTIONAL_OBJECT && item.first != object::IDENTITY) {
      indexes.push_back(item.first);
    }
  }
  return indexes;
}

std::vector<unsigned short> manufacturerObjects(const EntryMap& entries) {
  std::vector<unsigned short> indexes;
  for (const auto& item : entries) {
    if (item.first >= object::FIRST_APPLICATION_OBJECT) {
      indexes.push_back(item.first);
    }
  }
  return indexes;
}

void writeValues(std::ostream& out, const ObjectDictionarySubEntry& subEntry, int bytes) {
  if (subEntry.dataType == DATA_TYPE_VISIBLE_STRING) {
    out << "DefaultValue=" << subEntry.defaultValueString << "\nParameterValue=" << subEntry.valueString << '\n';
    return;
  }
  const unsigned int mask = bytes == 1 ? 0xFFU : bytes == 2 ? 0xFFFFU : 0xFFFFFFFFU;
  writeHex(out, "LowLimit", bitsOf(subEntry.lowLimit) & mask);
  writeHex(out, "HighLimit", bitsOf(subEntry.highLimit) & mask);
  writeHex(out, "DefaultValue", bitsOf(subEntry.defaultValue) & mask);
  writeHex(out, "ParameterValue", bitsOf(subEntry.loadValue()) & mask);
}

void writeTypeAndAccess(std::ostream& out, const ObjectDictionarySubEntry& subEntry) {
  writeHex(out, "DataType", bitsOf(subEntry.dataType));
  out << "AccessType=" << KQCANopenObjectDictionary::getAccessTypeString(subEntry.accessType) << '\n';
}

void writePDOMapping(std::ostream& out, const ObjectDictionarySubEntry& subEntry) {
  out << "PDOMapping=" << (subEntry.pdoMappable ? 1 : 0) << '\n';
}

void writeVar(std::ostream& out, const ObjectDictionaryEntry& entry, const KQCANopenObjectDictionary& dictionary) {
  const auto it = entry.subEntries.find(0);
  if (it == entry.subEntries.end()) {
    return;
  }
  const ObjectDictionarySubEntry& subEntry = *it->second;
  writeTypeAndAccess(out, subEntry);
  writePDOMapping(out, subEntry);
  writeValues(out, subEntry, dictionary.getNumberOfBytesByDatatType(subEntry.dataType));
}

void writeSubEntry(std::ostream& out, unsigned short index, const ObjectDictionarySubEntry& subEntry,
                   const KQCANopenObjectDictionary& dictionary) {
  out << "\n[" << std::hex << index << "sub" << static_cast<unsigned int>(subEntry.subIndex) << std::dec << "]\n"
      << "ParameterName=" << subEntry.name << "\nObjectType=0x7\n";
  writeTypeAndAccess(out, subEntry);
  writeValues(out, subEntry, dictionary.getNumberOfBytesByDatatType(subEntry.dataType));
  writePDOMapping(out, subEntry);
}

void writeObject(std::ostream& out, const ObjectDictionaryEntry& entry, const KQCANopenObjectDictionary& dictionary) {
  out << '[' << std::hex << entry.index << std::dec << "]\nParameterName=" << entry.name << '\n';
  writeHex(out, "ObjectType", bitsOf(entry.objectType));
  switch (entry.objectType) {
    case OBJECT_TYPE_VAR:
      writeVar(out, entry, dictionary);
      break;
    case OBJECT_TYPE_ARRAY:
    case OBJECT_TYPE_RECORD:
      out << "SubNumber=" << entry.subEntries.size() << '\n';
      for (const auto& item : entry.subEntries) {
        writeSubEntry(out, entry.index, *item.second, dictionary);
      }
      break;
  }
}

}  // namespace

void KQCANopenObjectDictionary::refreshVariables() {
  int number = 0;
  std::string text;
  for (const auto& item : entries) {
    for (const auto& subItem : item.second->subEntries) {
      ObjectDictionarySubEntry& subEntry = *subItem.second;
      if (!subEntry.isVariable) {
        continue;
      }
      if (subEntry.dataType == DATA_TYPE_VISIBLE_STRING) {
        getValue(item.first, subItem.first, text);
      } else {
        readVariable(item.first, subEntry, number);
      }
    }
  }
}

std::string KQCANopenObjectDictionary::getDescription() {
  std::ostringstream out;
  out.imbue(std::locale::classic());  // no digit grouping, whatever locale the application runs in

  int productCode = 0;
  getValue(object::IDENTITY, 2, productCode);
  int revisionNumber = productCode;
  getValue(object::IDENTITY, 3, revisionNumber);

  writeFileInfo(out);
  writeDeviceInfo(out, bitsOf(productCode), bitsOf(revisionNumber));
  writeFixedSections(out);
  writeObjectList(out, "[OptionalObjects]", optionalObjects(entries));
  writeObjectList(out, "[ManufacturerObjects]", manufacturerObjects(entries));
  for (const auto& item : entries) {
    if (item.first >= object::FIRST_COMMUNICATION_OBJECT) {
      writeObject(out, *item.second, *this);
    }
    out << '\n';
  }
  return out.str();
}

int KQCANopenObjectDictionary::storeParameters(const std::string& fileName) {
  const bool isFile = fileName != "cout";
  // Before the values are refreshed: a failure changes nothing. What is in the file stays until there is a text for it.
  if (isFile && !std::ofstream(fileName, std::ios::out | std::ios::app).is_open()) {
    return KQ_FILE_ERROR;
  }
  refreshVariables();
  const std::string text = getDescription();
  std::ofstream file;
  if (isFile) {
    file.open(fileName, std::ios::out | std::ios::trunc);
  }
  std::ostream& out = isFile ? file : std::cout;
  // Unformatted: what the application has set on its output stream plays no part.
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  out.flush();
  file.close();
  if (isFile && file.fail()) {
    // Who asked for it is told that it is done, all the same: that is what masters know.
    printErrorLine("CANopen: the file " + fileName + " is incomplete, it could not be written to its end");
  }
  return KQ_OK;
}

}  // namespace KQ
