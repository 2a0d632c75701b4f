// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "orvel/filers/xml_record.h"

namespace Orvel::Detail {

/// The records of a document's elements, in pages of 65,536: record i is entry i mod 65,536 of page
/// i / 65,536. Record 0 stands for the document. The first page grows with need, so that a small
/// document stays small. Records are never removed one by one.
///
/// While an element is being filled, the lengths of everything around it would grow with each
/// addition. They do so only on paper: one record and all that enclose it share an amount of growth
/// that is still to be added, and the amount moves through the tree with the additions. A reader
/// of a length calls SettleLength() before.
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

  /// The record that begins next in the text, 0 behind the last one.
  [[nodiscard]] std::uint32_t GetNextInText(std::uint32_t number) const noexcept {
    const std::uint32_t child = At(number).firstChild;
    return child != 0 ? child : GetNextBehind(number);
  }

  /// The record that begins next behind an element and all that it contains.
  [[nodiscard]] std::uint32_t GetNextBehind(std::uint32_t number) const noexcept;

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

  /// Adds `difference` (modulo 2^32) to the starts of `first` and of all records behind it in the
  /// text.
  void ShiftFrom(std::uint32_t first, std::uint32_t difference) noexcept;

 private:
  static constexpr std::uint32_t kPageSize = 65536;

  void Grow();
  void LinkBetween(std::uint32_t parent, std::uint32_t previous, std::uint32_t next,
                   std::uint32_t number) noexcept;
  void MoveGrowth(std::uint32_t number) noexcept;
  void SettleAll() noexcept;

  std::vector<std::unique_ptr<MXmlElementRecord[]>> pages_;
  std::uint32_t next_ = 0;
  std::uint32_t capacity_ = 0;

  // The length of growthAt_ and of each record around it is this much greater than it says.
  std::uint32_t growthAt_ = 0;
  std::uint32_t growth_ = 0;
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
