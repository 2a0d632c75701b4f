// SPDX-License-Identifier: MIT
#include "tests/filers/xml_checks.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Orvel::Testing::EditAtRandom(data, size);
  return 0;
}
