// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "orvel/filers/xml/store/xml_record.h"

namespace Orvel::Detail {

/// The records of a document's elements, in pages of 65,536: record i is entry i mod 65,536 of page
/// i / 65,536. Record 0 stands for the document. The first page grows with need, so that a small
/// document stays small. The record of an element that is removed keeps its number and is all zeros
/// but for the sibling that was behind the element, so that a walk along the level goes on.
///
/// While an element is being filled, the lengths of everything around it would grow with each
/// addition. They do so only on paper: one record and all that enclose it share an amount of growth
/// that is still to be added, and the amount moves through the tree with the additions. A reader
/// of a length calls SettleLength() before.
///
/// The starts of elements behind the last edit are kept relative to the end of the text, so that
/// edits near each other move none of them. GetStart() knows which is which.
///
/// Thread-unsafe. References to records hold until the next record is added.
class XmlIndex {
 public:
  XmlIndex() { Clear(0); }

  /// Forgets all records but record 0, which is cleared. Makes room for `expected` records.
  void Clear(std::size_t expected);

  [[nodiscard]] MXmlElementRecord& At(std::uint32_t number) noexcept {
    return pages_[number / kPageSize][number % kPageSize];
  }
  [[nodiscard]] const MXmlElementRecord& At(std::uint32_t number) const noexcept {
    return pages_[number / kPageSize][number % kPageSize];
  }

  /// The number that the next record gets; all records have smaller ones.
  [[nodiscard]] std::uint32_t GetNext() const noexcept { return next_; }

  /// Sees to it that `count` calls of Add() need no memory.
  void Reserve(std::uint32_t count) {
    while (capacity_ - next_ < count) Grow();
  }

  /// Offset of an element's `<` in a text of `size` units.
  [[nodiscard]] std::uint32_t GetStart(std::uint32_t number, std::size_t size) const noexcept {
    const std::uint32_t start = At(number).start;
    return IsFromEnd(start) ? start + static_cast<std::uint32_t>(size) : start;
  }

  /// To be called before the text, of `size` units, is edited at `offset`: from now on the starts
  /// of the elements that begin there or behind it are relative to the end, and no others. Takes
  /// the time of the way from the last edit to this one.
  void MoveGap(std::size_t offset, std::size_t size) noexcept {
    if (behindGap_ != 0 || At(beforeGap_).start >= offset) MoveGapFromLast(offset, size);
  }

  /// To be called when a record was linked where the text was edited: `last` begins last in it.
  void NoteBeforeGap(std::uint32_t last) noexcept { beforeGap_ = last; }

  /// True when the start of an element is relative to the end of the text.
  [[nodiscard]] bool IsBehindGap(std::uint32_t number) const noexcept {
    return IsFromEnd(At(number).start);
  }

  /// Unlinks an element and clears its record and those of all that it contains, and calls `forget`
  /// with the number of each. They must all be on the same side of the gap, next to it.
  template <class Function>
  void Forget(std::uint32_t number, const Function& forget) noexcept {
    const std::uint32_t next = Unlink(number);
    for (std::uint32_t leaf = number;;) {
      while (At(leaf).firstChild != 0) leaf = At(leaf).firstChild;
      const MXmlElementRecord record = std::exchange(At(leaf), {});
      forget(leaf);
      if (leaf == number) break;
      if (record.nextSibling == 0) At(record.parent).firstChild = 0;
      leaf = record.nextSibling != 0 ? record.nextSibling : record.parent;
    }
    At(number).nextSibling = next;
  }

  /// Adds a record, of zeros unless told otherwise, and returns its number.
  std::uint32_t Add(const MXmlElementRecord& record = {}) {
    if (next_ == capacity_) Grow();
    At(next_) = record;
    return next_++;
  }

  /// Links a record as its parent's last child, behind the one that was the last, 0 if there was
  /// none, and tells it its parent. A first child gets its mark.
  void LinkLast(std::uint32_t parent, std::uint32_t last, std::uint32_t number) noexcept;

