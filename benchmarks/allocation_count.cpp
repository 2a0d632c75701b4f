// SPDX-License-Identifier: MIT
#include "allocation_count.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::int64_t> allocations{0};
std::atomic<std::int64_t> bytesInUse{0};

// In front of each block stands its size. As large as what memory is aligned to.
constexpr std::size_t kHeaderSize = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
static_assert(kHeaderSize >= sizeof(std::size_t));

}  // namespace

std::int64_t GetAllocationCount() noexcept { return allocations.load(std::memory_order_relaxed); }
std::int64_t GetAllocatedBytes() noexcept { return bytesInUse.load(std::memory_order_relaxed); }

// Every other form of new comes down to this one. In a file of its own, so that compilers do not
// see the two ends of an allocation together and take malloc and delete for a mismatch.
void* operator new(std::size_t size) {
  void* const memory = std::malloc(kHeaderSize + size);
  if (memory == nullptr) throw std::bad_alloc();
  *static_cast<std::size_t*>(memory) = size;
  allocations.fetch_add(1, std::memory_order_relaxed);
  bytesInUse.fetch_add(static_cast<std::int64_t>(size), std::memory_order_relaxed);
  return static_cast<char*>(memory) + kHeaderSize;
}
void operator delete(void* memory) noexcept {
  if (memory == nullptr) return;
  void* const block = static_cast<char*>(memory) - kHeaderSize;
  bytesInUse.fetch_sub(static_cast<std::int64_t>(*static_cast<std::size_t*>(block)),
                       std::memory_order_relaxed);
  std::free(block);
}
void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }
