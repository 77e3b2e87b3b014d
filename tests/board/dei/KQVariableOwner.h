#pragma once

#include <string>

namespace KQ {

class KQVariableOwner {
public:
  explicit KQVariableOwner(const std::string& name);
  /// Takes itself out of the store: its variables stay, and belong to nobody then.
  virtual ~KQVariableOwner();
  KQVariableOwner(const KQVariableOwner&) = delete;
  KQVariableOwner& operator=(const KQVariableOwner&) = delete;

  virtual int updateRequest(unsigned short group, unsigned short id, int value) = 0;
  virtual int updateRequest(unsigned short group, unsigned short id, const std::string& value) = 0;
  virtual int getValueRequest(unsigned short group, unsigned short id) = 0;

  const std::string& getOwnerName() const;

private:
  std::string ownerName;
};

}  // namespace KQ
