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

/// All that a document keeps: its elements, how to find them by tag, and a text that edits use.
///
/// Thread-unsafe, as XmlElements are.
struct XmlStore : XmlElements {
  XmlTagLookup lookup{*this};
  WideBuffer scratch;  ///< what an edit inserts; kept for its memory

  /// Replaces all elements.
  void SetIndex(XmlIndex&& elements) noexcept {
    index = std::move(elements);
    lookup.Clear();
    index.SetGapBehindAll();
    lastAdded = {};
  }

  /// Forgets an element, which stays in the text, and all that it contains.
  void Forget(std::uint32_t number, bool ignoreCase) noexcept {
    lookup.NoteRemoved(number, ignoreCase);
    const std::size_t end = GetEnd(number);  // settles its length
    index.MoveGap(index.IsBehindGap(number) ? GetStart(number) : end, text.GetSize());
    index.Forget(number, [this](std::uint32_t forgotten) { lookup.ForgetLevel(forgotten); });
  }

  /// `piece`, or a copy of it in the scratch text when it is a part of the document's own text.
  [[nodiscard]] std::wstring_view KeepOutside(std::wstring_view piece) {
    if (!text.Holds(piece)) return piece;
    scratch.Clear();
    scratch.Append(piece);
    return scratch.GetView();
  }

  /// Frees the scratch text's memory after an edit with much text.
  void TrimScratch() noexcept {
    constexpr std::size_t kKept = 65536;
    if (scratch.GetCapacity() > kKept) scratch = {};
  }
};

}  // namespace Orvel::Detail
