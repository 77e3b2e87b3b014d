#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "Frame.h"

namespace monitor {

/// A frame as it stands in a log.
struct LoggedFrame {
  Frame frame;                 ///< its time is 0 where the log has none
  std::string_view interface;  ///< as "can0"; valid until the reader's next call
  char direction{' '};         ///< 'R' received, 'T' sent, ' ' where the log does not say
};

/// Reads the lines that candump writes, from a file or a pipe, and nothing else of a CAN bus:
///
///     (1700000000.123456) can0 705#00            candump -l and -L; with any number of digits behind the point
///     (1700000000.123456) can0 705#00 R          the same with the direction, R or T
///     (1700000000.123456) can0 1FFFFFFF#R        eight digits: an extended identifier; R: a remote frame, R4 of length
///     4 (1700000000.123456) can0 123##1001122      a frame of CAN FD (1700000000.123456) can0 20000004#00...    an
///     error frame (1700000000.123456)  can0  705   [1]  00   what candump shows on a terminal, with or without time
///     and direction
///
/// Whatever else a line may be is told apart from a frame, and the next one is read. Memory is constant. One thread.
class CandumpReader {
public:
  enum class Item : unsigned char {
    FRAME,    ///< a line with a frame
    REFUSED,  ///< a line that is none of the above
    END       ///< there are no more lines, see getError()
  };

  /// @param file a descriptor, open for reading; stays the caller's
  explicit CandumpReader(int file);
  ~CandumpReader();
  CandumpReader(const CandumpReader&) = delete;
  CandumpReader& operator=(const CandumpReader&) = delete;

  /// Reads the next line that is not blank. Waits for it where the file is a pipe. @param logged filled for FRAME only
  Item next(LoggedFrame& logged);

  /// @return false when next() would have to read from the file, which may have to wait
  bool hasLine() const;

  std::uint64_t getLineNumber() const { return lineNumber; }  ///< of the line read last, from 1 on
  std::string_view getLine() const { return line; }           ///< that line, or its beginning; valid until next()
  std::uint64_t getBytesRead() const { return bytesRead; }
  int getError() const {
    return error;
  }  ///< errno of the read that ended the file early (EINTR for a signal); 0 at its end

  /// Takes a line apart. Any thread. @return whether it holds a frame; else logged has no meaning
  static bool parseLine(std::string_view text, LoggedFrame& logged);

private:
  bool nextLine();
  bool takeLine(std::size_t from);
  bool takeRest();
  bool skipLine();
  bool fill(std::size_t& searched);

  const int descriptor;
  const std::unique_ptr<char[]> buffer;
  char beginning[80]{};  ///< of a line that is too long
  std::size_t begin{0};  ///< of what is read and not yet taken
  std::size_t end{0};
  std::string_view line;
  std::uint64_t lineNumber{0};
  std::uint64_t bytesRead{0};
  int error{0};
  bool lineTooLong{false};
};

}  // namespace monitor
