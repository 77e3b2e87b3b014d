#include "AllocationCounter.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> allocationCount{0};
std::atomic<std::size_t> deallocationCount{0};
std::atomic<std::size_t> liveBytes{0};
std::atomic<bool> isCountingBytes{false};

void* countAllocation(void* memory) {
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  allocationCount.fetch_add(1, std::memory_order_relaxed);
  if (isCountingBytes.load(std::memory_order_relaxed)) {
    liveBytes.fetch_add(malloc_usable_size(memory), std::memory_order_relaxed);
  }
  return memory;
}

void* allocate(std::size_t size) {
  return countAllocation(std::malloc(size != 0 ? size : 1));
}

void* allocateAligned(std::size_t size, std::align_val_t alignment) {
  const auto boundary = static_cast<std::size_t>(alignment);
  return countAllocation(std::aligned_alloc(boundary, (size + boundary - 1) / boundary * boundary));
}

void release(void* memory) noexcept {
  if (memory == nullptr) {
    return;
  }
  deallocationCount.fetch_add(1, std::memory_order_relaxed);
  if (isCountingBytes.load(std::memory_order_relaxed)) {
    liveBytes.fetch_sub(malloc_usable_size(memory), std::memory_order_relaxed);
  }
  std::free(memory);
}

}  // namespace

namespace bench {

std::size_t AllocationCounter::allocations() {
  return allocationCount.load(std::memory_order_relaxed);
}

std::size_t AllocationCounter::deallocations() {
  return deallocationCount.load(std::memory_order_relaxed);
}

void AllocationCounter::countBytes() {
  isCountingBytes.store(true, std::memory_order_relaxed);
}

std::size_t AllocationCounter::bytes() {
  return liveBytes.load(std::memory_order_relaxed);
}

}  // namespace bench

// The forms for arrays are not replaced: those of the library call these, and those of the address sanitizer go
// together with each other. The sanitizer's form that does not throw would go together with the `delete` of this file,
// which it reports: that form is replaced, too.

void* operator new(std::size_t size) {
  return allocate(size);
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  void* memory = std::malloc(size != 0 ? size : 1);
  return memory != nullptr ? countAllocation(memory) : nullptr;
}

void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocateAligned(size, alignment);
}

void operator delete(void* memory) noexcept {
  release(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  release(memory);
}

void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
  release(memory);
}

void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  release(memory);
}
