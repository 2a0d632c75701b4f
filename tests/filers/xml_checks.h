// SPDX-License-Identifier: MIT
// Checks of documents, for tests and the fuzzer. Each raises a `std::logic_error` at the first
// fault.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "orvel/filers/xml/document/xml_document.h"

namespace Orvel::Testing {

inline void Require(bool condition, const char* what) {
  if (!condition) throw std::logic_error(what);
}

/// Compares a document with what a plain parser finds in its text: elements, their places and
/// relatives. Before the first edit their levels and marks as well, and the error.
void CompareWithModel(const MXmlDocument& document, bool wasEdited);

/// Checks that a walk through the level comes to the current position of a well-formed document. A
/// text, which edits may have cut, has to be between the elements around it. Leaves the position as
/// it was.
void CheckPosition(MXmlDocument& document);

/// Edits a document in ways that the bytes choose, and checks it again and again, and what each
/// edit returned.
void EditAtRandom(const std::uint8_t* data, std::size_t size);

/// Parses a text, compares the outcome with the model, and reads everything in a short text.
void ParseAndRead(const std::wstring& text, bool ignoreCase);

}  // namespace Orvel::Testing
