// SPDX-License-Identifier: MIT
#include <algorithm>
#include <utility>

#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/filers/xml/document/xml_escape.h"
#include "orvel/filers/xml/document/xml_markup.h"
#include "orvel/filers/xml/parse/xml_open_names.h"
#include "orvel/filers/xml/store/xml_store.h"
#include "orvel/platform/wide_copy.h"

using Orvel::Detail::AppendXmlEscaped;
using Orvel::Detail::CopyWide;
using Orvel::Detail::FindXmlTagName;
using Orvel::Detail::IsXmlTagName;
using Orvel::Detail::kXmlEmptyTagEnd;
using Orvel::Detail::kXmlEndTagFrame;
using Orvel::Detail::WideBuffer;

bool MXmlDocument::IsEnded(std::uint32_t element) const noexcept {
  return store_->IsElement(element) &&
         !store_->index.GetRecord(element).HasFlag(MXmlElementRecord::kNotEnded);
}

bool MXmlDocument::SetData(std::uint32_t element, std::wstring_view data,
                           MXmlReferences references) {
  if (!IsEnded(element)) return false;
  const MXmlElementRecord& record = store_->index.GetRecord(element);
  const bool wasEmpty = record.HasFlag(MXmlElementRecord::kSelfClosed);
  std::size_t startTagLength = record.GetStartTagLength();
  std::size_t endTagLength = record.GetEndTagLength();
  std::size_t begin = store_->GetContentStart(element);
  std::size_t end = store_->GetContentEnd(element);
  if (data.empty() && begin == end) return true;
  WideBuffer& scratch = store_->scratch;
  scratch.Clear();
  if (data.empty()) {
    --begin;
    end += std::exchange(endTagLength, 0U);
    ++startTagLength;
    scratch.Append(kXmlEmptyTagEnd);
  } else if (wasEmpty) {
    const std::wstring_view name = store_->GetTagName(element);
    if (!CanBeOpened(element, name.size())) return false;
    begin -= kXmlEmptyTagEnd.size();
    endTagLength = name.size() + kXmlEndTagFrame;
    --startTagLength;
    scratch.Append(L'>');
    AppendXmlEscaped(data, {.keepReferences = references == MXmlReferences::kKeep}, scratch);
    scratch.Append(L"</");
    scratch.Append(name);
    scratch.Append(L'>');
  } else {
    AppendXmlEscaped(data, {.keepReferences = references == MXmlReferences::kKeep}, scratch);
  }
  const std::wstring_view added = scratch.GetView();
  if (startTagLength > MXmlElementRecord::kMaxStartTagLength ||
      store_->text.GetSize() - (end - begin) + added.size() > lengthLimit_) {
    return false;
  }
  if (added.size() > end - begin) store_->text.Reserve(added.size() - (end - begin));
  store_->lookup.ForgetLevel(element);
  while (const std::uint32_t last = store_->index.GetLastChild(element))
    store_->Forget(last, IgnoresCase());
  LeaveRemoved({element, 0, 0, MXmlNodeKind::kNone, 0, 0}, element);
  SpliceText(element, begin, end, added);
  MXmlElementRecord& changed = store_->index.GetRecord(element);
  changed.SetTagLengths(static_cast<std::uint32_t>(startTagLength),
                        static_cast<std::uint32_t>(endTagLength));
  changed.flagsAndLevel &= ~MXmlElementRecord::kSelfClosed;
  if (data.empty()) changed.flagsAndLevel |= MXmlElementRecord::kSelfClosed;
  store_->TrimScratch();
  return true;
}

bool MXmlDocument::SetTagName(std::uint32_t element, std::wstring_view tagName) {
  if (!IsEnded(element) || tagName.empty() || !IsXmlTagName(tagName)) return false;
  const MXmlElementRecord record = GetRecord(element);
  const std::size_t startTag = record.start;
  const std::size_t oldLength = store_->GetTagName(element).size();
  const std::size_t endTag = startTag + record.length - record.GetEndTagLength();
  const std::size_t oldEndLength =
      record.GetEndTagLength() == 0
          ? 0
          : FindXmlTagName(store_->text.GetView(endTag + 1, record.GetEndTagLength() - 1)).size();
  const std::size_t startTagLength = record.GetStartTagLength() - oldLength + tagName.size();
  std::size_t endTagLength = record.GetEndTagLength();
  std::size_t size = store_->text.GetSize() - oldLength + tagName.size();
  if (endTagLength != 0) {
    endTagLength = endTagLength - oldEndLength + tagName.size();
    size = size - oldEndLength + tagName.size();
    if (CanEndInside(element, tagName)) return false;
  }
  if (startTagLength > MXmlElementRecord::kMaxStartTagLength ||
      endTagLength > MXmlElementRecord::kMaxEndTagLength || size > lengthLimit_) {
    return false;
  }
  tagName = store_->KeepOutside(tagName);
  store_->text.Reserve(2 * tagName.size());
  store_->lookup.NoteRemoved(element, IgnoresCase());
  SpliceText(element, startTag + 1, startTag + 1 + oldLength, tagName);
  if (record.GetEndTagLength() != 0) {
    const std::size_t endName = endTag + 2 - oldLength + tagName.size();
    SpliceText(element, endName, endName + oldEndLength, tagName);
  }
  store_->index.GetRecord(element).SetTagLengths(static_cast<std::uint32_t>(startTagLength),
                                                 static_cast<std::uint32_t>(endTagLength));
  store_->lookup.NoteAdded(element, IgnoresCase());
  return true;
}

