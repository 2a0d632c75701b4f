// SPDX-License-Identifier: MIT
#include <cstdint>

int main() {
  // Volatile, so that neither compiler nor sanitizer knows that nothing is there.
  volatile std::uintptr_t nowhere = 16;
  *reinterpret_cast<volatile int*>(nowhere) = 1;
}
