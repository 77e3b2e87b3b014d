#pragma once

#include <iomanip>
#include <iostream>

namespace test {

/// While one lives, the application has set std::cout to a format that would show in any formatted output.
class ChangedStreamFormat {
public:
  static constexpr int WIDTH = 100000;

  ChangedStreamFormat() : before(nullptr) {
    before.copyfmt(std::cout);
    std::cout << std::oct << std::uppercase << std::showbase << std::showpos << std::left << std::setfill('*')
              << std::setw(WIDTH);
    flags = std::cout.flags();
  }
  ~ChangedStreamFormat() {
    std::cout.copyfmt(before);
    std::cout.width(before.width());
  }
  ChangedStreamFormat(const ChangedStreamFormat&) = delete;
  ChangedStreamFormat& operator=(const ChangedStreamFormat&) = delete;

  /// Nobody has set the stream to something else meanwhile.
  bool isKept() const { return std::cout.flags() == flags && std::cout.width() == WIDTH && std::cout.fill() == '*'; }

private:
  std::ios before;
  std::ios::fmtflags flags;
};

}  // namespace test
