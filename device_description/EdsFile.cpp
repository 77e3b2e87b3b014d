// Where the text of a description comes from.

#include <cerrno>
#include <cstring>
#include <fstream>
#include <vector>

#include "EdsReader.h"

namespace device_description {

namespace {

// Far more than any device needs. What is longer is something else, or has no end.
constexpr std::size_t LONGEST_FILE = std::size_t{64} * 1024 * 1024;
constexpr std::size_t BLOCK = 65536;

// @return false when there is no such file, or when it is too long
bool readText(const std::string& fileName, std::string& text, Findings& findings) {
  errno = 0;
  std::ifstream file(fileName, std::ios::binary);
  std::vector<char> block(BLOCK);
  while (file && text.size() <= LONGEST_FILE) {
    file.read(block.data(), static_cast<std::streamsize>(block.size()));
    text.append(block.data(), static_cast<std::size_t>(file.gcount()));
  }
  if (!file.is_open() || file.bad() || errno == EISDIR) {
    findings.add(Severity::ERROR, fileName + ": cannot be read: " + std::strerror(errno));
    return false;
  }
  if (text.size() > LONGEST_FILE) {
    findings.add(Severity::ERROR, fileName + ": is longer than 64 MiB, the file is no EDS");
    return false;
  }
  return true;
}

}  // namespace

DeviceDescription DeviceDescription::read(const std::string& fileName, std::optional<unsigned char> nodeID,
                                          Findings& findings, unsigned char otherwise) {
  std::string text;
  if (readText(fileName, text, findings)) {
    return parse(text, fileName, nodeID, findings, otherwise);
  }
  DeviceDescription nothing;
  nothing.nodeID = nodeID.value_or(otherwise);
  return nothing;
}

DeviceDescription DeviceDescription::parse(const std::string& text, const std::string& name,
                                           std::optional<unsigned char> nodeID, Findings& findings,
                                           unsigned char otherwise) {
  DeviceDescription description;
  const EdsText eds(text, name, findings);
  EdsReader(eds, description).readAll(nodeID, otherwise);
  return description;
}

}  // namespace device_description
