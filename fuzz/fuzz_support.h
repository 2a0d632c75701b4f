// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace Orvel::Fuzzing {

/// One unit of text for each byte: scanners look at ASCII only.
inline std::wstring WidenBytes(const std::string& bytes) {
  std::wstring text;
  text.reserve(bytes.size());
  for (const char c : bytes) text += static_cast<wchar_t>(static_cast<unsigned char>(c));
  return text;
}

/// Ends the program, which the fuzzer reports, unless `condition` holds.
inline void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

}  // namespace Orvel::Fuzzing
