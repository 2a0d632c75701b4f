// SPDX-License-Identifier: MIT
#include "tests/filers/xml_checks.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // One unit of text for each byte: scanners look at ASCII only.
  Orvel::Testing::ParseAndRead(std::wstring(data + 1, data + size), (data[0] & 1) != 0);
  return 0;
}
