// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "orvel/filers/xml/document/xml_document.h"

namespace Orvel::Testing {

/// What a plain parser, which closes what is not ended one element at a time and searches the whole
/// stack for each end tag, finds in a text. It is slow on unbalanced tags and shares no code with
/// the document.
struct XmlModel {
  struct Element {
    std::size_t start = 0;
    std::size_t length = 0;
    std::size_t startTagLength = 0;
    std::size_t endTagLength = 0;
    std::size_t flags = 0;
    std::size_t level = 0;
    std::size_t parent = 0;
  };

  std::vector<Element> elements;  // 0 is the document; numbered as they begin
  std::wstring error;
  bool isWellFormed = false;
};

[[nodiscard]] XmlModel ParseModel(std::wstring_view text, bool ignoreCase);

/// Describes the first difference between a parsed document, sound by CheckRecords(), and the model
/// of its text; empty when there is none.
[[nodiscard]] std::string CompareWithModel(const MXmlDocument& document, const XmlModel& model);

/// Describes the first fault in a document's records: wrong links, elements outside of their
/// parents or in the wrong order, tags that are not in the text; empty when there is none.
[[nodiscard]] std::string CheckRecords(const MXmlDocument& document);

/// Describes the first difference between an edited document and one that its text was parsed
/// into: elements, their places, tags and parents.
[[nodiscard]] std::string CompareTrees(const MXmlDocument& edited, const MXmlDocument& parsed);

/// Describes what is wrong with the current position of a document that is well-formed: a walk
/// through the level must come to the same node, or to the elements around it when it is a text,
/// which an edit may have cut. Empty when nothing is. Leaves the position as it was.
[[nodiscard]] std::string CheckPosition(MXmlDocument& document);

}  // namespace Orvel::Testing
