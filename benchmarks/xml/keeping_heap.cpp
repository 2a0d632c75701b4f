// SPDX-License-Identifier: MIT
// Memory that was given back is kept for the next request of its size: what the system takes for
// pages, which differs from one to another by more than the parsers do, would be measured instead
// of them. For programs of one thread.
#include "keeping_heap.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

struct FreeBlock {
  FreeBlock* next;
};

/// In front of each block stands its class. As large as what memory is aligned to.
constexpr std::size_t kHeaderSize = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
constexpr std::size_t kSmallest = 64;
constexpr std::size_t kStepsPerDoubling = 8;

struct SizeClass {
  std::size_t number;
  std::size_t size;  // with the header
};

/// The smallest class that holds `size`: eight between one power of two and the next.
SizeClass FindClass(std::size_t size) noexcept {
  if (size <= kSmallest) return {0, kSmallest};
  const auto doubling = static_cast<std::size_t>(std::bit_width((size - 1) / kSmallest));
  const std::size_t base = (kSmallest / 2) << doubling;
  const std::size_t step = base / kStepsPerDoubling;
  const std::size_t steps = (size - base + step - 1) / step;
  return {doubling * kStepsPerDoubling + steps, base + steps * step};
}

std::array<FreeBlock*, 64 * (kStepsPerDoubling + 1)> freeBlocks{};

}  // namespace

void* KeepingAllocate(std::size_t size) {
  const SizeClass sizeClass = FindClass(kHeaderSize + size);
  FreeBlock*& first = freeBlocks[sizeClass.number];
  void* block = first;
  if (block != nullptr) {
    first = first->next;
  } else {
    block = std::malloc(sizeClass.size);
    if (block == nullptr) throw std::bad_alloc();
  }
  *static_cast<std::size_t*>(block) = sizeClass.number;
  return static_cast<char*>(block) + kHeaderSize;
}

void KeepingFree(void* memory) noexcept {
  if (memory == nullptr) return;
  void* const block = static_cast<char*>(memory) - kHeaderSize;
  FreeBlock*& first = freeBlocks[*static_cast<std::size_t*>(block)];
  first = new (block) FreeBlock{first};
}

void* operator new(std::size_t size) { return KeepingAllocate(size); }
void operator delete(void* memory) noexcept { KeepingFree(memory); }
void operator delete(void* memory, std::size_t) noexcept { KeepingFree(memory); }
