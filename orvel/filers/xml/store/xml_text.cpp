// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/store/xml_text.h"

#include <algorithm>
#include <utility>

#include "orvel/platform/wide_copy.h"

namespace Orvel::Detail {
namespace {

constexpr std::size_t kFirstGap = 256;

using Traits = std::wstring::traits_type;

/// Moves `piece` to `to`, which may overlap it. Fast for short pieces: most gaps move by a line
/// break or an end tag.
void MoveWide(std::wstring_view piece, wchar_t* to) noexcept {
  constexpr std::size_t kShort = 16;
  if (piece.size() > kShort) {
    Traits::move(to, piece.data(), piece.size());
    return;
  }
  wchar_t copy[kShort];
  CopyWide({copy, static_cast<std::size_t>(CopyWide(piece, copy) - copy)}, to);
}

}  // namespace

const std::wstring& XmlText::GetWhole() {
  if (gapLength_ != 0) {
    MoveGap(GetSize());
    buffer_.resize(gapStart_);
    gapStart_ = 0;
    gapLength_ = 0;
    nextGap_ = 0;
  }
  return buffer_;
}

std::wstring XmlText::Take() {
  static_cast<void>(GetWhole());
  return std::exchange(buffer_, std::wstring());
}

void XmlText::Set(std::wstring&& text) noexcept {
  buffer_ = std::move(text);
  gapStart_ = 0;
  gapLength_ = 0;
  nextGap_ = 0;
}

void XmlText::MoveGap(std::size_t offset) noexcept {
  wchar_t* const data = buffer_.data();
  if (gapLength_ == 0) {
    // Nothing to move: an empty gap can be anywhere.
  } else if (offset < gapStart_) {
    MoveWide({data + offset, gapStart_ - offset}, data + offset + gapLength_);
  } else if (offset > gapStart_) {
    MoveWide({data + gapStart_ + gapLength_, offset - gapStart_}, data + gapStart_);
  }
  gapStart_ = offset;
}

void XmlText::GrowGap(std::size_t atLeast) {
  // Each growth is twice the one before, up to half the text. So growing the gap, moving what is
  // behind it and closing it take time in proportion to what is inserted, also when every edit is
  // followed by a request for the whole text.
  const std::size_t step = (std::max)(nextGap_, kFirstGap);
  const std::size_t added = atLeast + step;
  const std::size_t behind = buffer_.size() - gapStart_ - gapLength_;
  const std::size_t oldSize = buffer_.size();
  buffer_.resize(oldSize + added);
  wchar_t* const data = buffer_.data();
  Traits::move(data + buffer_.size() - behind, data + oldSize - behind, behind);
  gapLength_ += added;
  nextGap_ = (std::max)(step, (std::min)(step * 2, GetSize() / 2));
}

}  // namespace Orvel::Detail
