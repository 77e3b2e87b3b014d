// Any text as an EDS: what is wrong with it is told in lines that name the file, and what is left of it is a device
// that a node can be. The description of that node is one in which nothing is wrong.
#include <cstdint>
#include <string>

#include "Check.h"
#include "EdsApplication.h"
#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQVariableEventDispatcher.h"
#include "NodeDescription.h"
#include "Surroundings.h"
#include "TextFile.h"

namespace {

using device_description::DeviceDescription;

constexpr unsigned char NODE_ID = 5;
constexpr unsigned short FIRST_APPLICATION_INDEX = 0x2000;

// A value or limit, as the type of the variable has it: an UNSIGNED32 is kept by its bit pattern.
long long numberOf(const KQ::KQVariable& variable, int pattern) {
  return variable.isSigned() ? pattern : static_cast<long long>(static_cast<unsigned int>(pattern));
}

void checkInteger(const KQ::KQVariable& variable) {
  const int bits = variable.getBitLength();
  fuzz::require(bits >= 1 && bits <= 32, "an integer of as many bits", static_cast<unsigned int>(bits));
  const long long lowest = variable.isSigned() ? -(1LL << (bits - 1)) : 0;
  const long long highest = variable.isSigned() ? (1LL << (bits - 1)) - 1 : (1LL << bits) - 1;
  const long long low = numberOf(variable, variable.getMinimum());
  const long long high = numberOf(variable, variable.getMaximum());
  const long long initial = numberOf(variable, variable.getInitialValue());
  fuzz::require(lowest <= low && high <= highest, "limits that the type does not have");
  fuzz::require(low <= initial && initial <= high, "a default value outside of its limits");
}

void checkObject(const panel::EdsApplication::Object& object) {
  fuzz::require(object.index >= FIRST_APPLICATION_INDEX, "an object of the node's own", object.index);
  fuzz::require(!object.name.empty(), "an object without a name", object.index);
  fuzz::require(!object.variables.empty(), "an object without a variable", object.index);
  int last = -1;
  for (const KQ::KQVariable& variable : object.variables) {
    fuzz::require(variable.getFirstAddress() == object.index, "a variable of another object");
    fuzz::require(variable.getSecondAddress() > last && variable.getSecondAddress() < 0xFF, "an impossible sub-index",
                  variable.getSecondAddress());
    last = variable.getSecondAddress();
    fuzz::require(!variable.getName().empty(), "a variable without a name");
    fuzz::require(variable.getAccessMode() >= 0 && variable.getAccessMode() <= 3, "an unknown access mode");
    if (variable.getStorageType() != KQ::STORAGE_TYPE_STRING) {
      checkInteger(variable);
    }
  }
}

// Makes a node of the device, which describes itself.
void bindToNode(panel::EdsApplication& application) {
  const fuzz::Surroundings surroundings(1000);
  KQ::KQDEI::instance()->clear();
  KQ::KQVariableEventDispatcher::instance()->clear();
  KQ::KQCANopen node("node");
  node.create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), 1, nullptr);
  node.setNodeID(NODE_ID);
  fuzz::require(node.init() == KQ::KQ_OK, "the node cannot be built");
  application.bind(node);
  for (const panel::EdsApplication::Object& object : application.getObjects()) {
    fuzz::require(node.getObjectDictionary()->objectExists(object.index), "an object was not bound", object.index);
  }
  fuzz::require(node.getObjectDictionary()->storeParameters("tavo.dcf") == KQ::KQ_OK, "no description was written");
  device_description::Findings findings;
  DeviceDescription::parse(panel::describeNode(node, {}).write("out.eds"), "out.eds", NODE_ID, findings);
  fuzz::require(findings.count(device_description::Severity::ERROR) == 0, "an error in a node's own description");
}

void checkFindings(const device_description::Findings& findings, const std::string& fileName) {
  for (const device_description::Finding& finding : findings.getAll()) {
    fuzz::require(finding.text.rfind(fileName, 0) == 0, "a finding that does not name the file");
    fuzz::require(finding.text.find('\n') == std::string::npos, "a finding of more than one line");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzz::TextFile file;
  file.write(std::string(reinterpret_cast<const char*>(data), size));
  device_description::Findings findings;
  panel::EdsApplication application(file.getName(), NODE_ID, findings, NODE_ID);
  checkFindings(findings, file.getName());
  int last = -1;
  for (const panel::EdsApplication::Object& object : application.getObjects()) {
    fuzz::require(object.index > last, "objects out of order", object.index);
    last = object.index;
    checkObject(object);
  }
  bindToNode(application);
  return 0;
}
