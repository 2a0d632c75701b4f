// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Orvel::Testing {

/// Edits a document in ways that the bytes choose, and compares it again and again with a document
/// that its text is parsed into: elements, positions, and what each edit returned. Raises a
/// `std::logic_error` at the first fault. For tests with random bytes, and for the fuzzer.
void EditAtRandom(const std::uint8_t* data, std::size_t size);

/// Parses a text, compares the outcome with a plain parser's, and reads everything in a short one.
/// Raises as EditAtRandom() does.
void ParseAndRead(const std::wstring& text, bool ignoreCase);

}  // namespace Orvel::Testing
