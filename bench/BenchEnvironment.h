#pragma once

#include <filesystem>
#include <streambuf>

namespace bench {

/// What surrounds a node on a bench: a clock that stands until it is moved, a directory for the files that a node
/// writes, and nothing that shows what it prints. One at a time in a process.
class BenchEnvironment {
public:
  BenchEnvironment();
  ~BenchEnvironment();
  BenchEnvironment(const BenchEnvironment&) = delete;
  BenchEnvironment& operator=(const BenchEnvironment&) = delete;

  /// The clock's tick, in milliseconds.
  static unsigned int now();
  static void advance(unsigned int milliseconds);

private:
  /// Takes all characters and keeps none.
  class NullBuffer : public std::streambuf {
  protected:
    int_type overflow(int_type character) override { return traits_type::not_eof(character); }
    std::streamsize xsputn(const char* /*text*/, std::streamsize count) override { return count; }
  };

  std::filesystem::path previousDirectory;
  std::filesystem::path directory;
  NullBuffer nullBuffer;
  std::streambuf* output;
};

}  // namespace bench
