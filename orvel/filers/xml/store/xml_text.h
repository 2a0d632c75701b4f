// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace Orvel::Detail {

/// Where to write the two parts of an insertion: the part in front of the gap, and the part behind
/// it.
struct XmlRoom {
  wchar_t* before = nullptr;
  wchar_t* behind = nullptr;
};

/// The text of a document: a string with a gap at the place of the last edit, so that an edit close
/// to it costs what it inserts, not what is behind it. Offsets count the text without the gap.
///
/// Thread-unsafe. Reading changes nothing while there is no gap: until the first edit, and after
/// GetWhole().
class XmlText {
 public:
  [[nodiscard]] std::size_t GetSize() const noexcept { return buffer_.size() - gapLength_; }

  /// Returns the unit at `offset`, which must be inside the text.
  [[nodiscard]] wchar_t GetUnit(std::size_t offset) const noexcept {
    return buffer_[offset < gapStart_ ? offset : offset + gapLength_];
  }

  /// Returns a part of the text. May move the gap. The view is valid until the next non-const call.
  [[nodiscard]] std::wstring_view GetView(std::size_t offset, std::size_t length) noexcept {
    if (gapLength_ == 0) return {buffer_.data() + offset, length};
    if (offset < gapStart_ && offset + length > gapStart_) MoveGap(offset + length);
    return {buffer_.data() + offset + (offset < gapStart_ ? 0 : gapLength_), length};
  }

  /// Removes the gap and returns the whole text. Valid until the next non-const call.
  [[nodiscard]] const std::wstring& GetWhole();

  /// Moves the whole text out, without a copy, and leaves an empty one.
  [[nodiscard]] std::wstring Take();

  /// Replaces the text, without a copy.
  void Set(std::wstring&& text) noexcept;

  /// Allocates memory for replacements that add up to `count` units altogether.
  void Reserve(std::size_t count) {
    if (count > gapLength_) GrowGap(count - gapLength_);
  }

  /// Replaces `removed` units at `offset` by `before` + `behind` new ones, and returns where the
  /// caller has to write them. The gap is between the two parts, so that the next edit there moves
  /// nothing. When memory runs out, the text is unchanged.
  [[nodiscard]] XmlRoom Replace(std::size_t offset, std::size_t removed, std::size_t before,
                                std::size_t behind) {
    if (gapStart_ < offset || gapStart_ > offset + removed) MoveGap(offset + removed);
    if (before + behind > gapLength_ + removed) GrowGap(before + behind - removed);
    gapLength_ += removed - before - behind;
    gapStart_ = offset + before;
    wchar_t* const data = buffer_.data();
    return {data + offset, data + gapStart_ + gapLength_};
  }

  /// True when `piece` is a part of this text, which an edit might move.
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
  std::size_t nextGap_ = 0;  // how much the gap will grow next time
};

}  // namespace Orvel::Detail
