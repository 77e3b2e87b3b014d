#pragma once

#include <optional>
#include <string>

#include <INIReader.h>

namespace panel {

/// The text of an electronic data sheet (CiA 306): sections of keys, read by name, whatever the case of the letters.
/// What cannot be read is reported with its section and key.
class EdsFile {
public:
  /// A number, and how it was written: a hexadecimal one may be the two's complement of a negative one.
  struct Number {
    long long value;
    bool isHexadecimal;
  };

  /// Reads the file. @param id stands for $NODEID. @throws PanelError
  EdsFile(std::string fileName, unsigned char id);

  bool hasSection(const std::string& section) const { return reader.HasSection(section); }

  /// The text of a key, empty when it is missing or has no value. @throws PanelError for a key given twice
  std::string getText(const std::string& section, const std::string& key) const;

  /// The number of a key: decimal, hexadecimal (0x) or octal (0), also "$NODEID+" and one of these; nothing when it is
  /// missing or has no value. @throws PanelError for anything else
  std::optional<Number> getNumber(const std::string& section, const std::string& key) const;

  /// The same for a key that must be there and whose number is in the range. @throws PanelError
  long long getNumber(const std::string& section, const std::string& key, long long lowest, long long highest) const;

  /// @throws PanelError "FILE: [section] key: reason"
  [[noreturn]] void fail(const std::string& section, const std::string& key, const std::string& reason) const;

private:
  const std::string name;
  const unsigned char nodeID;
  const INIReader reader;
};

}  // namespace panel
