// SPDX-License-Identifier: MIT
#include "tests/filers/failing_allocation.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t* allocationsUntilFailure = nullptr;

}  // namespace

void* operator new(std::size_t size) {
  if (allocationsUntilFailure != nullptr && (*allocationsUntilFailure)-- == 0) {
    allocationsUntilFailure = nullptr;
    throw std::bad_alloc();
  }
  if (void* const memory = std::malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}

// Not counted; here because what it gives goes to the operator below.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size != 0 ? size : 1);
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace Orvel::Testing {

bool RunsOutOfMemory(std::size_t& skipped, const std::function<void()>& operation) {
  allocationsUntilFailure = &skipped;
  try {
    operation();
  } catch (const std::bad_alloc&) {
    return true;
  }
  allocationsUntilFailure = nullptr;
  return false;
}

}  // namespace Orvel::Testing
