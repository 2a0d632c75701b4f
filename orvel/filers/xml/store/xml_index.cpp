// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/store/xml_index.h"

#include <algorithm>
#include <utility>

namespace Orvel::Detail {

void XmlIndex::Clear(std::size_t expected) {
  std::vector<std::unique_ptr<MXmlElementRecord[]>> pages;
  const auto capacity = static_cast<std::uint32_t>(std::clamp<std::size_t>(expected, 8, kPageSize));
  pages.push_back(std::make_unique_for_overwrite<MXmlElementRecord[]>(capacity));
  pages_ = std::move(pages);
  capacity_ = capacity;
  pages_[0][0] = MXmlElementRecord{};
  next_ = 1;
  growthAt_ = 0;
  growth_ = 0;
  SetGapBehindAll();
}

void XmlIndex::Grow() {
  if (capacity_ >= kPageSize) {
    pages_.push_back(std::make_unique_for_overwrite<MXmlElementRecord[]>(kPageSize));
    capacity_ += kPageSize;
    return;
  }
  const std::uint32_t capacity = (std::min)(capacity_ * 2, kPageSize);
  auto page = std::make_unique_for_overwrite<MXmlElementRecord[]>(capacity);
  std::copy_n(pages_[0].get(), next_, page.get());
  pages_[0] = std::move(page);
  capacity_ = capacity;
}

void XmlIndex::LinkBetween(std::uint32_t parent, std::uint32_t previous, std::uint32_t next,
                           std::uint32_t number) noexcept {
  MXmlElementRecord& record = GetRecord(number);
  record.parent = parent;
  record.nextSibling = next;
  record.previousSibling = previous == 0 ? GetRecord(next).previousSibling : previous;
  GetRecord(next).previousSibling = number;
  if (previous == 0) {
    GetRecord(parent).firstChild = number;
    record.flagsAndLevel |= MXmlElementRecord::kFirstChild;
  } else {
    GetRecord(previous).nextSibling = number;
  }
}

/// Unlinks an element, with everything in it, from its siblings and from the gap. Returns its next
/// sibling.
std::uint32_t XmlIndex::Unlink(std::uint32_t number) noexcept {
  if (IsBehindGap(number)) {
    behindGap_ = GetNextBehind(number);
  } else {
    beforeGap_ = GetPreviousInText(number);
  }
  const MXmlElementRecord& record = GetRecord(number);
  const std::uint32_t next = record.nextSibling;
  const std::uint32_t previous = GetPreviousSibling(number);
  if (next != 0) {
    GetRecord(next).previousSibling = record.previousSibling;
  } else if (previous != 0) {
    GetRecord(GetRecord(record.parent).firstChild).previousSibling = previous;
  }
  (previous == 0 ? GetRecord(record.parent).firstChild : GetRecord(previous).nextSibling) = next;
  return next;
}

/// Returns the next record in the text; 0 after the last one.
std::uint32_t XmlIndex::GetNextInText(std::uint32_t number) const noexcept {
  const std::uint32_t child = GetRecord(number).firstChild;
  return child != 0 ? child : GetNextBehind(number);
}

/// Returns the first record behind an element and everything in it; 0 when there is none.
std::uint32_t XmlIndex::GetNextBehind(std::uint32_t number) const noexcept {
  while (number != 0 && GetRecord(number).nextSibling == 0) number = GetRecord(number).parent;
  return number == 0 ? 0 : GetRecord(number).nextSibling;
}

/// Returns the previous record in the text; 0 before the first one.
std::uint32_t XmlIndex::GetPreviousInText(std::uint32_t number) const noexcept {
  const std::uint32_t parent = GetRecord(number).parent;
  if (GetRecord(parent).firstChild == number) return parent;
  number = GetRecord(number).previousSibling;
  while (const std::uint32_t last = GetLastChild(number)) number = last;
  return number;
}

void XmlIndex::MoveGapFromLast(std::size_t offset, std::size_t size) noexcept {
  const auto end = static_cast<std::uint32_t>(size);
  while (behindGap_ != 0 && GetRecord(behindGap_).start + end < offset) {
    beforeGap_ = behindGap_;
    behindGap_ = GetNextInText(beforeGap_);
    GetRecord(beforeGap_).start += end;
  }
  while (beforeGap_ != 0 && GetRecord(beforeGap_).start >= offset) {
    behindGap_ = beforeGap_;
    beforeGap_ = GetPreviousInText(behindGap_);
    GetRecord(behindGap_).start -= end;
  }
}

void XmlIndex::MoveGrowth(std::uint32_t number) noexcept {
  if (growth_ == 0) {
    growthAt_ = number;
    return;
  }
  // Climbs from both elements until they meet. The deeper one is never above that place, so it is
  // the one that climbs; the document is above all levels.
  const auto getDepth = [this](std::uint32_t element) {
    return element == 0 ? 0 : GetRecord(element).GetLevel() + 1;
  };
  std::uint32_t from = growthAt_;
  std::uint32_t fromDepth = getDepth(from);
  std::uint32_t to = number;
  std::uint32_t toDepth = getDepth(to);
  while (from != to) {
    if (fromDepth > toDepth) {
      GetRecord(from).length += growth_;
      from = GetRecord(from).parent;
      fromDepth = getDepth(from);
    } else {
      GetRecord(to).length -= growth_;
      to = GetRecord(to).parent;
      toDepth = getDepth(to);
    }
  }
  growthAt_ = number;
}

void XmlIndex::SettleAll() noexcept {
  MoveGrowth(0);
  GetRecord(0).length += growth_;
  growth_ = 0;
}

}  // namespace Orvel::Detail
