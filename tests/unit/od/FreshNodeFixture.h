#ifndef TESTS_UNIT_OD_FRESH_NODE_FIXTURE_H
#define TESTS_UNIT_OD_FRESH_NODE_FIXTURE_H

#include <cstdlib>
#include <map>
#include <optional>
#include <string>

#include "DictionaryFixture.h"
#include "KQCANopen.h"
#include "TemporaryDirectory.h"

namespace test {

/// Sets environment variables for as long as it lives.
class Environment {
public:
  ~Environment() {
    for (const auto& [name, value] : before) {
      value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }
  }

  void set(const std::string& name, const std::string& value) {
    keep(name);
    ::setenv(name.c_str(), value.c_str(), 1);
  }

  void unset(const std::string& name) {
    keep(name);
    ::unsetenv(name.c_str());
  }

private:
  void keep(const std::string& name) {
    const char* const value = std::getenv(name.c_str());
    before.emplace(name, value == nullptr ? std::nullopt : std::optional<std::string>(value));
  }

  std::map<std::string, std::optional<std::string>> before;
};

/// The dictionary of a node with ID 5, its standard objects not yet created, in a working directory of its own.
class FreshNodeFixture : public DictionaryFixture {
protected:
  FreshNodeFixture() {
    environment.unset("KQ_EEPROM_FILE");
    environment.set("KQ_PRODUCT_TYPE", "84");
    environment.set("KQ_SERIAL_NUMBER", "100000101");
    node.setNodeID(5);
    dictionary.setCANopenInstance(&node);
  }

  TemporaryDirectory directory;
  Environment environment;
  KQ::KQCANopen node{"node"};
};

}  // namespace test

#endif
