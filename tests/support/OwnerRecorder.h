#pragma once

#include <string>
#include <vector>

#include "KQErrorCodes.h"
#include "KQVariableOwner.h"

namespace test {

/// Another protocol of the process, to which variables belong: it keeps every request that it is given.
class OwnerRecorder : public KQ::KQVariableOwner {
public:
  explicit OwnerRecorder(const std::string& name = "other protocol") : KQVariableOwner(name) {}

  int updateRequest(unsigned short group, unsigned short id, int value) override {
    return record(group, id, "=" + std::to_string(value));
  }
  int updateRequest(unsigned short group, unsigned short id, const std::string& value) override {
    return record(group, id, "=" + value);
  }
  int getValueRequest(unsigned short group, unsigned short id) override { return record(group, id, "?"); }

  /// In the order in which they came: "8193/5=7" to write, "8193/5?" to read.
  std::vector<std::string> requests;
  int result = KQ::KQ_OK;

private:
  int record(unsigned short group, unsigned short id, const std::string& what) {
    requests.push_back(std::to_string(group) + "/" + std::to_string(id) + what);
    return result;
  }
};

}  // namespace test
