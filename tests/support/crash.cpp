// SPDX-License-Identifier: MIT
#include <cstdint>
#include <cstdio>

int main() {
  std::puts("crashing");
  std::fflush(stdout);
  // Volatile, so that neither compiler nor sanitizer knows that nothing is there.
  volatile std::uintptr_t nowhere = 16;
  *reinterpret_cast<volatile int*>(nowhere) = 1;
}
