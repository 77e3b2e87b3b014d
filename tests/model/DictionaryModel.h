#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Device.h"
#include "Surroundings.h"

namespace model {

constexpr int BOOLEAN = 1;
constexpr int UNSIGNED8 = 5;
constexpr int UNSIGNED16 = 6;
constexpr int UNSIGNED32 = 7;
constexpr int VISIBLE_STRING = 9;

constexpr int RO = 0;
constexpr int WO = 1;
constexpr int RW = 2;
constexpr int CONST = 5;

/// The objects of a node with their values, and the variables behind those from 0x2000 on.
class DictionaryModel {
public:
  struct Object {
    int type = 0;
    int access = RW;
    int value = 0;
    std::string text;
    int low = 0;
    int high = 0x7FFFFFFF;
  };
  struct Variable {
    bool isText = false;
    bool owned = false;
    bool valid = true;
    int value = 0;
    std::string text;
    int bits = 32;
    bool isSigned = false;
    unsigned int remoteKey = 0;
    std::string channel;
  };

  DictionaryModel(Surroundings& surroundings, unsigned int nodeID);

  /// Told after an object was written, and when the store reports that a variable has another value.
  std::function<void(unsigned int key)> objectWritten = [](unsigned int) {};
  std::function<void(unsigned int key)> variableChanged = [](unsigned int) {};

  /// The indexes that exist, of a range.
  std::vector<unsigned int> indexes(unsigned int first, unsigned int last) const;
  bool hasIndex(unsigned int index) const { return isRecord.count(index) != 0; }
  const Object* find(unsigned int key) const;
  Variable* findVariable(unsigned int key);
  /// The variable that another node knows by a key, of those of a channel; 0: none.
  unsigned int findRemote(unsigned int remoteKey, const std::string& channel) const;
  bool isOwned(unsigned int key) const;

  void add(unsigned int index, bool record);
  void add(unsigned int key, int access, int type, int value, const std::string& text = std::string());
  void limit(unsigned int key, int low, int high);
  int addVariable(const VariableDescription& description);
  void setAccess(unsigned int key, int access) { objects[key].access = access; }

  int read(unsigned int key, int& value);
  int read(unsigned int key, std::string& text);
  int write(unsigned int key, int value, bool force);
  int write(unsigned int key, const std::string& text, bool force);

  /// Writes of the store itself.
  int store(unsigned int key, int value);
  int store(unsigned int key, const std::string& text);
  void invalidate(unsigned int key);

  /// -1 for a type that has no size.
  int bitsOf(int type) const;
  int bytesOf(int type) const;
  bool isSigned(int type) const;

  int typeOf(int bits, bool isSigned);

private:
  struct Definition {
    int bits;
    bool isSigned;
  };

  void addStandardObjects(unsigned int nodeID);
  void addStandardObject(unsigned int index, unsigned int subIndex, int access, int type, int value, int low, int high);
  int addDefinition(int bits, bool isSigned);
  int writeVariable(unsigned int key, const Object& object, int value, bool force);
  int judge(unsigned int index, unsigned int subIndex, const Object& object, int& value, bool force);
  int judgeStandard(unsigned int index, unsigned int subIndex, int value, bool force);
  int judgeSyncCOBID(unsigned int value) const;
  int judgeSave(unsigned int subIndex, unsigned int value, bool force) const;
  int judgeSDO(unsigned int index, unsigned int subIndex, const Object& object, unsigned int value, bool force);
  int judgeSDOCOBID(const Object& object, unsigned int value, bool fromClient);
  int judgePDO(unsigned int index, unsigned int subIndex, const Object& object, int& value, bool force);
  int judgePDOCOBID(bool transmit, const Object& object, int& value);

  Surroundings& surroundings;
  std::map<unsigned int, bool> isRecord;
  std::map<unsigned int, Object> objects;
  std::map<unsigned int, Variable> variables;
  std::vector<Definition> definitions;
};

}  // namespace model
