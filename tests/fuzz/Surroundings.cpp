#include "Surroundings.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <streambuf>
#include <string>

#include "Check.h"
#include "KQCANopen.h"
#include "KQDebug.h"
#include "KQTick.h"

namespace fuzz {

namespace {

unsigned int currentTick = 0;

unsigned int readTick() {
  return currentTick;
}

// The beginnings of all lines that a node may print.
constexpr const char* KNOWN_LINES[] = {"CANOPEN: State set to 0x",
                                       "CANopen: Error sending CAN message",
                                       "SDO => Expedited NOOFBYTES: ",
                                       "+++++ SDO => Unable to find owner of variable in a SDO Upload Response: 0x",
                                       "+++++ SDO => We are not owner of the variable",
                                       "Error_Code: ",
                                       "WARNING: PDO 0x",
                                       "\tLength was reduced to 8 bytes but data ",
                                       "Not creating invalid PDO from OD index 0x",
                                       "Sending heartbeat timeout to ECU with node ID 0x",
                                       "Sending heartbeat resolved timeout to ECU with node ID 0x",
                                       "Set SDO COB-ID invalid, new value: 0x",
                                       "Set COB-ID invalid, new value: 0x",
                                       "Trying to set 0x ",
                                       "Set COB-ID valid, value: 0x",
                                       "KQCANopenStateMachine: CANOPEN_STATE_FATAL_ERROR!",
                                       "KQCANopenStateMachine: UNKNOWN STATE!!!!!",
                                       "Trying to do a reset...!",
                                       "WARNING: Marking PDO ",
                                       "Adding heartbeat listener",
                                       "Adding state listener"};

// Takes all that is printed and keeps no more than a line of it.
class LineChecker : public std::streambuf {
protected:
  int_type overflow(int_type character) override {
    put(traits_type::to_char_type(character));
    return traits_type::not_eof(character);
  }

  std::streamsize xsputn(const char* text, std::streamsize count) override {
    for (std::streamsize i = 0; i < count; ++i) {
      put(text[i]);
    }
    return count;
  }

private:
  void put(char character) {
    if (character != '\n') {
      line += character;
      return;
    }
    bool isKnown = false;
    for (const char* const known : KNOWN_LINES) {
      isKnown = isKnown || line.rfind(known, 0) == 0;
    }
    require(isKnown, ("an unknown line: " + line).c_str());
    line.clear();
  }

  std::string line;
};

// Exists as long as the program: a new one for every input would cost more than most inputs.
class Directory {
public:
  Directory() {
    const char* const memory = "/dev/shm";
    const std::filesystem::path parent =
        std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
    path = (parent / "tavo-fuzz-XXXXXX").string();
    require(mkdtemp(path.data()) != nullptr, "no directory for the files of the node");
    descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    outside = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }
  ~Directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  void enter() const { require(fchdir(descriptor) == 0, "the directory cannot be entered"); }
  void leave() const { require(fchdir(outside) == 0, "the directory cannot be left"); }

private:
  std::string path;
  int descriptor = -1;
  int outside = -1;
};

const Directory& directory() {
  static const Directory theDirectory;
  return theDirectory;
}

LineChecker checker;
std::streambuf* output = nullptr;
std::streambuf* errors = nullptr;

}  // namespace

Surroundings::Surroundings(unsigned int tick) {
  directory().enter();
  currentTick = tick;
  KQ::KQTick::setSource(readTick);
  KQ::KQDebug::setLevel(KQ::KQCANopen::debugSection, -1);  // straight to the descriptor, and very many
  output = std::cout.rdbuf(&checker);
  errors = std::cerr.rdbuf(&checker);
}

Surroundings::~Surroundings() {
  std::cout.rdbuf(output);
  std::cerr.rdbuf(errors);
  KQ::KQTick::setSource(nullptr);
  directory().leave();
}

unsigned int Surroundings::now() {
  return currentTick;
}

void Surroundings::advance(unsigned int milliseconds) {
  currentTick += milliseconds;
}

}  // namespace fuzz
