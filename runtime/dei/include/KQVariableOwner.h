#pragma once

#include <string>

namespace KQ {

/// Somebody to whom variables belong, as a rule a protocol: requests to write or to read a variable
/// whose value lives elsewhere (in another node) are handed to its owner.
class KQVariableOwner {
public:
  /// Takes the owner out of the variable store: its variables stay, with their values, without an
  /// owner. No other thread may be writing variables of this owner meanwhile, because a request may be
  /// on its way to it.
  virtual ~KQVariableOwner();

  KQVariableOwner(const KQVariableOwner&) = delete;
  KQVariableOwner& operator=(const KQVariableOwner&) = delete;

  /// Asks the owner to write a value to where the variable lives. May be called from any thread.
  /// @param group  first address part of the variable.
  /// @param id     second address part of the variable.
  /// @return 0 when the request was accepted, or a code of the owner.
  virtual int updateRequest(unsigned short group, unsigned short id, int value) = 0;
  /// The same for a text.
  virtual int updateRequest(unsigned short group, unsigned short id, const std::string& value) = 0;

  /// Asks the owner to fetch the value from where the variable lives; it is written to the store later.
  /// May be called from any thread; parameters and result as with updateRequest.
  virtual int getValueRequest(unsigned short group, unsigned short id) = 0;

  /// The name that identifies this owner; it never changes, and the reference is good for as long as
  /// the owner lives. Passing this very reference to KQDEI::forceSetVariableValue saves a comparison.
  [[nodiscard]] const std::string& getOwnerName() const { return ownerName_; }

protected:
  /// @param name see getOwnerName(); no two owners of a process have the same
  explicit KQVariableOwner(const std::string& name);

private:
  // The underscore leaves the plain names to the classes that are made of this.
  // NOLINTBEGIN(readability-identifier-naming)
  const std::string ownerName_;
  // NOLINTEND(readability-identifier-naming)
};

}  // namespace KQ
