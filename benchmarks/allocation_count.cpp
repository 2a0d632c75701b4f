// SPDX-License-Identifier: MIT
#include "allocation_count.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::int64_t> allocations{0};

}  // namespace

std::int64_t GetAllocationCount() noexcept { return allocations.load(std::memory_order_relaxed); }

// Every other form of new comes down to this one. In a file of its own, so that compilers do not
// see the two ends of an allocation together and take malloc and delete for a mismatch.
void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* const memory = std::malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
