// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/filers/xml/document/xml_markup.h"
#include "orvel/filers/xml/store/xml_store.h"
#include "orvel/platform/wide_copy.h"

/// The length of a node in the two parts between which the text's gap comes to lie. An empty
/// element has the gap in front of its "/>", where a first child would go; any other node has it
/// behind.
struct MXmlDocument::NodeLength {
  std::size_t beforeGap = 0;
  std::size_t behindGap = 0;

  [[nodiscard]] std::size_t GetSum() const noexcept { return beforeGap + behindGap; }
};

/// The parts of an element without child elements: `data` is escaped already, `attribute` is what
/// AppendXmlAttribute() wrote, or empty.
struct MXmlDocument::ElementText {
  std::wstring_view name;
  std::wstring_view data;
  std::wstring_view attribute;

  [[nodiscard]] std::size_t GetStartTagLength() const noexcept {
    return name.size() + attribute.size() + (data.empty() ? 3 : 2);
  }
  [[nodiscard]] std::size_t GetEndTagLength() const noexcept {
    return data.empty() ? 0 : name.size() + Orvel::Detail::kXmlEndTagFrame;
  }
  [[nodiscard]] NodeLength GetLength() const noexcept {
    const std::size_t opened = 1 + name.size() + attribute.size();
    if (data.empty()) return {opened, 2};
    return {opened + 1 + data.size() + GetEndTagLength(), 0};
  }

  void Write(const Orvel::Detail::XmlRoom& to) const noexcept {
    wchar_t* next = to.before;
    *next++ = L'<';
    next = Orvel::Detail::CopyWide(name, next);
    next = Orvel::Detail::CopyWide(attribute, next);
    if (data.empty()) {
      to.behind[0] = L'/';
      to.behind[1] = L'>';
      return;
    }
    *next++ = L'>';
    next = Orvel::Detail::CopyWide(data, next);
    WriteEndTag(name, next);
  }

  static void WriteEndTag(std::wstring_view name, wchar_t* to) noexcept {
    *to++ = L'<';
    *to++ = L'/';
    to = Orvel::Detail::CopyWide(name, to);
    *to = L'>';
  }
};

/// Where a node is inserted, and what has to be written around it.
struct MXmlDocument::Place {
  std::uint32_t parent = 0;
  std::uint32_t level = 0;     // of an element in this place
  std::uint32_t previous = 0;  // the element before it in the level
  std::size_t offset = 0;      // of the text that is replaced
  std::size_t removed = 0;     // how much of it
  std::size_t parentName = 0;  // length of the tag name of a parent that is opened
  bool breaksLine = false;     // behind the node
  bool opensParent = false;    // the parent gets its end tag
  bool endsStartTag = false;   // that of the parent, before the node
  bool startsLine = false;     // before the node

  [[nodiscard]] std::size_t GetNodeStart() const noexcept {
    return offset + (endsStartTag ? 1 : 0) + (startsLine ? 1 : 0);
  }

  /// Makes it the place of the first child of an empty element.
  void OpenParent(std::size_t nameLength, std::size_t tagClose) noexcept {
    offset = tagClose;
    removed = 2;
    parentName = nameLength;
    opensParent = true;
    endsStartTag = true;
    startsLine = breaksLine;
  }
};

/// Inserts one node: finds the place for it, makes room in the text, and links the new record. The
/// caller writes the node itself.
///
/// What every insertion does is inline. The functions that are not get single values, never this
/// object: so its members can stay in registers, which saves a quarter of the time.
class MXmlDocument::Insertion {
 public:
  /// Finds the place for a node of that kind at the document's current position.
  Insertion(MXmlDocument& document, MXmlNodeKind kind) noexcept
      : document_(document), store_(*document.store_) {
    const MXmlPosition& position = document.position_;
    const auto& last = store_.lastAdded;
    const bool isBehind =
        position.kind == MXmlNodeKind::kElement && position.element == last.element;
    const bool isInside = position.kind == MXmlNodeKind::kNone && position.parent == last.element &&
                          last.tagClose != 0;
    const bool breaksLine = document.WritesLineBreaks() && kind != MXmlNodeKind::kCData;
    if (!isBehind && !isInside) {
      place_ = document.FindPlace(breaksLine);
      return;
    }
    place_.parent = position.parent;
    place_.breaksLine = breaksLine;
    if (isBehind) {
      place_.level = last.level;
      place_.previous = last.element;
      place_.offset = last.behind;
    } else {
      place_.level = last.level + 1;
      place_.OpenParent(last.nameLength, last.tagClose);
    }
  }

