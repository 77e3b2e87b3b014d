#include "DictionaryModel.h"

#include <algorithm>
#include <cstdio>

namespace model {

namespace {

constexpr int ABORT_WRITE_ONLY = 0x06010001;
constexpr int ABORT_READ_ONLY = 0x06010002;
constexpr int ABORT_RANGE = 0x06090030;
constexpr unsigned int INVALID = 0x80000000U;
constexpr unsigned int SAVE = 0x65766173U;
constexpr int UNLIMITED = -1;

struct Type {
  int number;
  int bits;
  bool isSigned;
  int high;  // of its entry in the dictionary
};

constexpr int CREATED = 0x7FFFFFFF;
constexpr Type TYPES[] = {
    {1, 1, false, 1},           {2, 8, true, 255},          {3, 16, true, 65535},       {4, 32, true, UNLIMITED},
    {5, 8, false, 255},         {6, 16, false, 65535},      {7, 32, false, UNLIMITED},  {8, 32, false, UNLIMITED},
    {9, -1, false, CREATED},    {10, -1, false, CREATED},   {11, -1, false, CREATED},   {12, -1, false, CREATED},
    {13, -1, false, CREATED},   {15, -1, false, CREATED},   {16, 24, true, 0xFFFFFF},   {17, 64, false, UNLIMITED},
    {18, 40, true, UNLIMITED},  {19, 48, true, UNLIMITED},  {20, 56, true, UNLIMITED},  {21, 64, true, UNLIMITED},
    {22, 24, false, 0xFFFFFF},  {24, 40, false, UNLIMITED}, {25, 48, false, UNLIMITED}, {26, 56, false, UNLIMITED},
    {27, 64, false, UNLIMITED},
};

const Type* findType(int number) {
  for (const Type& type : TYPES) {
    if (type.number == number) {
      return &type;
    }
  }
  return nullptr;
}

bool isIn(unsigned int value, unsigned int first, unsigned int last) {
  return value >= first && value <= last;
}

bool isRestricted(unsigned int cobID) {
  return cobID <= 0x7F || isIn(cobID, 0x101, 0x180) || isIn(cobID, 0x581, 0x5FF) ||
         isIn(cobID & ~0x100U, 0x601, 0x67F) || isIn(cobID, 0x6E0, 0x6FF);
}

int forcedOnly(bool force) {
  return force ? 0 : 30;
}

}  // namespace

std::string hexadecimal(unsigned int number) {
  char text[12];
  std::snprintf(text, sizeof text, "0x%x", number);
  return text;
}

DictionaryModel::DictionaryModel(Surroundings& theSurroundings, unsigned int nodeID) : surroundings(theSurroundings) {
  addStandardObjects(nodeID);
}

// ---- objects

const DictionaryModel::Object* DictionaryModel::find(unsigned int key) const {
  const auto found = objects.find(key);
  return found == objects.end() ? nullptr : &found->second;
}

std::vector<unsigned int> DictionaryModel::indexes(unsigned int first, unsigned int last) const {
  std::vector<unsigned int> found;
  for (auto each = isRecord.lower_bound(first); each != isRecord.end() && each->first <= last; ++each) {
    found.push_back(each->first);
  }
  return found;
}

DictionaryModel::Variable* DictionaryModel::findVariable(unsigned int key) {
  const auto found = variables.find(key);
  return found == variables.end() ? nullptr : &found->second;
}

unsigned int DictionaryModel::findRemote(unsigned int remoteKey, const std::string& channel) const {
  for (const auto& [key, variable] : variables) {
    const bool isMeant = variable.remoteKey == remoteKey || key == remoteKey;
    if (remoteKey != 0 && isMeant && variable.owned && variable.channel == channel) {
      return key;
    }
  }
  return 0;
}

bool DictionaryModel::isOwned(unsigned int key) const {
  const auto found = variables.find(key);
  return found != variables.end() && found->second.owned;
}

void DictionaryModel::add(unsigned int index, bool record) {
  isRecord.emplace(index, record);
}

void DictionaryModel::add(unsigned int key, int access, int type, int value, const std::string& text) {
  Object& object = objects[key];
  object.access = access;
  object.type = type;
  object.value = value;
  object.text = text;
  const auto count = objects.find(key & 0xFFFF0000U);
  const int subIndex = static_cast<int>(key & 0xFFU);
  if (isRecord[key >> 16U] && count != objects.end() && count->second.value < subIndex) {
    count->second.value = subIndex;
  }
}

void DictionaryModel::limit(unsigned int key, int low, int high) {
  objects[key].low = low;
  objects[key].high = high;
}

void DictionaryModel::addStandardObject(unsigned int index, unsigned int subIndex, int access, int type, int value,
                                        int low, int high) {
  const unsigned int key = index << 16U | subIndex;
  add(key, access, type, value);
  limit(key, low, high);
}

void DictionaryModel::addStandardObjects(unsigned int nodeID) {
  const int node = static_cast<int>(nodeID);
  for (const Type& type : TYPES) {
    add(static_cast<unsigned int>(type.number), false);
    addStandardObject(static_cast<unsigned int>(type.number), 0, RO, type.number, 0, 0, type.high);
  }
  for (const unsigned int index :
       {0x1000U, 0x1001U, 0x1002U, 0x1005U, 0x1008U, 0x1009U, 0x100AU, 0x1012U, 0x1014U, 0x1015U, 0x1017U}) {
    add(index, false);
  }
  for (const unsigned int index : {0x1003U, 0x1010U, 0x1011U, 0x1016U, 0x1018U, 0x1200U}) {
    add(index, true);
  }
  addStandardObject(0x1000, 0, RO, UNSIGNED32, 0, 0, UNLIMITED);
  addStandardObject(0x1001, 0, RO, UNSIGNED8, 0, 0, 255);
  addStandardObject(0x1002, 0, RO, UNSIGNED32, 0, 0, UNLIMITED);
  addStandardObject(0x1003, 0, RW, UNSIGNED8, 0, 0, 254);
  addStandardObject(0x1003, 1, RO, UNSIGNED32, 0, 0, UNLIMITED);
  addStandardObject(0x1005, 0, RW, UNSIGNED32, 0x80, 1, UNLIMITED);
  add(0x10080000, CONST, VISIBLE_STRING, 0, "TAVO");
  add(0x10090000, CONST, VISIBLE_STRING, 0, "1.0");
  add(0x100A0000, CONST, VISIBLE_STRING, 0, "undefined");
  addStandardObject(0x1010, 0, RO, UNSIGNED8, 0, 1, 127);
  addStandardObject(0x1010, 1, RW, UNSIGNED32, 1, 0, UNLIMITED);
  addStandardObject(0x1010, 2, RW, UNSIGNED32, 1, 0, UNLIMITED);
  addStandardObject(0x1010, 3, RW, UNSIGNED32, 0, 0, UNLIMITED);
  addStandardObject(0x1011, 0, RO, UNSIGNED8, 0, 1, 127);
  addStandardObject(0x1011, 1, RW, UNSIGNED32, 0, 0, UNLIMITED);
  addStandardObject(0x1011, 2, RW, UNSIGNED32, 0, 0, UNLIMITED);
  addStandardObject(0x1011, 3, RW, UNSIGNED32, 0, 0, UNLIMITED);
  addStandardObject(0x1012, 0, RW, UNSIGNED32, 0x100, 1, UNLIMITED);
  addStandardObject(0x1014, 0, RW, UNSIGNED32, node + 0x80, 1, UNLIMITED);
  addStandardObject(0x1015, 0, RW, UNSIGNED16, 0, 0, 65535);
  addStandardObject(0x1016, 0, RO, UNSIGNED8, 0, 1, 127);
  addStandardObject(0x1016, 1, RW, UNSIGNED32, 0, 0, 0x7FFFFF);
  addStandardObject(0x1017, 0, RW, UNSIGNED16, 0, 0, 65535);
  addStandardObject(0x1018, 0, RO, UNSIGNED8, 4, 1, 4);
  addStandardObject(0x1018, 1, RO, UNSIGNED32, 0x3C7, 0, UNLIMITED);
  addStandardObject(0x1200, 0, RO, UNSIGNED8, 0, 2, 2);
  addStandardObject(0x1200, 1, RO, UNSIGNED32, node + 0x600, 0, UNLIMITED);
  addStandardObject(0x1200, 2, RO, UNSIGNED32, node + 0x580, 0, UNLIMITED);
}

// ---- variables

int DictionaryModel::addVariable(const VariableDescription& description) {
  const unsigned int key = static_cast<unsigned int>(description.index) << 16U | description.subIndex;
  if (description.owned && isOwned(key)) {
    return 25;
  }
  constexpr int ACCESS[] = {RW, WO, RO, CONST};
  if (!description.owned && description.subIndex != 0 && !hasIndex(description.index)) {
    add(description.index, true);
    addStandardObject(description.index, 0, RO, UNSIGNED8, 0, 1, 255);
  }
  add(description.index, description.subIndex != 0);
  const int type = description.isText ? VISIBLE_STRING : typeOf(description.bits, description.isSigned);
  add(key, ACCESS[description.accessMode], type, description.initial, description.initialText);
  variables[key] = {description.isText,
                    description.owned,
                    true,
                    description.initial,
                    description.initialText,
                    description.bits,
                    description.isSigned,
                    description.remoteKey,
                    description.requestCOBID != 0 ? std::to_string(description.requestCOBID) : std::string()};
  if (description.hasLimits) {
    limit(key, description.minimum, description.maximum);
    return 0;
  }
  // A variable keeps 32 bits, however long it is.
  const unsigned int all =
      description.bits <= 0 ? 0U : ~0U >> static_cast<unsigned int>(32 - std::min(description.bits, 32));
  const unsigned int most = description.isSigned ? all >> 1U : all;
  limit(key, static_cast<int>(description.isSigned ? ~most : 0U), static_cast<int>(most));
  return 0;
}

int DictionaryModel::typeOf(int bits, bool isSignedType) {
  switch (bits) {
    case 1:
      return isSignedType ? addDefinition(bits, isSignedType) : BOOLEAN;
    case 8:
      return isSignedType ? 2 : 5;
    case 16:
      return isSignedType ? 3 : 6;
    case 24:
      return isSignedType ? 0x10 : 0x16;
    case 32:
      return isSignedType ? 4 : 7;
    default:
      return addDefinition(bits, isSignedType);
  }
}

int DictionaryModel::addDefinition(int bits, bool isSignedType) {
  int type = 0x40;
  for (const Definition& definition : definitions) {
    if (definition.bits == bits && definition.isSigned == isSignedType) {
      return type;
    }
    ++type;
  }
  if (definitions.size() == 8) {
    return 0;
  }
  definitions.push_back({bits, isSignedType});
  add(static_cast<unsigned int>(type), false);
  addStandardObject(static_cast<unsigned int>(type), 0, RO, type, 0, 0, UNLIMITED);
  return type;
}

int DictionaryModel::bitsOf(int type) const {
  if (type == 0) {
    return 0;
  }
  const std::size_t slot = static_cast<std::size_t>(type - 0x40);
  if (type >= 0x40 && slot < definitions.size()) {
    return definitions[slot].bits;
  }
  const Type* const known = findType(type);
  return known != nullptr ? known->bits : -1;
}

int DictionaryModel::bytesOf(int type) const {
  const int bits = bitsOf(type);
  return bits < 0 ? -1 : (bits - 1) / 8 + 1;
}

bool DictionaryModel::isSigned(int type) const {
  const std::size_t slot = static_cast<std::size_t>(type - 0x40);
  if (type >= 0x40 && slot < definitions.size()) {
    return definitions[slot].isSigned;
  }
  const Type* const known = findType(type);
  return known != nullptr && known->isSigned;
}

int DictionaryModel::store(unsigned int key, int value) {
  Variable* const variable = findVariable(key);
  if (variable == nullptr || variable->isText) {
    return variable == nullptr ? 23 : 20;
  }
  const bool changes = variable->value != value;
  variable->value = value;
  variable->valid = true;
  if (changes) {
    variableChanged(key);
  }
  return 0;
}

int DictionaryModel::store(unsigned int key, const std::string& text) {
  Variable* const variable = findVariable(key);
  if (variable == nullptr || !variable->isText) {
    return variable == nullptr ? 23 : 20;
  }
  const bool changes = variable->text != text;
  variable->text = text;
  variable->valid = true;
  if (changes) {
    variableChanged(key);
  }
  return 0;
}

void DictionaryModel::invalidate(unsigned int key) {
  Variable* const variable = findVariable(key);
  if (variable != nullptr) {
    variable->valid = false;
  }
}

// ---- access

int DictionaryModel::read(unsigned int key, int& value) {
  const auto found = objects.find(key);
  if (found == objects.end()) {
    return 23;
  }
  Object& object = found->second;
  if (object.access == WO) {
    return ABORT_WRITE_ONLY;
  }
  if (key >= 0x20000000U) {
    const Variable* const variable = findVariable(key);
    if (variable == nullptr || variable->isText) {
      return variable == nullptr ? 23 : 20;
    }
    object.value = variable->value;
    value = variable->value;
    return variable->valid ? 0 : 12;
  }
  value = object.value;
  return 0;
}

int DictionaryModel::read(unsigned int key, std::string& text) {
  const Object* const object = find(key);
  if (object == nullptr) {
    return 23;
  }
  if (key < 0x20000000U) {
    text = object->text;
    return 0;
  }
  const Variable* const variable = findVariable(key);
  if (variable == nullptr || !variable->isText) {
    return variable == nullptr ? 23 : 20;
  }
  text = variable->text;
  return variable->valid ? 0 : 12;
}

int DictionaryModel::write(unsigned int key, int value, bool force) {
  const auto found = objects.find(key);
  if (found == objects.end() || found->second.type == VISIBLE_STRING) {
    return 23;
  }
  const int result = key >= 0x20000000U ? writeVariable(key, found->second, value, force)
                                        : judge(key >> 16U, key & 0xFFU, found->second, value, force);
  if (result != 0) {
    return result;
  }
  found->second.value = value;
  objectWritten(key);
  return 0;
}

int DictionaryModel::writeVariable(unsigned int key, const Object& object, int value, bool force) {
  const bool readOnly = object.access == RO || object.access == CONST;
  if (!isOwned(key)) {
    return readOnly ? ABORT_READ_ONLY : store(key, value);
  }
  if (readOnly && !force) {
    return ABORT_READ_ONLY;
  }
  const bool inside = isSigned(object.type)
                          ? value >= object.low && value <= object.high
                          : isIn(static_cast<unsigned int>(value), static_cast<unsigned int>(object.low),
                                 static_cast<unsigned int>(object.high));
  return inside ? store(key, value) : ABORT_RANGE;
}

int DictionaryModel::write(unsigned int key, const std::string& text, bool force) {
  const auto found = objects.find(key);
  if (found == objects.end() || found->second.type != VISIBLE_STRING) {
    return 23;
  }
  const bool deviceText = isIn(key >> 16U, 0x1008, 0x100A);
  const int result = key >= 0x20000000U ? store(key, text) : (deviceText ? forcedOnly(force) : 30);
  if (result == 0) {
    found->second.text = text;
  }
  return result;
}

// ---- who may write what below 0x2000

int DictionaryModel::judge(unsigned int index, unsigned int subIndex, const Object& object, int& value, bool force) {
  const unsigned int number = static_cast<unsigned int>(value);
  if (!isIn(number, static_cast<unsigned int>(object.low), static_cast<unsigned int>(object.high))) {
    return 20;
  }
  if (isIn(index, 0x1000, 0x1018)) {
    return judgeStandard(index, subIndex, value, force);
  }
  if (isIn(index, 0x1200, 0x12FF)) {
    return judgeSDO(index, subIndex, object, number, force);
  }
  if (isIn(index, 0x1400, 0x1BFF)) {
    return judgePDO(index, subIndex, object, value, force);
  }
  return 30;
}

int DictionaryModel::judgeStandard(unsigned int index, unsigned int subIndex, int value, bool force) {
  switch (index) {
    case 0x1000:
    case 0x1001:
    case 0x1002:
      return subIndex == 0 ? forcedOnly(force) : 30;
    case 0x1003:
      return subIndex == 0 && force ? 0 : 11;
    case 0x1005:
      return subIndex == 0 ? judgeSyncCOBID(static_cast<unsigned int>(value)) : 30;
    case 0x1006:
    case 0x1007:
      return subIndex == 0 ? 0 : 30;
    case 0x1010:
      return judgeSave(subIndex, static_cast<unsigned int>(value), force);
    case 0x1012:
      return (static_cast<unsigned int>(value) & 0x60000000U) != 0 ? ABORT_RANGE : 0;
    case 0x1014:
    case 0x1015:
      return 0;
    case 0x1016:
      return subIndex == 0 ? forcedOnly(force) : 0;
    case 0x1017:
      return subIndex != 0 ? 30 : (value >= 0x10000 ? 0x06070012 : 0);
    case 0x1018:
      return forcedOnly(force);
    default:
      return 30;
  }
}

int DictionaryModel::judgeSyncCOBID(unsigned int value) const {
  const unsigned int current = static_cast<unsigned int>(find(0x10050000)->value);
  const bool generates = (current & 0x20000000U) != 0;
  return !generates || (value & 0x3FFFFFFFU) == (current & 0x03FFFFFFU) ? 0 : 30;
}

int DictionaryModel::judgeSave(unsigned int subIndex, unsigned int value, bool force) const {
  if (subIndex == 0) {
    return forcedOnly(force);
  }
  if (subIndex > 2) {
    return 30;
  }
  return value == SAVE ? 0 : 0x08000023;
}

int DictionaryModel::judgeSDO(unsigned int index, unsigned int subIndex, const Object& object, unsigned int value,
                              bool force) {
  const bool server = index < 0x1280;
  if (index == 0x1200 && !force) {
    return 30;
  }
  if (server && index != 0x1200 && subIndex == 0) {
    return forcedOnly(force);
  }
  if (subIndex != 1 && subIndex != 2) {
    return 0;
  }
  return judgeSDOCOBID(object, value, server == (subIndex == 1));
}

int DictionaryModel::judgeSDOCOBID(const Object& object, unsigned int value, bool fromClient) {
  if ((value & INVALID) != 0) {
    surroundings.trace.line("Set SDO COB-ID invalid, new value: " + hexadecimal(value));
    return 0;
  }
  if (object.value >= 0) {
    return 0;
  }
  const unsigned int identifier = value & 0x7FFU;
  const bool expected = fromClient ? isIn(identifier, 0x601, 0x67F) : isIn(identifier, 0x581, 0x5FF);
  return isRestricted(value) || !expected ? ABORT_RANGE : 0;
}

int DictionaryModel::judgePDO(unsigned int index, unsigned int subIndex, const Object& object, int& value, bool force) {
  const bool transmit = index >= 0x1800;
  if (isIn(index, 0x1600, 0x17FF) || index >= 0x1A00) {
    return force ? 0 : (subIndex == 0 ? ABORT_READ_ONLY : 0x06010000);
  }
  switch (subIndex) {
    case 1:
      return judgePDOCOBID(transmit, object, value);
    case 2:
      return isIn(static_cast<unsigned int>(value), 0xF1, 0xFB) ? ABORT_RANGE : 0;
    case 3:
      return !transmit && value > 0 ? 0x06090031 : 0;
    default:
      return 0;
  }
}

int DictionaryModel::judgePDOCOBID(bool transmit, const Object& object, int& value) {
  const unsigned int cobID = static_cast<unsigned int>(value);
  if (cobID == 0) {
    return 0;
  }
  if ((cobID & INVALID) != 0) {
    surroundings.trace.line("Set COB-ID invalid, new value: " + hexadecimal(cobID));
    return 0;
  }
  if (object.value >= 0) {
    surroundings.trace.line("Trying to set 0x " + hexadecimal(cobID).substr(2) + " to a valid PDO COB-ID -> Error");
    return ABORT_RANGE;
  }
  if (isRestricted(cobID)) {
    return ABORT_RANGE;
  }
  const unsigned int changed = transmit ? cobID | 0x40000000U : cobID & ~0x40000000U;
  surroundings.trace.line("Set COB-ID valid, value: " + hexadecimal(changed));
  value = static_cast<int>(changed);
  return 0;
}

}  // namespace model
