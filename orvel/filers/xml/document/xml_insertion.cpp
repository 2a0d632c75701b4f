// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/document/xml_insertion.h"

using Orvel::Detail::kMaxXmlNameLength;
using Orvel::Detail::kXmlEmptyTagEnd;
using Orvel::Detail::kXmlEndTagFrame;

/// Returns the place at the current position.
MXmlDocument::Place MXmlDocument::FindPlace(bool breaksLine) const noexcept {
  Place place;
  place.parent = position_.parent;
  place.breaksLine = breaksLine;
  if (position_.kind == MXmlNodeKind::kNone) {
    FindPlaceInLevel(place);
  } else {
    place.previous = position_.element;
    place.offset = GetElement() != 0 ? store_->GetEnd(position_.element)
                                     : std::size_t{position_.nodeStart} + position_.nodeLength;
    if (WritesLineBreaks()) place.offset += GetLineBreakLength(place.offset);
  }
  place.level = place.parent == 0 ? 0 : store_->index.GetRecord(place.parent).GetLevel() + 1;
  return place;
}

/// Completes the place at the end of a level, for when there is no current node.
void MXmlDocument::FindPlaceInLevel(Place& place) const noexcept {
  place.previous = store_->index.GetLastChild(place.parent);
  place.offset = store_->GetContentEnd(place.parent);
  if (place.parent == 0) return;
  const MXmlElementRecord& parent = store_->index.GetRecord(place.parent);
  if (parent.GetEndTagLength() != 0) {
    place.startsLine = place.breaksLine && place.offset == store_->GetContentStart(place.parent);
    return;
  }
  const std::size_t nameLength = store_->GetTagName(place.parent).size();
  if (parent.HasFlag(MXmlElementRecord::kSelfClosed)) {
    place.OpenParent(CanBeOpened(place.parent, nameLength) ? nameLength : kMaxXmlNameLength + 1,
                     place.offset - kXmlEmptyTagEnd.size());
  } else {  // it was not ended
    place.parentName = nameLength;
    place.opensParent = true;
    place.startsLine = place.breaksLine;
  }
}

/// False when the end tag of an empty element would be too long, or when the element would still be
/// empty without its "/" because another one stands before it.
bool MXmlDocument::CanBeOpened(std::uint32_t element, std::size_t nameLength) const noexcept {
  const std::size_t tagClose = store_->GetContentStart(element) - kXmlEmptyTagEnd.size();
  return nameLength <= kMaxXmlNameLength && store_->text.GetUnit(tagClose - 1) != L'/';
}

/// Writes the end tag of an element that gets its first child, and updates the lengths of its tags.
void MXmlDocument::EndParent(std::uint32_t number, std::size_t nameLength, bool endsStartTag,
                             wchar_t* endTag) noexcept {
  MXmlElementRecord& parent = store_->index.GetRecord(number);
  ElementText::WriteEndTag(store_->text.GetView(store_->GetStart(number) + 1, nameLength), endTag);
  parent.SetTagLengths(parent.GetStartTagLength() - (endsStartTag ? 1 : 0),
                       static_cast<std::uint32_t>(nameLength + kXmlEndTagFrame));
  parent.flagsAndLevel &= ~(MXmlElementRecord::kSelfClosed | MXmlElementRecord::kNotEnded);
}

/// Makes a new element the one before them for saved positions at nodes behind it.
void MXmlDocument::LinkSavedPositions(std::uint32_t parent, std::uint32_t previous,
                                      std::uint32_t number) noexcept {
  const std::size_t start = store_->GetStart(number);
  for (auto& [name, position] : savedPositions_) {
    const bool isNode =
        position.kind != MXmlNodeKind::kElement && position.kind != MXmlNodeKind::kNone;
    if (isNode && position.parent == parent && position.element == previous &&
        position.nodeStart > start) {
      position.element = number;
    }
  }
}

std::size_t MXmlDocument::GetLineBreakLength(std::size_t offset) const noexcept {
  const std::size_t size = store_->text.GetSize();
  if (offset < size && store_->text.GetUnit(offset) == L'\n') return 1;
  const bool isPair = offset + 1 < size && store_->text.GetUnit(offset) == L'\r' &&
                      store_->text.GetUnit(offset + 1) == L'\n';
  return isPair ? 2 : 0;
}
