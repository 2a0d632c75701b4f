// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "orvel/filers/xml/store/wide_buffer.h"
#include "orvel/filers/xml/store/xml_elements.h"
#include "orvel/filers/xml/store/xml_index.h"
#include "orvel/filers/xml/store/xml_tag_lookup.h"

namespace Orvel::Detail {

/// Everything that a document keeps about its text: the elements, the look-up by tag, and a buffer
/// for edits.
///
/// Thread-unsafe, as XmlElements are.
struct XmlStore : XmlElements {
  XmlTagLookup lookup{*this};
  WideBuffer scratch;  ///< the text that an edit inserts; kept to reuse its memory

  /// Replaces all elements.
  void SetIndex(XmlIndex&& elements) noexcept {
    index = std::move(elements);
    lookup.Clear();
    index.SetGapBehindAll();
    lastAdded = {};
  }

  /// Removes an element and everything in it from the records. The text is unchanged.
  void Forget(std::uint32_t number, bool ignoreCase) noexcept {
    lookup.NoteRemoved(number, ignoreCase);
    const std::size_t end = GetEnd(number);  // settles its length
    index.MoveGap(index.IsBehindGap(number) ? GetStart(number) : end, text.GetSize());
    index.Forget(number, [this](std::uint32_t forgotten) { lookup.ForgetLevel(forgotten); });
  }

  /// Returns `piece`, or a copy of it in `scratch` when it is a part of the document's own text.
  [[nodiscard]] std::wstring_view KeepOutside(std::wstring_view piece) {
    if (!text.Holds(piece)) return piece;
    scratch.Clear();
    scratch.Append(piece);
    return scratch.GetView();
  }

  /// Frees the memory of `scratch` if an edit made it large.
  void TrimScratch() noexcept {
    constexpr std::size_t kKept = 65536;
    if (scratch.GetCapacity() > kKept) scratch = {};
  }
};

}  // namespace Orvel::Detail