  /// Returns false when the parent cannot be opened for a child.
  [[nodiscard]] bool IsPossible() const noexcept {
    return place_.parentName <= Orvel::Detail::kMaxXmlNameLength;
  }

  /// Returns the level of an element in this place.
  [[nodiscard]] std::uint32_t GetLevel() const noexcept { return place_.level; }

  /// Returns the offset that the node has once there is room for it.
  [[nodiscard]] std::size_t GetNodeStart() const noexcept { return place_.GetNodeStart(); }

  /// Makes room for the node, writes what belongs around it, and returns where the caller has to
  /// write the node. Null pointers, with nothing changed, when the text would get too long.
  [[nodiscard]] Orvel::Detail::XmlRoom MakeRoom(NodeLength length) {
    // The gap is where the next node is likely to come: in this one if it is empty, else behind it.
    const std::size_t lineBreak = place_.breaksLine ? 1 : 0;
    const bool isEmpty = length.behindGap != 0;
    const std::size_t before =
        GetNodeStart() - place_.offset + length.beforeGap + (isEmpty ? 0 : lineBreak);
    const std::size_t behind =
        length.behindGap + (isEmpty ? lineBreak : 0) +
        (place_.opensParent ? place_.parentName + Orvel::Detail::kXmlEndTagFrame : 0);
    const std::size_t added = before + behind;
    if (store_.text.GetSize() - place_.removed + added > document_.lengthLimit_) return {};
    store_.index.MoveGap(place_.offset + place_.removed, store_.text.GetSize());
    Orvel::Detail::XmlRoom node =
        store_.text.Replace(place_.offset, place_.removed, before, behind);
    if (place_.endsStartTag) *node.before++ = L'>';
    if (place_.startsLine) *node.before++ = L'\n';
    wchar_t* const nodeEnd =
        isEmpty ? node.behind + length.behindGap : node.before + length.beforeGap;
    if (place_.breaksLine) *nodeEnd = L'\n';

    const auto difference = static_cast<std::uint32_t>(added - place_.removed);
    store_.index.GrowAround(place_.parent, difference);
    if (place_.opensParent) {
      document_.EndParent(place_.parent, place_.parentName, place_.endsStartTag,
                          isEmpty ? nodeEnd + lineBreak : node.behind);
    }
    const std::size_t end = place_.offset + place_.removed;
    document_.MovePositions(end, end, difference, false);
    store_.lastAdded = {};
    return node;
  }

  /// Links the element that was written, with everything in it up to `lastInText`, and makes it the
  /// current node.
  void LinkElement(std::uint32_t number, std::uint32_t lastInText) noexcept {
    store_.index.LinkBehind(place_.parent, place_.previous, number);
    store_.index.NoteBeforeGap(lastInText);
    store_.lookup.NoteAdded(number, document_.IgnoresCase());
    if (!document_.savedPositions_.empty()) {
      document_.LinkSavedPositions(place_.parent, place_.previous, number);
    }
    document_.position_ = {place_.parent, number, 0, MXmlNodeKind::kElement, 0, 0};
  }

  /// Makes the node that was written the current one. For nodes other than elements.
  void Select(MXmlNodeKind kind, std::size_t length) noexcept {
    document_.position_ = {place_.parent,
                           place_.previous,
                           0,
                           kind,
                           static_cast<std::uint32_t>(GetNodeStart()),
                           static_cast<std::uint32_t>(length)};
  }

  /// Call it after an element without children was linked: stores where it is, since the next one
  /// is likely to be added behind it or in it.
  void Remember(std::uint32_t number, std::size_t nameLength, NodeLength length) noexcept {
    const std::size_t tagClose = GetNodeStart() + length.beforeGap;
    store_.lastAdded = {number, place_.level, nameLength,
                        tagClose + length.behindGap + (place_.breaksLine ? 1 : 0),
                        length.behindGap != 0 ? tagClose : 0};
  }

 private:
  MXmlDocument& document_;
  Orvel::Detail::XmlStore& store_;
  Place place_;
};