/// Returns true when an end tag of that name would close a child that has no end tag of its own.
bool MXmlDocument::CanEndInside(std::uint32_t element, std::wstring_view endName) const noexcept {
  for (std::uint32_t child = store_->index.GetRecord(element).firstChild; child != 0;
       child = store_->index.GetRecord(child).nextSibling) {
    if (store_->index.GetRecord(child).HasFlag(MXmlElementRecord::kNotEnded) &&
        Orvel::Detail::EndTagMatches(endName, store_->GetTagName(child), IgnoresCase())) {
      return true;
    }
  }
  return false;
}

bool MXmlDocument::RemoveElement(std::uint32_t element) {
  if (!IsEnded(element)) return false;
  const std::uint32_t parent = store_->index.GetRecord(element).parent;
  const std::uint32_t previous = store_->index.GetPreviousSibling(element);
  const std::size_t end = store_->GetEnd(element);
  const std::size_t begin = FindLine(store_->GetStart(element), end);
  store_->Forget(element, IgnoresCase());
  store_->index.MoveGap(end, store_->text.GetSize());
  static_cast<void>(store_->text.Replace(begin, end - begin, 0, 0));
  const auto difference = static_cast<std::uint32_t>(begin - end);
  store_->index.GrowAround(parent, difference);
  const auto place = static_cast<std::uint32_t>(begin);
  LeaveRemoved({parent, previous, 0, MXmlNodeKind::kWhitespace, place, 0}, 0);
  MovePositions(begin, end, difference, false);
  store_->lastAdded = {};
  return true;
}

/// Returns where the removal of the text from `start` to `end` has to begin: at the line break
/// before it if it has a line to itself and line breaks are written.
std::size_t MXmlDocument::FindLine(std::size_t start, std::size_t end) const noexcept {
  const Orvel::Detail::XmlText& text = store_->text;
  if (!WritesLineBreaks() || (end != text.GetSize() && GetLineBreakLength(end) == 0)) return start;
  std::size_t line = start;
  while (line != 0 && (text.GetUnit(line - 1) == L' ' || text.GetUnit(line - 1) == L'\t')) --line;
  if (line == 0 || text.GetUnit(line - 1) != L'\n') return start;
  --line;
  return line != 0 && text.GetUnit(line - 1) == L'\r' ? line - 1 : line;
}

/// Replaces a part of an element outside of its children, or of the current node when `element` is
/// 0.
void MXmlDocument::SpliceText(std::uint32_t element, std::size_t begin, std::size_t end,
                              std::wstring_view added) {
  store_->index.MoveGap(end, store_->text.GetSize());
  CopyWide(added, store_->text.Replace(begin, end - begin, added.size(), 0).before);
  const auto difference = static_cast<std::uint32_t>(added.size() - (end - begin));
  store_->index.GrowAround(
      element != 0 ? store_->index.GetRecord(element).parent : position_.parent, difference);
  if (element != 0) store_->index.GetRecord(element).length += difference;
  MovePositions(end, end, difference, element == 0);
  store_->lastAdded = {};
}

/// Moves positions at or inside removed elements, and all positions in the level of `emptied`, to
/// `place`. Positions at other nodes behind a removed element get `place.element` as the element
/// before them.
void MXmlDocument::LeaveRemoved(const MXmlPosition& place, std::uint32_t emptied) noexcept {
  const auto isRemoved = [this](std::uint32_t number) {
    return number != 0 && !store_->IsElement(number);
  };
  const auto leave = [&](MXmlPosition& position) {
    if (isRemoved(position.child)) position.child = 0;
    const bool isInside =
        isRemoved(position.parent) || (emptied != 0 && position.parent == emptied);
    if (isInside || (position.kind == MXmlNodeKind::kElement && isRemoved(position.element))) {
      position = place;
    } else if (isRemoved(position.element)) {
      position.element = place.element;
    }
  };
  leave(position_);
  for (auto& [name, position] : savedPositions_) leave(position);
}

/// Adjusts positions at nodes other than elements after the text from `begin` to `end` was replaced
/// by one that is `difference` longer. With `insideNode` a node that overlaps it grows; if not, the
/// node ends there.
void MXmlDocument::MovePositions(std::size_t begin, std::size_t end, std::uint32_t difference,
                                 bool insideNode) noexcept {
  const auto move = [=](MXmlPosition& position) {
    if (position.kind == MXmlNodeKind::kElement || position.kind == MXmlNodeKind::kNone) return;
    if (position.nodeStart >= end) {
      position.nodeStart += difference;
    } else if (position.nodeStart + position.nodeLength > begin) {
      if (insideNode) {
        position.nodeLength += difference;
        return;
      }
      position.nodeStart = (std::min)(position.nodeStart, static_cast<std::uint32_t>(begin));
      position.nodeLength = static_cast<std::uint32_t>(begin) - position.nodeStart;
    }
  };
  move(position_);
  for (auto& [name, position] : savedPositions_) move(position);
}
