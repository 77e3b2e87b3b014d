#include "EdsText.h"

#include <algorithm>
#include <cctype>
#include <set>

// The text stays as it is: what characters it holds is found out here. The header has the whole reader, so that no
// library of it is needed.
#define SI_NO_CONVERSION
#define SI_IMPLEMENTATION
#include <SimpleIni.h>

namespace device_description {

namespace {

constexpr const char UTF8_MARK[] = "\xEF\xBB\xBF";
constexpr const char BLANKS[] = " \t\r";
constexpr std::size_t SHOWN_LENGTH = 60;

// Bytes of the character that begins with this one; 0: none does.
std::size_t getLength(unsigned char lead) {
  if (lead < 0x80) {
    return 1;
  }
  return lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
}

bool isUTF8(const std::string& text) {
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t length = getLength(static_cast<unsigned char>(text[begin]));
    if (length == 0 || begin + length > text.size()) {
      return false;
    }
    for (std::size_t i = 1; i < length; ++i) {
      if ((static_cast<unsigned char>(text[begin + i]) & 0xC0) != 0x80) {
        return false;
      }
    }
    begin += length;
  }
  return true;
}

std::string fromLatin1(const std::string& text) {
  std::string result;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte < 0x80) {
      result += letter;
    } else {
      result += static_cast<char>(0xC0 | byte >> 6);
      result += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return result;
}

// As it can be shown: no control characters, and not endless.
std::string clean(const std::string& text) {
  std::string shown = text.substr(0, SHOWN_LENGTH);
  std::replace_if(
      shown.begin(), shown.end(), [](unsigned char byte) { return byte < 0x20 || byte >= 0x7F; }, '?');
  return shown + (text.size() > SHOWN_LENGTH ? "..." : "");
}

std::string inLowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(letter < 0x80 ? std::tolower(letter) : letter); });
  return text;
}

std::string trim(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(BLANKS);
  return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(BLANKS) + 1 - begin);
}

}  // namespace

std::string quote(const std::string& found) {
  return "'" + clean(found) + "'";
}

// Several values of a key are kept, so that they can be told.
class EdsText::Store : public CSimpleIniA {
public:
  Store() : CSimpleIniA(true, true, false) {}
};

EdsText::EdsText(const std::string& text, const std::string& fileName, Findings& allFindings)
    : name(fileName), findings(allFindings), store(std::make_unique<Store>()) {
  // Some write the mark in front of a text that is none.
  std::string readable = text.rfind(UTF8_MARK, 0) == 0 ? text.substr(sizeof UTF8_MARK - 1) : text;
  if (!isUTF8(readable)) {
    findings.add(Severity::NOTE, name + ": is not UTF-8 and read as Latin-1");
    readable = fromLatin1(readable);
  }
  checkLines(readable);
  // The reader of the text would take the first of them for its end.
  std::replace(readable.begin(), readable.end(), '\0', '?');
  store->LoadData(readable);
  checkKeys();
}

EdsText::~EdsText() = default;

// The reader passes over what it does not know without a word.
void EdsText::checkLines(const std::string& text) {
  std::size_t number = 1;
  for (std::size_t begin = 0; begin < text.size(); ++number) {
    const std::size_t end = std::min(text.find_first_of("\r\n", begin), text.size());
    checkLine(number, trim(text.substr(begin, end - begin)));
    const bool isWindowsEnd = text.compare(end, 2, "\r\n") == 0;
    begin = end + (isWindowsEnd ? 2 : 1);
  }
  std::set<std::string> seen;
  for (auto section = sections.begin(); section != sections.end();) {
    if (seen.insert(inLowerCase(*section)).second) {
      ++section;
      continue;
    }
    report(Severity::WARNING, *section, "", "is given more than once, expected one such section; all are read as one");
    section = sections.erase(section);
  }
}

void EdsText::checkLine(std::size_t number, const std::string& line) {
  if (line.empty() || line[0] == ';' || line[0] == '#') {
    return;
  }
  if (line.find('\0') != std::string::npos) {
    reportLine(Severity::ERROR, number, quote(line) + " has bytes of value 0, expected a text");
  } else if (line[0] == '[') {
    const std::size_t end = line.find(']');
    if (end == std::string::npos) {
      reportLine(Severity::ERROR, number, quote(line) + " has no ']', expected [section]");
      return;
    }
    sections.push_back(trim(line.substr(1, end - 1)));
    const std::string rest = trim(line.substr(end + 1));
    if (!rest.empty() && rest[0] != ';' && rest[0] != '#') {
      reportLine(Severity::WARNING, number,
                 quote(rest) + " behind a section is not read, expected the end of the line");
    }
  } else if (line.find('=') == std::string::npos || line[0] == '=') {
    reportLine(Severity::ERROR, number, quote(line) + " is neither [section] nor key=value");
  } else if (sections.empty()) {
    reportLine(Severity::WARNING, number, quote(line) + " stands before the first section and is not read");
  }
}

void EdsText::checkKeys() const {
  for (const std::string& section : sections) {
    for (const std::string& key : getKeys(section)) {
      CSimpleIniA::TNamesDepend values;
      store->GetAllValues(section.c_str(), key.c_str(), values);
      if (values.size() > 1) {
        report(Severity::ERROR, section, key, "is given " + std::to_string(values.size()) + " times, expected once");
      }
    }
  }
}

bool EdsText::hasSection(const std::string& section) const {
  return store->GetSection(section.c_str()) != nullptr;
}

std::vector<std::string> EdsText::getKeys(const std::string& section) const {
  CSimpleIniA::TNamesDepend names;
  store->GetAllKeys(section.c_str(), names);
  names.sort(CSimpleIniA::Entry::LoadOrder());
  std::vector<std::string> keys;
  for (const CSimpleIniA::Entry& entry : names) {
    keys.emplace_back(entry.pItem);
  }
  return keys;
}

std::optional<std::string> EdsText::getText(const std::string& section, const std::string& key) const {
  const char* const text = store->GetValue(section.c_str(), key.c_str());
  return text == nullptr || *text == '\0' ? std::nullopt : std::optional<std::string>(text);
}

void EdsText::report(Severity severity, const std::string& section, const std::string& key,
                     const std::string& reason) const {
  findings.add(severity, name, clean(section), clean(key), reason);
}

void EdsText::reportLine(Severity severity, std::size_t number, const std::string& reason) const {
  findings.add(severity, name + ": line " + std::to_string(number) + ": " + reason);
}

}  // namespace device_description
