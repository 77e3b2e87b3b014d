// Any command line, one argument a line: it is refused in one line, or every option is in its range. The same text is
// tried as the URI of a port.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "Check.h"
#include "Input.h"
#include "KQEndPointFactory.h"
#include "PanelError.h"
#include "PanelOptions.h"

namespace {

constexpr std::size_t MOST_ARGUMENTS = 32;
constexpr const char* NUMBERS[] = {"--node-id", "--heartbeat", "--sdo-timeout", "--peer", "--cycle", "--bit-rate"};
constexpr unsigned char FIRST_CONTROL = 0xF8;

// Texts up to a byte from 0xF8 on, which names an option with a number: texts alone would hardly ever come across the
// ends of its range.
std::vector<std::string> readArguments(fuzz::Input& input) {
  std::vector<std::string> found(1);
  while (!input.isEmpty() && found.size() < MOST_ARGUMENTS) {
    const unsigned char byte = input.byte();
    if (byte >= FIRST_CONTROL && byte - FIRST_CONTROL < 6) {
      const unsigned int number = input.word() | (input.byte() & 1U) << 16;
      found.emplace_back(NUMBERS[byte - FIRST_CONTROL]);
      found.push_back(std::to_string(static_cast<int>(number) - 100));
      found.emplace_back();
    } else if (byte == '\n') {
      found.emplace_back();
    } else {
      found.back() += static_cast<char>(byte);
    }
  }
  found.erase(std::remove(found.begin(), found.end(), std::string()), found.end());
  return found;
}

panel::PanelOptions parse(const std::vector<std::string>& arguments) {
  std::vector<const char*> pointers{"tavo-panel"};
  for (const std::string& argument : arguments) {
    pointers.push_back(argument.c_str());
  }
  return panel::PanelOptions::parse(static_cast<int>(pointers.size()), pointers.data());
}

void checkOptions(const panel::PanelOptions& options) {
  fuzz::require(options.nodeID >= 1 && options.nodeID <= 127, "a node-ID out of range", options.nodeID);
  fuzz::require(options.heartbeat >= 0 && options.heartbeat <= 65535, "a heartbeat time out of range");
  fuzz::require(options.bitRate >= 10000 && options.bitRate <= 1000000, "a bit rate out of range");
  fuzz::require(options.sdoTimeout >= 1 && options.sdoTimeout <= 65535, "an SDO time-out out of range");
  fuzz::require(options.cycle >= 1 && options.cycle <= 1000, "a cycle out of range");
  fuzz::require(!options.peer || (*options.peer >= 1 && *options.peer <= 127), "a peer out of range");
  fuzz::require(!options.peer || *options.peer != options.nodeID, "a peer that is the panel itself");
  fuzz::require(!options.peer || !options.app, "a peer beside an EDS");
  fuzz::require(KQ::KQEndPointFactory::isEndPointURI(options.can), "a port that is none");
  fuzz::require(options.listen.has_value() == (options.can.rfind("virtual:", 0) == 0), "served what is no bus here");
}

void checkURI(const std::string& uri) {
  if (!KQ::KQEndPointFactory::isEndPointURI(uri)) {
    return;
  }
  fuzz::require(uri.rfind("virtual:", 0) == 0 || uri.rfind("socketcan:", 0) == 0 || uri.rfind("socketcand:", 0) == 0,
                "an unknown kind of port");
  fuzz::require(uri.find_first_of(" \t\r\n") == uri.npos, "a port with a blank in its name");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  checkURI(text);
  try {
    fuzz::Input input(data, size);
    const panel::PanelOptions options = parse(readArguments(input));
    if (options.information.empty()) {
      checkOptions(options);
    }
  } catch (const panel::PanelError& error) {
    fuzz::require(std::string(error.what()).find('\n') == std::string::npos, "an error of more than one line");
  }
  return 0;
}
