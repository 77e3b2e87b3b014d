#pragma once

#include <array>
#include <string>

#include "DictionaryModel.h"
#include "Surroundings.h"

namespace model {

/// What the server and the client of a node share: the one upload and the one download in segments that can run, and
/// the frame in which requests and answers are sent.
class SDOTransfers {
public:
  struct Upload {
    unsigned int requestCOBID = 0;
    unsigned int responseCOBID = 0;  ///< not 0: a read of the client waits, or segments run
    std::string data;
    std::size_t offset = 0;
    unsigned int toggle = 0;
    unsigned int key = 0;
    unsigned int tick = 0;
    bool inProgress = false;
    bool isClient = false;
  };
  struct Download {
    unsigned int requestCOBID = 0;   ///< this node hears on it
    unsigned int responseCOBID = 0;  ///< this node sends on it
    std::string data;
    std::size_t offset = 0;
    unsigned int toggle = 0;
    unsigned int key = 0;
    unsigned int tick = 0;
    bool inProgress = false;
    bool confirmed = false;
    bool isClient = false;
    int number = 0;  ///< what a client writes into the local object when that is a number
  };

  SDOTransfers(Surroundings& theSurroundings, DictionaryModel& theDictionary)
      : surroundings(theSurroundings), dictionary(theDictionary) {}

  using Bytes = std::array<unsigned char, 8>;

  bool send(unsigned int cobID, const Bytes& bytes);
  /// A command with index and sub-index. The four bytes behind are those of @p number.
  bool send(unsigned int cobID, unsigned int command, unsigned int key, unsigned int number);
  /// The same with a text. Without a character the four bytes stay as they were sent last.
  bool sendText(unsigned int cobID, unsigned int command, unsigned int key, const std::string& text);
  bool abort(unsigned int cobID, unsigned int key, unsigned int code) { return send(cobID, 0x80, key, code); }

  /// Up to seven characters from the offset on.
  static Bytes segment(unsigned int command, const std::string& data, std::size_t offset);

  void tell(unsigned int key, bool flag = false);
  bool isOver(unsigned int tick) const { return surroundings.tick - tick > timeout; }
  void checkTimeouts();

  /// Fits what was received to the type of an object. @return whether it fits
  bool fit(int type, int& value) const;

  Upload upload;
  Download download;
  unsigned int timeout = 100;
  unsigned int listener = 0;

private:
  Surroundings& surroundings;
  DictionaryModel& dictionary;
  Bytes lastSent{};
};

/// Index and sub-index of a frame as a key.
inline unsigned int keyOf(const Frame& frame) {
  return static_cast<unsigned int>(frame.data[2]) << 24U | static_cast<unsigned int>(frame.data[1]) << 16U |
         frame.data[3];
}

/// The last four bytes of a frame as a number.
inline unsigned int numberOf(const Frame& frame) {
  return static_cast<unsigned int>(frame.data[7]) << 24U | static_cast<unsigned int>(frame.data[6]) << 16U |
         static_cast<unsigned int>(frame.data[5]) << 8U | frame.data[4];
}

/// @p count characters of a frame from @p first on.
inline std::string textOf(const Frame& frame, std::size_t first, std::size_t count) {
  return std::string(reinterpret_cast<const char*>(frame.data.data()) + first, count);
}

}  // namespace model
