// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace Orvel::Detail {

/// Where the two parts of an insertion are to be written: what comes before the gap, and what comes
/// behind it.
struct XmlRoom {
  wchar_t* before = nullptr;
  wchar_t* behind = nullptr;
};

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
  [[nodiscard]] wchar_t GetUnit(std::size_t offset) const noexcept {
    return buffer_[offset < gapStart_ ? offset : offset + gapLength_];
  }

  /// A part of the text, which must be inside. May move the gap; the view holds until the next
  /// call that is not const.
  [[nodiscard]] std::wstring_view GetView(std::size_t offset, std::size_t length) noexcept {
    if (gapLength_ == 0) return {buffer_.data() + offset, length};
    if (offset < gapStart_ && offset + length > gapStart_) MoveGap(offset + length);
    return {buffer_.data() + offset + (offset < gapStart_ ? 0 : gapLength_), length};
  }

  /// The whole text; removes the gap. Valid until the next call that is not const.
  [[nodiscard]] const std::wstring& GetWhole();

  /// Hands the whole text out without copying it and leaves an empty one.
  [[nodiscard]] std::wstring Take();

  /// Takes a text over without copying it.
  void Set(std::wstring&& text) noexcept;

  /// Sees to it that replacements need no memory as long as they add no more than `count` units.
  void Reserve(std::size_t count) {
    if (count > gapLength_) GrowGap(count - gapLength_);
  }

  /// Replaces `removed` units at `offset` by `before` and `behind` new ones, which the caller then
  /// writes. The gap is between the two, so that an edit there moves nothing. When memory runs out,
  /// the text is unchanged.
  [[nodiscard]] XmlRoom Replace(std::size_t offset, std::size_t removed, std::size_t before,
                                std::size_t behind) {
    if (gapStart_ < offset || gapStart_ > offset + removed) MoveGap(offset + removed);
    if (before + behind > gapLength_ + removed) GrowGap(before + behind - removed);
    gapLength_ += removed - before - behind;
    gapStart_ = offset + before;
    wchar_t* const data = buffer_.data();
    return {data + offset, data + gapStart_ + gapLength_};
  }

  /// True when `piece` is a part of this text, so that an edit might move it.
  [[nodiscard]] bool Holds(std::wstring_view piece) const noexcept {
    const std::less_equal<const wchar_t*> isUpTo;
    return isUpTo(buffer_.data(), piece.data()) &&
           isUpTo(piece.data(), buffer_.data() + buffer_.size());
  }

 private:
  void MoveGap(std::size_t offset) noexcept;
  void GrowGap(std::size_t atLeast);

  std::wstring buffer_;
  std::size_t gapStart_ = 0;
  std::size_t gapLength_ = 0;
  std::size_t nextGap_ = 0;  // how much the gap grows by the next time
};

}  // namespace Orvel::Detail
