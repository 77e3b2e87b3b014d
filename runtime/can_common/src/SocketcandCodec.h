#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "KQBusFrame.h"

namespace KQ {

/// The lines of the raw mode of the TCP line protocol, as text and back. A line begins with '<' and ends with '>';
/// nothing stands between two lines. An identifier of more than three digits is an extended one.
/// Without state; any thread.
class SocketcandCodec {
public:
  /// The longest line that a peer may send, brackets included; a longer one is not of this protocol.
  static constexpr std::size_t MAXIMUM_LINE = 1024;

  /// What is at the beginning of the text received so far.
  enum class Split {
    LINE,     ///< a whole line: content is set
    PARTIAL,  ///< the beginning of one: more has to arrive
    ENDLESS   ///< more than MAXIMUM_LINE bytes without an end
  };

  /// Finds the first line of the text. What stands before its last '<' is rubbish and left out.
  /// @param text bytes received
  /// @param content receives what stands between the brackets, without blanks around it; points into text
  /// @param used receives the number of bytes that the line takes up, rubbish before it included
  static Split nextLine(std::string_view text, std::string_view& content, std::size_t& used);

  /// Takes the first blank-separated word off a text; empty when there is none left.
  static std::string_view nextWord(std::string_view& text);

  /// Appends "< frame 581 1700000000.123456 4300200001000000 >" for the frame. @param microseconds wall clock since
  /// 1970
  static void appendFrameLine(std::string& output, const KQBusFrame& frame, long long microseconds);

  /// Appends "< send 601 8 40 0 20 0 0 0 0 f >" for the frame.
  static void appendSendLine(std::string& output, const KQBusFrame& frame);

  /// Reads what follows the word "frame" in a line. @return false: not a frame; the argument is unchanged
  static bool parseFrame(std::string_view arguments, KQBusFrame& frame);

  /// Reads what follows the word "send" in a line. @return false: not a frame; the argument is unchanged
  static bool parseSend(std::string_view arguments, KQBusFrame& frame);

  /// The wall clock in microseconds since 1970, which frame lines are stamped with.
  static long long getWallClock();
};

}  // namespace KQ
