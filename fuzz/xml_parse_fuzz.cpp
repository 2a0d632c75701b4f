// SPDX-License-Identifier: MIT
#include "fuzz/fuzz_support.h"
#include "tests/filers/xml_editor.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  Orvel::Testing::ParseAndRead(Orvel::Fuzzing::WidenBytes(bytes), (data[0] & 1) != 0);
  return 0;
}