  /// Links a record behind `previous` under `parent`, as the first child when `previous` is 0.
  void LinkBehind(std::uint32_t parent, std::uint32_t previous, std::uint32_t number) noexcept {
    const std::uint32_t next = previous == 0 ? At(parent).firstChild : At(previous).nextSibling;
    if (next == 0) {
      LinkLast(parent, previous, number);
    } else {
      LinkBetween(parent, previous, next, number);
    }
  }

  /// Last child of an element, 0 if it has none.
  [[nodiscard]] std::uint32_t GetLastChild(std::uint32_t parent) const noexcept {
    const std::uint32_t first = At(parent).firstChild;
    return first == 0 ? 0 : At(first).previousSibling;
  }

  /// Adds `difference` (modulo 2^32) to the lengths of an element, or the document, and of all that
  /// enclose it. Takes the time of the way through the tree from the last growth to this one.
  void GrowAround(std::uint32_t number, std::uint32_t difference) noexcept {
    if (growthAt_ != number) {
      MXmlElementRecord& record = At(number);
      if (record.parent == growthAt_) {  // as when an element gets its first child
        record.length -= growth_;
        growthAt_ = number;
      } else {
        MoveGrowth(number);
      }
    }
    growth_ += difference;
  }

  /// Sees to it that the record of an element has its true length. Writes nothing when nothing has
  /// grown, so that documents that are only read can be read by several threads.
  void SettleLength(std::uint32_t number) noexcept {
    if (growth_ == 0) return;
    if (number == 0) {
      SettleAll();
    } else {
      const std::uint32_t parent = At(number).parent;
      if (growthAt_ != parent) MoveGrowth(parent);
    }
  }

  /// The child before an element in its level, 0 at the first one.
  [[nodiscard]] std::uint32_t GetPreviousSibling(std::uint32_t number) const noexcept {
    const MXmlElementRecord& record = At(number);
    return At(record.parent).firstChild == number ? 0 : record.previousSibling;
  }

  /// To be called when all records were added: the text is not edited yet, and they stand in it in
  /// the order of their numbers.
  void SetGapBehindAll() noexcept {
    beforeGap_ = next_ - 1;
    behindGap_ = 0;
  }

 private:
  static constexpr std::uint32_t kPageSize = 65536;

  void Grow();
  void LinkBetween(std::uint32_t parent, std::uint32_t previous, std::uint32_t next,
                   std::uint32_t number) noexcept;
  std::uint32_t Unlink(std::uint32_t number) noexcept;
  void MoveGrowth(std::uint32_t number) noexcept;
  void SettleAll() noexcept;
  void MoveGapFromLast(std::size_t offset, std::size_t size) noexcept;
  [[nodiscard]] std::uint32_t GetNextInText(std::uint32_t number) const noexcept;
  [[nodiscard]] std::uint32_t GetNextBehind(std::uint32_t number) const noexcept;
  [[nodiscard]] std::uint32_t GetPreviousInText(std::uint32_t number) const noexcept;

  /// A text has less than 2^31 units, so a start relative to its end has the highest bit.
  [[nodiscard]] static bool IsFromEnd(std::uint32_t start) noexcept { return start >> 31 != 0; }

  std::vector<std::unique_ptr<MXmlElementRecord[]>> pages_;
  std::uint32_t next_ = 0;
  std::uint32_t capacity_ = 0;

  // The length of growthAt_ and of each record around it is this much greater than it says.
  std::uint32_t growthAt_ = 0;
  std::uint32_t growth_ = 0;

  // The last record in the text whose start counts from the text's beginning, 0 if there is none,
  // and the one behind it, the first whose start counts from the end, 0 if there is none.
  std::uint32_t beforeGap_ = 0;
  std::uint32_t behindGap_ = 0;
};

inline void XmlIndex::LinkLast(std::uint32_t parent, std::uint32_t last,
                               std::uint32_t number) noexcept {
  MXmlElementRecord& record = At(number);
  MXmlElementRecord& parentRecord = At(parent);
  record.parent = parent;
  if (last == 0) {
    parentRecord.firstChild = number;
    record.previousSibling = number;
    record.flagsAndLevel |= MXmlElementRecord::kFirstChild;
    return;
  }
  record.previousSibling = last;
  At(last).nextSibling = number;
  At(parentRecord.firstChild).previousSibling = number;
}

}  // namespace Orvel::Detail
