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
/// i / 65,536. Record 0 is the document. The first page grows as needed, so that a small document
/// takes little memory. The record of a removed element keeps its number. It is all zeros but for
/// the next sibling, so that a loop along the level can continue from it.
///
/// Each edit changes the lengths of all enclosing elements. To avoid writing all of them each time,
/// the change is deferred: `growth_` is still to be added to the record `growthAt_` and to
/// everything that encloses it. The next edit moves that place through the tree. Call
/// SettleLength() before reading a length.
///
/// The starts of elements behind the last edit are relative to the end of the text, so that nearby
/// edits do not change them. GetStart() handles both kinds.
///
/// Thread-unsafe. References to records are valid until the next record is added.
class XmlIndex {
 public:
  XmlIndex() { Clear(0); }

  /// Removes all records but record 0, which is cleared. Makes room for `expected` records.
  void Clear(std::size_t expected);

  [[nodiscard]] MXmlElementRecord& GetRecord(std::uint32_t number) noexcept {
    return pages_[number / kPageSize][number % kPageSize];
  }
  [[nodiscard]] const MXmlElementRecord& GetRecord(std::uint32_t number) const noexcept {
    return pages_[number / kPageSize][number % kPageSize];
  }

  /// Returns the number of the next record to be added; all records have smaller ones.
  [[nodiscard]] std::uint32_t GetNext() const noexcept { return next_; }

  /// Allocates memory for the next `count` calls of Add().
  void Reserve(std::uint32_t count) {
    while (capacity_ - next_ < count) Grow();
  }

  /// Returns the offset of an element's `<` in a text of `size` units.
  [[nodiscard]] std::uint32_t GetStart(std::uint32_t number, std::size_t size) const noexcept {
    const std::uint32_t start = GetRecord(number).start;
    return IsFromEnd(start) ? start + static_cast<std::uint32_t>(size) : start;
  }

  /// Call it before the text, of `size` units, is edited at `offset`: makes the starts of the
  /// elements from there on relative to the end of the text, and no others. Takes time in
  /// proportion to the elements between the last edit and this one.
  void MoveGap(std::size_t offset, std::size_t size) noexcept {
    if (behindGap_ != 0 || GetRecord(beforeGap_).start >= offset) MoveGapFromLast(offset, size);
  }

  /// Call it after records were linked at the place of the edit; `last` is the last of them in the
  /// text.
  void NoteBeforeGap(std::uint32_t last) noexcept { beforeGap_ = last; }

  /// True when the start of an element is relative to the end of the text.
  [[nodiscard]] bool IsBehindGap(std::uint32_t number) const noexcept {
    return IsFromEnd(GetRecord(number).start);
  }

  /// Unlinks an element, clears its record and those of everything in it, and calls `forget` with
  /// the number of each. All of them must be on the same side of the gap, next to it.
  template <class Function>
  void Forget(std::uint32_t number, const Function& forget) noexcept {
    const std::uint32_t next = Unlink(number);
    for (std::uint32_t leaf = number;;) {
      while (GetRecord(leaf).firstChild != 0) leaf = GetRecord(leaf).firstChild;
      const MXmlElementRecord record = std::exchange(GetRecord(leaf), {});
      forget(leaf);
      if (leaf == number) break;
      if (record.nextSibling == 0) GetRecord(record.parent).firstChild = 0;
      leaf = record.nextSibling != 0 ? record.nextSibling : record.parent;
    }
    GetRecord(number).nextSibling = next;
  }

  /// Adds a record and returns its number.
  std::uint32_t Add(const MXmlElementRecord& record = {}) {
    if (next_ == capacity_) Grow();
    GetRecord(next_) = record;
    return next_++;
  }

  /// Makes a record the last child of `parent`, behind `last`, its last child so far, or 0. Marks a
  /// first child as such.
  void LinkLast(std::uint32_t parent, std::uint32_t last, std::uint32_t number) noexcept;

  /// Makes a record a child of `parent`, behind `previous`, or the first child when that is 0.
  void LinkBehind(std::uint32_t parent, std::uint32_t previous, std::uint32_t number) noexcept {
    const std::uint32_t next =
        previous == 0 ? GetRecord(parent).firstChild : GetRecord(previous).nextSibling;
    if (next == 0) {
      LinkLast(parent, previous, number);
    } else {
      LinkBetween(parent, previous, next, number);
    }
  }

  /// Returns the last child of an element; 0 if it has none.
  [[nodiscard]] std::uint32_t GetLastChild(std::uint32_t parent) const noexcept {
    const std::uint32_t first = GetRecord(parent).firstChild;
    return first == 0 ? 0 : GetRecord(first).previousSibling;
  }

  /// Adds `difference` (modulo 2^32) to the lengths of an element, or the document, and of
  /// everything that encloses it. Takes time in proportion to the path in the tree from the last
  /// call's element.
  void GrowAround(std::uint32_t number, std::uint32_t difference) noexcept {
    if (growthAt_ != number) {
      MXmlElementRecord& record = GetRecord(number);
      if (record.parent == growthAt_) {  // as when an element gets its first child
        record.length -= growth_;
        growthAt_ = number;
      } else {
        MoveGrowth(number);
      }
    }
    growth_ += difference;
  }

  /// Brings the length in an element's record up to date. Writes nothing when nothing is deferred,
  /// so that several threads can read a document that is not edited.
  void SettleLength(std::uint32_t number) noexcept {
    if (growth_ == 0) return;
    if (number == 0) {
      SettleAll();
    } else {
      const std::uint32_t parent = GetRecord(number).parent;
      if (growthAt_ != parent) MoveGrowth(parent);
    }
  }

  /// Returns the sibling before an element; 0 for the first child.
  [[nodiscard]] std::uint32_t GetPreviousSibling(std::uint32_t number) const noexcept {
    const MXmlElementRecord& record = GetRecord(number);
    return GetRecord(record.parent).firstChild == number ? 0 : record.previousSibling;
  }

  /// Call it when all records of a parsed text have been added, in the order of the text.
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

  /// A text has less than 2^31 units, so the highest bit of a start relative to its end is set.
  [[nodiscard]] static bool IsFromEnd(std::uint32_t start) noexcept { return start >> 31 != 0; }

  std::vector<std::unique_ptr<MXmlElementRecord[]>> pages_;
  std::uint32_t next_ = 0;
  std::uint32_t capacity_ = 0;

  // Still to be added to the length of growthAt_ and of every record that encloses it.
  std::uint32_t growthAt_ = 0;
  std::uint32_t growth_ = 0;

  // The last record in the text whose start counts from the beginning of the text, and the first
  // one whose start counts from the end; 0 if there is none.
  std::uint32_t beforeGap_ = 0;
  std::uint32_t behindGap_ = 0;
};

inline void XmlIndex::LinkLast(std::uint32_t parent, std::uint32_t last,
                               std::uint32_t number) noexcept {
  MXmlElementRecord& record = GetRecord(number);
  MXmlElementRecord& parentRecord = GetRecord(parent);
  record.parent = parent;
  if (last == 0) {
    parentRecord.firstChild = number;
    record.previousSibling = number;
    record.flagsAndLevel |= MXmlElementRecord::kFirstChild;
    return;
  }
  record.previousSibling = last;
  GetRecord(last).nextSibling = number;
  GetRecord(parentRecord.firstChild).previousSibling = number;
}

}  // namespace Orvel::Detail
