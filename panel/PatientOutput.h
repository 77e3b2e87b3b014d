#pragma once

#include <streambuf>
#include <string>

namespace panel {

/// Hands the lines of a stream over to a descriptor, which nobody has to read: a line for which there is no room is
/// dropped and counted. When there is room again, one line says how many are missing, and where they are. A line that
/// has been begun is ended before another one. One thread.
class LineDropper : public std::streambuf {
public:
  /// @param openDescriptor stays open as long as this lives; not owned
  /// @param streamName what the line about missing lines calls it
  LineDropper(int openDescriptor, std::string streamName);
  ~LineDropper() override;
  LineDropper(const LineDropper&) = delete;
  LineDropper& operator=(const LineDropper&) = delete;

  /// Lines dropped since the last line that said so.
  unsigned int getDroppedLines() const { return droppedLines; }

protected:
  int_type overflow(int_type letter) override;
  std::streamsize xsputn(const char* letters, std::streamsize count) override;
  int sync() override;

private:
  bool tellWhatIsMissing();
  bool start(const std::string& line);
  bool finish();
  std::size_t writeSome(const std::string& text) const;

  const int descriptor;
  const std::string name;
  std::string lines;  ///< not handed over yet; the last one may be without its end
  std::string begun;  ///< rest of a line of which a part is out
  unsigned int droppedLines = 0;
};

/// Standard output and standard error of the process, while one lives: a reader that sleeps does not hold the panel up.
/// To be flushed now and then (std::cout, std::cerr), so that what is missing is told when there is room again.
class PatientOutput {
public:
  PatientOutput();
  ~PatientOutput();
  PatientOutput(const PatientOutput&) = delete;
  PatientOutput& operator=(const PatientOutput&) = delete;

private:
  LineDropper output;
  LineDropper errors;
  std::streambuf* const previousOutput;
  std::streambuf* const previousErrors;
};

/// Lets writes to a descriptor end at once when there is no room: for this process, where the kernel can tell it from
/// others that have the same terminal or pipe. A file on a disk stays as it is.
void makeNonBlocking(int descriptor);

}  // namespace panel
