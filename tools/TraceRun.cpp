#include "TraceRun.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>

#include "CandumpReader.h"
#include "FrameObject.h"
#include "SummaryObject.h"
#include "SummaryText.h"
#include "TraceError.h"

namespace trace {

namespace {

constexpr const char* STANDARD_INPUT = "-";
constexpr std::uint64_t TOLD_LINES = 10;  // of those that are no frames

// An open file, or standard input.
class Input {
public:
  explicit Input(const std::string& name)
      : isOwn(name != STANDARD_INPUT), descriptor(isOwn ? open(name.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO) {
    struct stat status {};
    if (descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
      close(descriptor);
      errno = EISDIR;
      descriptor = -1;
    }
    if (descriptor < 0) {
      throw TraceError("cannot read '" + name + "': " + std::strerror(errno));
    }
  }
  ~Input() {
    if (isOwn) {
      close(descriptor);
    }
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  int get() const { return descriptor; }

private:
  const bool isOwn;
  int descriptor;
};

// @return 0 when one of them is no file of a known size
std::uint64_t getSize(const std::vector<std::string>& files) {
  std::uint64_t sum = 0;
  for (const std::string& name : files) {
    struct stat status {};
    const bool isKnown = (name == STANDARD_INPUT ? fstat(STDIN_FILENO, &status) : stat(name.c_str(), &status)) == 0 &&
                         S_ISREG(status.st_mode);
    if (!isKnown) {
      return 0;
    }
    sum += static_cast<std::uint64_t>(status.st_size);
  }
  return sum;
}

// The beginning of a line that may hold anything.
std::string getBeginning(std::string_view line) {
  constexpr std::size_t LONGEST = 60;
  std::string text(line.substr(0, LONGEST));
  std::replace_if(
      text.begin(), text.end(), [](unsigned char letter) { return letter < ' ' || letter > '~'; }, '?');
  return line.size() > LONGEST ? text + "..." : text;
}

}  // namespace

TraceRun::TraceRun(const TraceOptions& given, const volatile std::sig_atomic_t& isInterrupted)
    : options(given),
      interrupted(isInterrupted),
      networks(names, given.bitRate),
      frameText(given.time, given.data),
      output(STDOUT_FILENO),
      progress(STDERR_FILENO, !given.summary && isatty(STDOUT_FILENO) == 1),
      bytesInAll(getSize(given.files)) {
  for (const std::string& description : options.descriptions) {
    for (const std::string& oddity : names.add(description)) {
      complain(oddity);
    }
  }
}

bool TraceRun::run() {
  for (const std::string& name : options.files) {
    readFile(name);
  }
  finish();
  return refused == 0;
}

void TraceRun::readFile(const std::string& name) {
  const Input input(name);
  monitor::CandumpReader reader(input.get());
  readLines(reader, name);
  bytesBefore += reader.getBytesRead();
  const int error = reader.getError();
  if (error != 0 && error != EINTR) {
    output.flush();
    throw TraceError("cannot read '" + name + "': " + std::strerror(error));
  }
}

// What is shown does not wait until there is more of it when the next line has to be waited for.
void TraceRun::readLines(monitor::CandumpReader& reader, const std::string& name) {
  constexpr std::uint64_t BETWEEN_LOOKS = 4096;
  monitor::LoggedFrame logged;
  while (interrupted == 0) {
    if (!reader.hasLine()) {
      output.flush();
    }
    const monitor::CandumpReader::Item item = reader.next(logged);
    if (item == monitor::CandumpReader::Item::END) {
      return;
    }
    if (item == monitor::CandumpReader::Item::REFUSED) {
      refuse(reader, name);
      continue;
    }
    take(logged);
    if (++frames % BETWEEN_LOOKS == 0) {
      progress.show(frames, bytesBefore + reader.getBytesRead(), bytesInAll);
    }
  }
}

void TraceRun::take(const monitor::LoggedFrame& logged) {
  if (isFirst) {
    isFirst = false;
    first = logged.frame.microseconds;
  }
  if (!options.filter.isOfInterface(logged.interface)) {
    return;
  }
  Network& network = networks.get(logged.interface);
  const monitor::DecodedFrame& frame = network.decoder.decode(logged.frame);
  if (!options.filter.isInTime(frame.frame.microseconds, first) || !options.filter.matches(frame)) {
    return;
  }
  if (options.summary) {
    network.statistics.add(frame, logged.direction == 'T');
  } else {
    print(frame, logged.interface);
  }
}

void TraceRun::print(const monitor::DecodedFrame& frame, std::string_view interface) {
  if (options.json) {
    output.text += toObject(frame, interface).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    output.text += '\n';
  } else {
    frameText.append(output.text, frame, interface, first);
  }
  output.writeWhenFull();
}

void TraceRun::refuse(const monitor::CandumpReader& reader, const std::string& name) {
  ++refused;
  if (refused <= TOLD_LINES) {
    output.flush();
    complain(name + ":" + std::to_string(reader.getLineNumber()) + ": not a line of a candump log: '" +
             getBeginning(reader.getLine()) + "'");
  }
}

void TraceRun::finish() {
  progress.clear();
  for (const auto& network : networks.getAll()) {
    network->statistics.advance(network->statistics.getLast());
  }
  if (refused > TOLD_LINES) {
    complain(std::to_string(refused) + " lines in all were no lines of a candump log");
  }
  if (options.summary && options.json) {
    output.text += toObject(networks, refused).dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
    output.text += '\n';
  } else if (options.summary) {
    SummaryText(names).append(output.text, networks);
  }
  output.flush();
}

void TraceRun::complain(const std::string& text) {
  progress.clear();
  std::cerr << "tavo-trace: " << text << '\n';
}

}  // namespace trace
