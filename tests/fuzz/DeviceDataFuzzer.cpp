// Any text as the file of the device data, and as the environment that stands before it.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Check.h"
#include "Input.h"
#include "KQEeprom.h"
#include "TextFile.h"

namespace {

// Sets a variable of the environment from the input, or takes it out.
void setEnvironment(const char* name, fuzz::Input& input) {
  const unsigned int length = input.below(32);
  const std::string value = input.text(length);
  if (value.empty()) {
    unsetenv(name);
  } else {
    setenv(name, value.c_str(), 1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzz::TextFile file;
  fuzz::Input input(data, size);
  setEnvironment("KQ_PRODUCT_TYPE", input);
  setEnvironment("KQ_SERIAL_NUMBER", input);
  file.write(input.text(input.size()));
  setenv("KQ_EEPROM_FILE", file.getName().c_str(), 1);

  const unsigned int type = KQ::KQEeprom::getProductType();
  fuzz::require(type == KQ::KQEeprom::getProductType(), "the product type changes from one reading to the next", type);
  const std::string serialNumber = KQ::KQEeprom::getSerialNumber();
  fuzz::require(!serialNumber.empty(), "an empty serial number");
  fuzz::require(std::getenv("KQ_SERIAL_NUMBER") != nullptr || serialNumber.find('\n') == std::string::npos,
                "a serial number of more than one line of the file");
  return 0;
}
