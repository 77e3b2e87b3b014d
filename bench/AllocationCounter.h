#pragma once

#include <cstddef>

namespace bench {

/// What a program takes from the heap. A program that links AllocationCounter.cpp has its operators new and delete
/// replaced by ones that count. Any thread.
struct AllocationCounter {
  /// How often something was allocated since the start.
  static std::size_t allocations();
  static std::size_t deallocations();
  /// Counts bytes, too, from now on; that is left out otherwise, since it costs more than all the rest.
  static void countBytes();
  /// Bytes that are allocated now, with what the allocator rounds them up to. Only a difference of two has a meaning.
  static std::size_t bytes();
};

}  // namespace bench
