// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "orvel/filers/xml/store/xml_characters.h"
#include "orvel/filers/xml/store/xml_index.h"
#include "orvel/filers/xml/store/xml_names.h"
#include "orvel/filers/xml/store/xml_text.h"

namespace Orvel::Detail {

/// A document's text and the records of its elements: together they locate every element. Views
/// into the text are valid until the next call that edits or reads it.
///
/// Thread-unsafe. Before the first edit, reading changes nothing.
struct XmlElements {
  XmlText text;
  XmlIndex index;

  /// The element that the last edit added, if it has no children: the next one is likely to be
  /// added behind it or in it.
  struct {
    std::uint32_t element = 0;
    std::uint32_t level = 0;
    std::size_t nameLength = 0;
    std::size_t behind = 0;    ///< offset behind it and its line break
    std::size_t tagClose = 0;  ///< offset of the "/>" if it is empty, else 0
  } lastAdded;

  [[nodiscard]] bool IsElement(std::uint32_t number) const noexcept {
    return number != 0 && number < index.GetNext() && index.GetRecord(number).tagLengths != 0;
  }

  /// Returns the offset of an element's `<`; 0 for the document.
  [[nodiscard]] std::size_t GetStart(std::uint32_t number) const noexcept {
    return index.GetStart(number, text.GetSize());
  }

  [[nodiscard]] std::wstring_view GetStartTag(std::uint32_t number) noexcept {
    return text.GetView(GetStart(number), index.GetRecord(number).GetStartTagLength());
  }

  [[nodiscard]] std::wstring_view GetTagName(std::uint32_t number) noexcept {
    if (number != lastAdded.element) return FindXmlTagName(GetStartTag(number));
    return text.GetView(GetStart(number) + 1, lastAdded.nameLength);
  }

  /// True when `name` is the tag name of an element. It must not contain a character that ends tag
  /// names.
  [[nodiscard]] bool HasTagName(std::uint32_t number, std::wstring_view name,
                                bool ignoreCase) noexcept {
    if (index.GetRecord(number).GetStartTagLength() < name.size() + 2) return false;
    const std::wstring_view tag = text.GetView(GetStart(number), name.size() + 2);
    return IsXmlChar(tag.back(), kXmlTagNameEnd) &&
           EqualXmlNames(tag.substr(1, name.size()), name, ignoreCase);
  }

  /// Returns the offset behind an element's end tag.
  [[nodiscard]] std::size_t GetEnd(std::uint32_t number) noexcept {
    index.SettleLength(number);
    return GetStart(number) + index.GetRecord(number).length;
  }

  /// Returns the offset behind an element's start tag; 0 for the document.
  [[nodiscard]] std::size_t GetContentStart(std::uint32_t number) const noexcept {
    return GetStart(number) + index.GetRecord(number).GetStartTagLength();
  }

  /// Returns the offset of an element's end tag; the end of the text for the document.
  [[nodiscard]] std::size_t GetContentEnd(std::uint32_t number) noexcept {
    return number == 0 ? text.GetSize()
                       : GetEnd(number) - index.GetRecord(number).GetEndTagLength();
  }
};

}  // namespace Orvel::Detail
