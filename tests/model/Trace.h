#pragma once

#include <array>
#include <string>
#include <vector>

namespace model {

struct Frame {
  unsigned int identifier = 0;
  unsigned int length = 0;
  std::array<unsigned char, 8> data{};
};

/// "585#43 18 10 01 C7 03 00 00", and "000#01 00 | 00 00 00 00 00 00" of a shorter frame
std::string toText(const Frame& frame);

/// One thing that the surroundings of a device see of it.
struct Observation {
  enum Kind { FRAME, SIGNAL, EVENT, LINE, ERROR_LINE, RESULT, VALUE };

  Kind kind;
  std::array<unsigned int, 6> numbers{};
  std::array<unsigned char, 8> data{};
  std::string text;

  bool operator==(const Observation& other) const {
    return kind == other.kind && numbers == other.numbers && data == other.data && text == other.text;
  }
};

std::string toText(const Observation& observation);

/// What a device showed since the trace was cleared, in order.
class Trace {
public:
  void frame(const Frame& frame) { add({Observation::FRAME, {frame.identifier, frame.length}, frame.data, {}}); }
  /// @param listener which of the listeners heard it
  void signal(unsigned int listener, unsigned int type, unsigned int code, unsigned int first, unsigned int second,
              bool flag = false) {
    add({Observation::SIGNAL, {listener, type, code, first, second, flag ? 1U : 0U}, {}, {}});
  }
  /// @param type of an event of a PDO, @param key its communication index
  void event(int type, unsigned int key) { add({Observation::EVENT, {static_cast<unsigned int>(type), key}, {}, {}}); }
  void line(std::string text) { add({Observation::LINE, {}, {}, std::move(text)}); }
  void errorLine(std::string text) { add({Observation::ERROR_LINE, {}, {}, std::move(text)}); }
  void result(int code) { add({Observation::RESULT, {static_cast<unsigned int>(code)}, {}, {}}); }
  /// @param code 0, 12 for a value that is marked invalid, 23 for one that does not exist
  void value(unsigned int key, int code, int number, const std::string& text = std::string()) {
    add({Observation::VALUE, {key, static_cast<unsigned int>(code), static_cast<unsigned int>(number)}, {}, text});
  }

  void clear() { observations.clear(); }
  const std::vector<Observation>& all() const { return observations; }
  bool operator==(const Trace& other) const { return observations == other.observations; }

private:
  void add(Observation&& observation) { observations.push_back(std::move(observation)); }

  std::vector<Observation> observations;
};

}  // namespace model
