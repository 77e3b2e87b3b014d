#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Findings.h"

namespace device_description {

/// Something of the file as a finding shows it: in quotes, without control characters, and not endless.
std::string quote(const std::string& found);

/// The text of an electronic data sheet: sections of keys, read by name, whatever the case of the letters. Comments are
/// lines of their own. What is no part of such a text, and what stands there more than once, is told in the findings.
class EdsText {
public:
  /// @param text ASCII, UTF-8 with or without a byte order mark, or Latin-1. @param name the file's, for the findings
  EdsText(const std::string& text, const std::string& name, Findings& findings);
  ~EdsText();
  EdsText(const EdsText&) = delete;
  EdsText& operator=(const EdsText&) = delete;

  bool hasSection(const std::string& section) const;

  /// In the order of the file, as they are written.
  const std::vector<std::string>& getSections() const { return sections; }
  std::vector<std::string> getKeys(const std::string& section) const;

  /// The text of a key in UTF-8, the first when it is given more than once; nothing when it is missing or empty.
  std::optional<std::string> getText(const std::string& section, const std::string& key) const;

  /// Adds "NAME: [section] key: reason" to the findings; without a key the section alone is named.
  void report(Severity severity, const std::string& section, const std::string& key, const std::string& reason) const;

private:
  class Store;

  void reportLine(Severity severity, std::size_t number, const std::string& reason) const;
  void checkLines(const std::string& text);
  void checkLine(std::size_t number, const std::string& line);
  void checkKeys() const;

  const std::string name;
  Findings& findings;
  std::unique_ptr<Store> store;
  std::vector<std::string> sections;
};

}  // namespace device_description
