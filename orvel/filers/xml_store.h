// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "orvel/filers/wide_buffer.h"
#include "orvel/filers/xml_index.h"
#include "orvel/filers/xml_scanner.h"
#include "orvel/filers/xml_tag_lookup.h"
#include "orvel/filers/xml_text.h"

namespace Orvel::Detail {

/// A document's text, the records of its elements, and how to find them by tag. Views into the text
/// hold until the next call of anything that edits or reads it.
struct XmlStore {
  XmlText text;
  XmlIndex index;
  XmlTagLookup lookup;
  WideBuffer scratch;            ///< what an edit inserts; kept for its memory
  std::uint32_t lastInText = 0;  ///< the element that begins last, 0 if there is none

  /// What the last edit added, if it was an element without children: the next one is likely to
  /// come behind it or in it.
  struct {
    std::uint32_t element = 0;
    std::uint32_t level = 0;
    std::size_t nameLength = 0;
    std::size_t behind = 0;    ///< offset behind it and its line break
    std::size_t tagClose = 0;  ///< offset of the "/>" if it is empty, else 0
  } lastAdded;

  [[nodiscard]] bool IsElement(std::uint32_t number) const noexcept {
    return number != 0 && number < index.GetNext();
  }

  /// Replaces all elements.
  void SetIndex(XmlIndex&& elements) noexcept {
    index = std::move(elements);
    lookup.Clear();
    lastInText = index.GetNext() - 1;
    lastAdded = {};
  }

  /// True when an element begins at `offset` or behind it.
  [[nodiscard]] bool IsAnyFrom(std::size_t offset) const noexcept {
    return lastInText != 0 && index.At(lastInText).start >= offset;
  }

  [[nodiscard]] std::wstring_view GetStartTag(std::uint32_t number) noexcept {
    const MXmlElementRecord& record = index.At(number);
    return text.GetView(record.start, record.GetStartTagLength());
  }

  [[nodiscard]] std::wstring_view GetTagName(std::uint32_t number) noexcept {
    if (number != lastAdded.element) return FindXmlTagName(GetStartTag(number));
    return text.GetView(index.At(number).start + 1, lastAdded.nameLength);
  }

  /// True when the tag name of an element is `name`, which must hold no character that ends tag
  /// names.
  [[nodiscard]] bool HasTagName(std::uint32_t number, std::wstring_view name,
                                bool ignoreCase) noexcept {
    const MXmlElementRecord& record = index.At(number);
    if (record.GetStartTagLength() < name.size() + 2) return false;
    const std::wstring_view tag = text.GetView(record.start, name.size() + 2);
    return IsXmlChar(tag.back(), kXmlTagNameEnd) &&
           EqualXmlNames(tag.substr(1, name.size()), name, ignoreCase);
  }

  /// Offset behind an element's end tag.
  [[nodiscard]] std::size_t GetEnd(std::uint32_t number) noexcept {
    index.SettleLength(number);
    const MXmlElementRecord& record = index.At(number);
    return std::size_t{record.start} + record.length;
  }

  /// Offset of what an element contains, behind its start tag; 0 for the document.
  [[nodiscard]] std::size_t GetContentStart(std::uint32_t number) const noexcept {
    const MXmlElementRecord& record = index.At(number);
    return std::size_t{record.start} + record.GetStartTagLength();
  }

  /// Offset of an element's end tag; the end of the text for the document.
  [[nodiscard]] std::size_t GetContentEnd(std::uint32_t number) noexcept {
    return number == 0 ? text.GetSize() : GetEnd(number) - index.At(number).GetEndTagLength();
  }
};

}  // namespace Orvel::Detail
