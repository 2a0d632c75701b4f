// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Orvel::Detail {

/// The text of a document that is being edited: a string with a gap in it that follows the edits,
/// so that edits next to each other cost what they insert, not what stands behind them. Offsets
/// count the text without the gap.
///
/// Thread-unsafe. When there is no gap, which is so until the first edit and after GetWhole(),
/// reading changes nothing.
class XmlText {
 public:
  [[nodiscard]] std::size_t GetSize() const noexcept { return buffer_.size() - gapLength_; }

  /// The unit at `offset`, which must be inside the text.
  [[nodiscard]] wchar_t At(std::size_t offset) const noexcept {
    return buffer_[offset < gapStart_ ? offset : offset + gapLength_];
  }

  /// A part of the text, which must be inside. May move the gap; the view holds until the next
  /// call that is not const.
  [[nodiscard]] std::wstring_view GetView(std::size_t offset, std::size_t length) noexcept;

  /// The whole text; removes the gap. Valid until the next call that is not const.
  [[nodiscard]] const std::wstring& GetWhole();

  /// Hands the whole text out without copying it and leaves an empty one.
  [[nodiscard]] std::wstring Take();

  /// Takes a text over without copying it.
  void Set(std::wstring&& text) noexcept;

  /// Replaces `length` units at `offset` by `piece`, which must not be a part of this text. When
  /// memory runs out, the text is unchanged.
  void Replace(std::size_t offset, std::size_t length, std::wstring_view piece);

 private:
  void MoveGap(std::size_t offset) noexcept;
  void GrowGap(std::size_t atLeast);

  std::wstring buffer_;
  std::size_t gapStart_ = 0;
  std::size_t gapLength_ = 0;
  std::size_t nextGap_ = 0;  // how much the gap grows by the next time
};

}  // namespace Orvel::Detail
