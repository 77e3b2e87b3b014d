// Prints the objects of a fresh node with the node-ID 5 as the tables of docs/objects.md, asked of the node itself:
// what is in its dictionary, and what it answers a master who writes to an object the value that it has.

#include <cstdio>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "KQCANopenObjectDictionary.h"
#include "TestNode.h"

namespace {

constexpr unsigned short FIRST_STANDARD_OBJECT = 0x1000;

std::string format(const char* pattern, unsigned int number) {
  char text[16];
  std::snprintf(text, sizeof text, pattern, number);
  return text;
}

std::string nameOf(KQ::KQCANopenObjectType type) {
  return type == KQ::OBJECT_TYPE_VAR ? "VAR" : type == KQ::OBJECT_TYPE_ARRAY ? "ARRAY" : "RECORD";
}

class Table {
public:
  Table() : node(5) { node.boot(); }

  void print(std::ostream& output, unsigned short first, unsigned short last) {
    output << "| index | sub | object | name | type | access | low | high | default | in PDOs | written by a master |\n"
              "|---|---|---|---|---|---|---|---|---|---|---|\n";
    for (const KQ::ObjectDictionaryEntry* const entry : node.dictionary().getEntries(first, last)) {
      std::map<unsigned char, const KQ::ObjectDictionarySubEntry*> subEntries;
      for (const auto& item : entry->subEntries) {
        subEntries.emplace(item.first, item.second);
      }
      for (const auto& item : subEntries) {
        printRow(output, *entry, *item.second, item.first == subEntries.begin()->first);
      }
    }
  }

private:
  void printRow(std::ostream& output, const KQ::ObjectDictionaryEntry& entry, const KQ::ObjectDictionarySubEntry& sub,
                bool isFirst) {
    const bool isText = sub.dataType == KQ::DATA_TYPE_VISIBLE_STRING;
    const std::string objectName = isFirst ? entry.name : "";
    const std::string name = sub.name.empty()     ? objectName
                             : objectName.empty() ? sub.name
                                                  : objectName + ": " + sub.name;
    const std::string value = isText ? '"' + sub.defaultValueString + '"' : hexadecimal(sub.defaultValue);
    const std::string formula = isText || sub.defaultValueString.empty() ? "" : " (" + sub.defaultValueString + ")";
    output << "| " << (isFirst ? format("0x%04X", entry.index) : "") << " | " << unsigned{sub.subIndex} << " | "
           << (isFirst ? nameOf(entry.objectType) : "") << " | " << name << " | " << typeName(sub.dataType) << " | "
           << KQ::KQCANopenObjectDictionary::getAccessTypeString(sub.accessType) << " | " << hexadecimal(sub.lowLimit)
           << " | " << hexadecimal(sub.highLimit) << " | " << value << formula << " | "
           << (sub.pdoMappable ? "yes" : "no") << " | " << answerToWrite(entry.index, sub) << " |\n";
  }

  static std::string hexadecimal(int value) { return format("0x%X", static_cast<unsigned int>(value)); }

  // The entry of the type has its name.
  std::string typeName(KQ::KQCANopenDataType type) {
    return node.dictionary().getEntry(static_cast<unsigned short>(type))->name;
  }

  // Written is the value that the object has; of a text, as of a number of unknown size, four bytes.
  std::string answerToWrite(unsigned short index, const KQ::ObjectDictionarySubEntry& sub) {
    const int bytes = node.dictionary().getNumberOfBytesByDatatType(sub.dataType);
    const unsigned int size = bytes > 0 && bytes < 4 ? static_cast<unsigned int>(bytes) : 4U;
    std::string request = "605#" + format("%02X", 0x23 + (4 - size) * 4) + format(" %02X", index & 0xFFU) +
                          format(" %02X", index >> 8U) + format(" %02X", sub.subIndex);
    for (unsigned int byte = 0; byte < 4; ++byte) {
      request += format(" %02X", static_cast<unsigned int>(sub.value) >> 8U * byte & 0xFFU);
    }
    const std::string answer = node.receive(request).at(0);
    if (answer.compare(0, 6, "585#60") == 0) {
      return "accepted";
    }
    const std::string code = answer.substr(answer.size() - 11);  // four bytes, lowest first
    return "0x" + code.substr(9, 2) + code.substr(6, 2) + code.substr(3, 2) + code.substr(0, 2);
  }

  test::TestNode node;
};

}  // namespace

int main() {
  std::ostringstream output;
  {
    Table table;  // while it has its node, standard output is the node's
    output << "<!-- made by tests/documents/check_objects.py --update -->\n## The node\n\n";
    table.print(output, FIRST_STANDARD_OBJECT, 0xFFFF);
    output << "\n## Data types\n\n";
    table.print(output, 0, FIRST_STANDARD_OBJECT - 1);
  }
  std::cout << output.str();
}
