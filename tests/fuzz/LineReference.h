#pragma once

#include <string>
#include <vector>

#include "KQCANMessage.h"

namespace fuzz {

/// A frame as the line protocol carries it.
struct LineFrame {
  unsigned int identifier = 0;
  bool isExtended = false;
  std::vector<unsigned char> data;

  static LineFrame of(const KQ::KQCANMessage& message);
  bool operator==(const LineFrame& other) const {
    return identifier == other.identifier && isExtended == other.isExtended && data == other.data;
  }
};

/// The line protocol in the plainest way, over the whole text of one side at once: what the programs make of it must
/// not depend on the segments in which it arrives.
class LineReference {
public:
  /// Splits a text into the words of its lines, up to a line that is too long. @return whether there was one
  static bool split(const std::string& text, std::vector<std::vector<std::string>>& lines);

  /// The frame of a "send" or a "frame" line. @return false: it is none
  static bool parseSend(const std::vector<std::string>& words, LineFrame& frame);
  static bool parseFrame(const std::vector<std::string>& words, LineFrame& frame);
};

}  // namespace fuzz
