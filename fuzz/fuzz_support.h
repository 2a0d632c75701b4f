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

/// Shows a text that is involved in a fault.
inline void PrintText(const std::wstring& text) {
  for (const wchar_t c : text) std::fputc(static_cast<int>(c & 0xFF), stderr);
  std::fputc('\n', stderr);
}

/// Ends the program, which the fuzzer reports, unless `fault` is empty.
inline void RequireNoFault(const std::string& fault) {
  if (fault.empty()) return;
  std::fprintf(stderr, "%s\n", fault.c_str());
  std::abort();
}

/// Ends the program unless `condition` holds.
inline void Require(bool condition, const char* what) {
  if (!condition) RequireNoFault(what);
}

}  // namespace Orvel::Fuzzing
