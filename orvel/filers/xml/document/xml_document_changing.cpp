// SPDX-License-Identifier: MIT
#include <algorithm>
#include <utility>

#include "orvel/filers/xml/document/xml_constant_attribute.h"
#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/filers/xml/document/xml_escape.h"
#include "orvel/filers/xml/parse/xml_open_names.h"
#include "orvel/filers/xml/parse/xml_parser.h"
#include "orvel/filers/xml/parse/xml_scanner.h"
#include "orvel/filers/xml/store/xml_store.h"

using Orvel::Detail::AppendXmlEscaped;
using Orvel::Detail::AppendXmlUnescaped;
using Orvel::Detail::CopyWide;
using Orvel::Detail::FindWide;
using Orvel::Detail::FindXmlTagName;
using Orvel::Detail::HoldsXmlAttributeNameEnd;
using Orvel::Detail::HoldsXmlTagNameEnd;
using Orvel::Detail::HoldsXmlTextEscape;
using Orvel::Detail::WideBuffer;
using Orvel::Detail::XmlAttributeScanner;
using Orvel::Detail::XmlIndex;
using Orvel::Detail::XmlRoom;
using Orvel::Detail::XmlToken;
using Orvel::Detail::XmlTokenKind;

namespace {

using Orvel::Detail::kXmlSpace;
using Orvel::Detail::kXmlTagNameEnd;

constexpr std::wstring_view kCDataStart = L"<![CDATA[";
constexpr std::wstring_view kCDataEnd = L"]]>";
constexpr std::size_t kEndTagFrame = 3;  // what an end tag has besides the name
constexpr std::size_t kLongestName = MXmlElementRecord::kMaxEndTagLength - kEndTagFrame;
constexpr std::wstring_view kEmptyTagEnd = L"/>";
constexpr std::size_t kScratchKept = 65536;

bool IsTagName(std::wstring_view name) noexcept {
  return name.size() <= kLongestName && !HoldsXmlTagNameEnd(name);
}

bool IsAttributeName(std::wstring_view name) noexcept {
  return !name.empty() && !HoldsXmlAttributeNameEnd(name);
}

void AppendAssignment(std::wstring_view value, MXmlReferences references, WideBuffer& output) {
  output.Append(L"=\"");
  AppendXmlEscaped(
      value, {.escapeQuotes = true, .keepReferences = references == MXmlReferences::kKeep}, output);
  output.Append(L'"');
}

void AppendAttribute(std::wstring_view name, std::wstring_view value, MXmlReferences references,
                     WideBuffer& output) {
  output.Append(L' ');
  output.Append(name);
  AppendAssignment(value, references, output);
}

std::wstring_view Range(const wchar_t* begin, const wchar_t* end) noexcept {
  return {begin, static_cast<std::size_t>(end - begin)};
}

/// Appends the text and CDATA in a piece of content without elements, unescaped.
void AppendOwnText(std::wstring_view content, std::wstring& data) {
  const wchar_t* next = content.data();
  const wchar_t* const end = next + content.size();
  while (next != end) {
    const wchar_t* const markup = FindWide(next, end, L'<');
    AppendXmlUnescaped(Range(next, markup), data);
    if (markup == end) return;
    const XmlToken token = Orvel::Detail::ScanXmlMarkup(markup, end);
    const std::wstring_view node(markup, token.length);
    if (token.kind == XmlTokenKind::kNode && node.starts_with(kCDataStart)) {
      data += node.substr(kCDataStart.size(), node.size() - kCDataStart.size() - kCDataEnd.size());
    }
    next = markup + token.length;
  }
}

}  // namespace

/// Where the attributes of a tag stand in the text.
struct MXmlDocument::Attributes {
  bool exist = false;  // false when there is no such tag
  std::size_t start = 0;
  std::size_t length = 0;
  std::uint32_t element = 0;  // 0 for a node that is none
};

/// How much of a node stands before the gap in the text, and how much behind it. An empty element
/// has the gap where it is opened when it gets a child.
struct MXmlDocument::NodeLength {
  std::size_t beforeGap = 0;
  std::size_t behindGap = 0;

  [[nodiscard]] std::size_t GetSum() const noexcept { return beforeGap + behindGap; }
};

/// What an element without child elements is written of: `data` escaped, `attribute` as
/// AppendAttribute() writes it or empty.
struct MXmlDocument::ElementText {
  std::wstring_view name;
  std::wstring_view data;
  std::wstring_view attribute;

  [[nodiscard]] std::size_t GetStartTagLength() const noexcept {
    return name.size() + attribute.size() + (data.empty() ? 3 : 2);
  }
  [[nodiscard]] std::size_t GetEndTagLength() const noexcept {
    return data.empty() ? 0 : name.size() + kEndTagFrame;
  }
  [[nodiscard]] NodeLength GetLength() const noexcept {
    const std::size_t opened = 1 + name.size() + attribute.size();
    if (data.empty()) return {opened, 2};
    return {opened + 1 + data.size() + GetEndTagLength(), 0};
  }

  void Write(const XmlRoom& to) const noexcept {
    wchar_t* next = to.before;
    *next++ = L'<';
    next = CopyWide(name, next);
    next = CopyWide(attribute, next);
    if (data.empty()) {
      to.behind[0] = L'/';
      to.behind[1] = L'>';
      return;
    }
    *next++ = L'>';
    next = CopyWide(data, next);
    WriteEndTag(name, next);
  }

  static void WriteEndTag(std::wstring_view name, wchar_t* to) noexcept {
    *to++ = L'<';
    *to++ = L'/';
    to = CopyWide(name, to);
    *to = L'>';
  }
};

/// Where a node is added, and what has to be written around it.
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

/// Adds a node. What is common is inline, and the functions that are not take single values: when
/// all of this object is in registers, adding takes three quarters of the time.
class MXmlDocument::Insertion {
 public:
  /// Finds the place of a node of a kind.
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

  /// False when there is no place.
  [[nodiscard]] bool IsPossible() const noexcept { return place_.parentName <= kLongestName; }

  /// The level of an element in this place.
  [[nodiscard]] std::uint32_t GetLevel() const noexcept { return place_.level; }

  /// Offset of the node, as soon as there is room for it.
  [[nodiscard]] std::size_t GetNodeStart() const noexcept { return place_.GetNodeStart(); }

  /// Makes room for the node and writes what belongs around it. The caller writes the node to where
  /// the result points. Null, with nothing changed, when the text would get too long.
  [[nodiscard]] XmlRoom MakeRoom(NodeLength length) {
    // The gap is where the next node is likely to come: in this one if it is empty, else behind it.
    const std::size_t lineBreak = place_.breaksLine ? 1 : 0;
    const bool isEmpty = length.behindGap != 0;
    const std::size_t before =
        GetNodeStart() - place_.offset + length.beforeGap + (isEmpty ? 0 : lineBreak);
    const std::size_t behind = length.behindGap + (isEmpty ? lineBreak : 0) +
                               (place_.opensParent ? place_.parentName + kEndTagFrame : 0);
    const std::size_t added = before + behind;
    if (store_.text.GetSize() - place_.removed + added > document_.lengthLimit_) return {};
    store_.index.MoveGap(place_.offset + place_.removed, store_.text.GetSize());
    XmlRoom node = store_.text.Replace(place_.offset, place_.removed, before, behind);
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
    store_.lookup.NoteAdded(store_, number, document_.IgnoresCase());
    if (!document_.savedPositions_.empty()) {
      document_.LinkSavedPositions(place_.parent, place_.previous, number);
    }
    document_.position_ = {place_.parent, number, 0, MXmlNodeKind::kElement, 0, 0};
  }

  /// Makes the node that was written, which is no element, the current one.
  void Select(MXmlNodeKind kind, std::size_t length) noexcept {
    document_.position_ = {place_.parent,
                           place_.previous,
                           0,
                           kind,
                           static_cast<std::uint32_t>(GetNodeStart()),
                           static_cast<std::uint32_t>(length)};
  }

  /// To be called when an element without children was linked: the next one is likely to come
  /// behind it or in it.
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

/// The place at the current position.
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
  place.level = place.parent == 0 ? 0 : store_->index.At(place.parent).GetLevel() + 1;
  return place;
}

/// The place in a level without a current node is behind everything that the level contains.
void MXmlDocument::FindPlaceInLevel(Place& place) const noexcept {
  place.previous = store_->index.GetLastChild(place.parent);
  place.offset = store_->GetContentEnd(place.parent);
  if (place.parent == 0) return;
  const MXmlElementRecord& parent = store_->index.At(place.parent);
  if (parent.GetEndTagLength() != 0) {
    place.startsLine = place.breaksLine && place.offset == store_->GetContentStart(place.parent);
    return;
  }
  const std::size_t nameLength = store_->GetTagName(place.parent).size();
  if (parent.HasFlag(MXmlElementRecord::kSelfClosed)) {
    place.OpenParent(CanBeOpened(place.parent, nameLength) ? nameLength : kLongestName + 1,
                     place.offset - kEmptyTagEnd.size());
  } else {  // it was not ended
    place.parentName = nameLength;
    place.opensParent = true;
    place.startsLine = place.breaksLine;
  }
}

/// False when an empty element would get too long an end tag, or would still be an empty one
/// without the "/" that makes it one.
bool MXmlDocument::CanBeOpened(std::uint32_t element, std::size_t nameLength) const noexcept {
  const std::size_t tagClose = store_->GetContentStart(element) - kEmptyTagEnd.size();
  return nameLength <= kLongestName && store_->text.At(tagClose - 1) != L'/';
}

/// Writes the end tag of an element that gets its first child, which ends its start tag if that was
/// an empty one.
void MXmlDocument::EndParent(std::uint32_t number, std::size_t nameLength, bool endsStartTag,
                             wchar_t* endTag) noexcept {
  MXmlElementRecord& parent = store_->index.At(number);
  ElementText::WriteEndTag(store_->text.GetView(store_->GetStart(number) + 1, nameLength), endTag);
  parent.SetTagLengths(parent.GetStartTagLength() - (endsStartTag ? 1 : 0),
                       static_cast<std::uint32_t>(nameLength + kEndTagFrame));
  parent.flagsAndLevel &= ~(MXmlElementRecord::kSelfClosed | MXmlElementRecord::kNotEnded);
}

/// Saved positions at nodes behind an element that was added get it as the element before them.
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

MXmlDocument::Attributes MXmlDocument::FindAttributes(std::uint32_t element) const noexcept {
  if (!store_->IsElement(element)) return {};
  const MXmlElementRecord& record = store_->index.At(element);
  const std::size_t skipped = 1 + store_->GetTagName(element).size();
  const std::size_t tail = record.HasFlag(MXmlElementRecord::kSelfClosed) ? 2 : 1;
  return {true, store_->GetStart(element) + skipped, record.GetStartTagLength() - skipped - tail,
          element};
}

MXmlDocument::Attributes MXmlDocument::FindNodeAttributes() const noexcept {
  if (position_.kind != MXmlNodeKind::kInstruction) return FindAttributes(GetElement());
  const std::wstring_view node = GetNodeView();
  const std::size_t skipped =
      2 + Orvel::Detail::XmlTagNameLength(node.data() + 2, node.data() + node.size());
  return {true, position_.nodeStart + skipped, node.size() - skipped - 2, 0};
}

bool MXmlDocument::ReadAttribute(const Attributes& place, std::wstring_view name,
                                 std::wstring& value) const {
  if (!place.exist) return false;
  XmlAttributeScanner scanner(store_->text.GetView(place.start, place.length));
  while (scanner.Next()) {
    if (scanner.GetName() != name) continue;
    std::wstring unescaped;
    AppendXmlUnescaped(scanner.GetRawValue(), unescaped);
    value = std::move(unescaped);
    return true;
  }
  return false;
}

bool MXmlDocument::GetAttribute(std::wstring_view name, std::wstring& value) const {
  return ReadAttribute(FindNodeAttributes(), name, value);
}

bool MXmlDocument::GetAttribute(std::uint32_t element, std::wstring_view name,
                                std::wstring& value) const {
  return ReadAttribute(FindAttributes(element), name, value);
}

std::vector<MXmlAttribute> MXmlDocument::GetAttributes(std::uint32_t element) const {
  std::vector<MXmlAttribute> result;
  const Attributes place = FindAttributes(element);
  XmlAttributeScanner scanner(store_->text.GetView(place.start, place.length));
  while (scanner.Next()) {
    result.push_back({std::wstring(scanner.GetName()), {}});
    AppendXmlUnescaped(scanner.GetRawValue(), result.back().value);
  }
  return result;
}

bool MXmlDocument::SetAttribute(std::wstring_view name, std::wstring_view value,
                                MXmlReferences references) {
  return WriteAttribute(FindNodeAttributes(), name, value, references);
}

bool MXmlDocument::SetAttribute(std::uint32_t element, std::wstring_view name,
                                std::wstring_view value, MXmlReferences references) {
  return WriteAttribute(FindAttributes(element), name, value, references);
}

bool MXmlDocument::WriteAttribute(const Attributes& place, std::wstring_view name,
                                  std::wstring_view value, MXmlReferences references) {
  if (!place.exist || !IsAttributeName(name)) return false;
  const std::wstring_view attributes = store_->text.GetView(place.start, place.length);
  XmlAttributeScanner scanner(attributes);
  bool found = false;
  while (!found && scanner.Next()) found = scanner.GetName() == name;
  store_->scratch.Clear();
  std::size_t offset = place.start + place.length;
  std::size_t removed = 0;
  if (found) {
    offset = place.start + scanner.GetAssignmentStart();
    removed = scanner.GetEnd() - scanner.GetAssignmentStart();
    AppendAssignment(value, references, store_->scratch);
  } else if (scanner.HasOpenString()) {
    return false;  // what is added would be a part of it
  } else {
    const std::size_t last = attributes.find_last_not_of(L" \t\n\r");
    const bool lacksValue = last != std::wstring_view::npos && attributes[last] == L'=';
    if (lacksValue) store_->scratch.Append(L"\"\"");
    AppendAttribute(name, value, references, store_->scratch);
  }
  const auto difference = static_cast<std::uint32_t>(store_->scratch.GetSize() - removed);
  if (store_->text.GetSize() - removed + store_->scratch.GetSize() > lengthLimit_) return false;
  if (place.element != 0 &&
      store_->index.At(place.element).GetStartTagLength() - removed + store_->scratch.GetSize() >
          MXmlElementRecord::kMaxStartTagLength) {
    return false;
  }
  const std::size_t end = offset + removed;
  SpliceText(place.element, offset, end, store_->scratch.GetView());
  if (place.element != 0) store_->index.At(place.element).tagLengths += difference;
  TrimScratch();
  return true;
}

/// Replaces a part of an element's text, its children aside, or of the current node's when
/// `element` is 0.
void MXmlDocument::SpliceText(std::uint32_t element, std::size_t begin, std::size_t end,
                              std::wstring_view added) {
  store_->index.MoveGap(end, store_->text.GetSize());
  CopyWide(added, store_->text.Replace(begin, end - begin, added.size(), 0).before);
  const auto difference = static_cast<std::uint32_t>(added.size() - (end - begin));
  store_->index.GrowAround(element != 0 ? store_->index.At(element).parent : position_.parent,
                           difference);
  if (element != 0) store_->index.At(element).length += difference;
  MovePositions(end, end, difference, element == 0);
  store_->lastAdded = {};
}

std::wstring MXmlDocument::GetData(std::uint32_t element) const {
  std::wstring data;
  if (!store_->IsElement(element)) return data;
  const std::size_t start = store_->GetContentStart(element);
  const std::size_t end = store_->GetContentEnd(element);
  const std::wstring_view content = store_->text.GetView(start, end - start);
  std::size_t offset = start;
  for (std::uint32_t child = store_->index.At(element).firstChild; child != 0;
       child = store_->index.At(child).nextSibling) {
    const std::size_t childStart = store_->GetStart(child);
    AppendOwnText(content.substr(offset - start, childStart - offset), data);
    offset = store_->GetEnd(child);
  }
  AppendOwnText(content.substr(offset - start), data);
  return data;
}

bool MXmlDocument::AddElement(std::wstring_view name, std::wstring_view data,
                              MXmlReferences references) {
  store_->scratch.Clear();
  ElementText element{name, data, {}};
  return AddElementText(element, references);
}

bool MXmlDocument::AddElement(std::wstring_view name, std::wstring_view data,
                              std::wstring_view attributeName, std::wstring_view attributeValue,
                              MXmlReferences references) {
  if (!IsAttributeName(attributeName)) return false;
  store_->scratch.Clear();
  AppendAttribute(attributeName, attributeValue, references, store_->scratch);
  ElementText element{name, data, store_->scratch.GetView()};
  return AddElementText(element, references);
}

bool MXmlDocument::AddElement(std::wstring_view name, std::wstring_view data,
                              const MXmlConstantAttribute& attribute, MXmlReferences references) {
  store_->scratch.Clear();
  ElementText element{name, data, attribute.GetText()};
  return AddElementText(element, references);
}

bool MXmlDocument::AddElementText(ElementText& element, MXmlReferences references) {
  if (!IsTagName(element.name)) return false;
  Insertion insertion(*this, MXmlNodeKind::kElement);
  const std::uint32_t level = insertion.GetLevel();
  if (!insertion.IsPossible() || level > MXmlElementRecord::kMaxLevel) return false;
  const bool isDataWritable = element.data.empty() || (!HoldsXmlTextEscape(element.data) &&
                                                       !store_->text.Holds(element.data));
  if (!isDataWritable || store_->text.Holds(element.name)) MakeWritable(element, references);
  const std::size_t startTagLength = element.GetStartTagLength();
  if (startTagLength > MXmlElementRecord::kMaxStartTagLength) return false;
  store_->index.Reserve(1);
  const NodeLength length = element.GetLength();
  const XmlRoom text = insertion.MakeRoom(length);
  if (text.before == nullptr) return false;
  element.Write(text);
  TrimScratch();

  const std::uint32_t number = store_->index.Add();
  MXmlElementRecord& record = store_->index.At(number);
  record.start = static_cast<std::uint32_t>(insertion.GetNodeStart());
  record.length = static_cast<std::uint32_t>(length.GetSum());
  record.SetTagLengths(static_cast<std::uint32_t>(startTagLength),
                       static_cast<std::uint32_t>(element.GetEndTagLength()));
  record.flagsAndLevel = level | (element.data.empty() ? MXmlElementRecord::kSelfClosed : 0);
  insertion.LinkElement(number, number);
  insertion.Remember(number, element.name.size(), length);
  return true;
}

bool MXmlDocument::AddNode(MXmlNodeKind kind, std::wstring_view text) {
  std::wstring_view begin;
  std::wstring_view end;
  bool endsEarly = false;
  switch (kind) {
    case MXmlNodeKind::kInstruction:
      begin = L"<?";
      end = L"?>";
      endsEarly = text.empty() || Orvel::Detail::IsXmlChar(text.front(), kXmlTagNameEnd);
      break;
    case MXmlNodeKind::kComment:
      begin = L"<!--";
      end = L"-->";
      endsEarly = text.find(L"--") != std::wstring_view::npos || text.ends_with(L'-');
      break;
    case MXmlNodeKind::kCData:
      begin = kCDataStart;
      end = kCDataEnd;
      break;
    default:
      return false;
  }
  if (endsEarly || text.find(end) != std::wstring_view::npos) return false;
  Insertion insertion(*this, kind);
  if (!insertion.IsPossible()) return false;
  text = KeepOutside(text);
  const std::size_t length = begin.size() + text.size() + end.size();
  wchar_t* node = insertion.MakeRoom({length, 0}).before;
  if (node == nullptr) return false;
  for (const std::wstring_view piece : {begin, text, end}) node = CopyWide(piece, node);
  TrimScratch();
  insertion.Select(kind, length);
  return true;
}

bool MXmlDocument::AddSubDocument(std::wstring_view text) {
  if (text.size() > lengthLimit_) return false;
  XmlIndex added;
  (void)Orvel::Detail::ParseXml(text, IgnoresCase(), added);
  const std::uint32_t root = added.At(0).firstChild;
  if (root == 0 || added.At(0).HasFlag(MXmlElementRecord::kIllFormed) ||
      added.At(root).nextSibling != 0 || added.At(root).HasFlag(MXmlElementRecord::kNotEnded)) {
    return false;
  }
  Insertion insertion(*this, MXmlNodeKind::kElement);
  if (!insertion.IsPossible()) return false;
  const std::uint32_t level = insertion.GetLevel();
  for (std::uint32_t i = root; i < added.GetNext(); ++i) {
    if (level + added.At(i).GetLevel() > MXmlElementRecord::kMaxLevel) return false;
  }
  const std::uint32_t rootStart = added.At(root).start;
  text = KeepOutside(text.substr(rootStart, added.At(root).length));
  store_->index.Reserve(added.GetNext() - root);
  wchar_t* const node = insertion.MakeRoom({text.size(), 0}).before;
  if (node == nullptr) return false;
  CopyWide(text, node);
  TrimScratch();

  const std::uint32_t number = store_->index.GetNext();
  const auto renumber = [root, number](std::uint32_t& link) {
    if (link != 0) link += number - root;
  };
  for (std::uint32_t i = root; i < added.GetNext(); ++i) {
    MXmlElementRecord record = added.At(i);
    record.start += static_cast<std::uint32_t>(insertion.GetNodeStart()) - rootStart;
    record.flagsAndLevel += level;
    renumber(record.parent);
    renumber(record.firstChild);
    renumber(record.nextSibling);
    renumber(record.previousSibling);
    store_->index.Add(record);
  }
  store_->index.At(number).flagsAndLevel &= ~MXmlElementRecord::kFirstChild;
  insertion.LinkElement(number, store_->index.GetNext() - 1);
  return true;
}

bool MXmlDocument::IsEnded(std::uint32_t element) const noexcept {
  return store_->IsElement(element) &&
         !store_->index.At(element).HasFlag(MXmlElementRecord::kNotEnded);
}

bool MXmlDocument::SetData(std::uint32_t element, std::wstring_view data,
                           MXmlReferences references) {
  if (!IsEnded(element)) return false;
  const MXmlElementRecord& record = store_->index.At(element);
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
    scratch.Append(kEmptyTagEnd);
  } else if (wasEmpty) {
    const std::wstring_view name = store_->GetTagName(element);
    if (!CanBeOpened(element, name.size())) return false;
    begin -= kEmptyTagEnd.size();
    endTagLength = name.size() + kEndTagFrame;
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
  MXmlElementRecord& changed = store_->index.At(element);
  changed.SetTagLengths(static_cast<std::uint32_t>(startTagLength),
                        static_cast<std::uint32_t>(endTagLength));
  changed.flagsAndLevel &= ~MXmlElementRecord::kSelfClosed;
  if (data.empty()) changed.flagsAndLevel |= MXmlElementRecord::kSelfClosed;
  TrimScratch();
  return true;
}

bool MXmlDocument::SetTagName(std::uint32_t element, std::wstring_view name) {
  if (!IsEnded(element) || name.empty() || !IsTagName(name)) return false;
  const MXmlElementRecord record = GetRecord(element);
  const std::size_t startTag = record.start;
  const std::size_t oldLength = store_->GetTagName(element).size();
  const std::size_t endTag = startTag + record.length - record.GetEndTagLength();
  const std::size_t oldEndLength =
      record.GetEndTagLength() == 0
          ? 0
          : FindXmlTagName(store_->text.GetView(endTag + 1, record.GetEndTagLength() - 1)).size();
  const std::size_t startTagLength = record.GetStartTagLength() - oldLength + name.size();
  std::size_t endTagLength = record.GetEndTagLength();
  std::size_t size = store_->text.GetSize() - oldLength + name.size();
  if (endTagLength != 0) {
    endTagLength = endTagLength - oldEndLength + name.size();
    size = size - oldEndLength + name.size();
    if (CanEndInside(element, name)) return false;
  }
  if (startTagLength > MXmlElementRecord::kMaxStartTagLength ||
      endTagLength > MXmlElementRecord::kMaxEndTagLength || size > lengthLimit_) {
    return false;
  }
  name = KeepOutside(name);
  store_->text.Reserve(2 * name.size());
  store_->lookup.NoteRemoved(*store_, element, IgnoresCase());
  SpliceText(element, startTag + 1, startTag + 1 + oldLength, name);
  if (record.GetEndTagLength() != 0) {
    const std::size_t endName = endTag + 2 - oldLength + name.size();
    SpliceText(element, endName, endName + oldEndLength, name);
  }
  store_->index.At(element).SetTagLengths(static_cast<std::uint32_t>(startTagLength),
                                          static_cast<std::uint32_t>(endTagLength));
  store_->lookup.NoteAdded(*store_, element, IgnoresCase());
  return true;
}

/// True when an end tag of that name would end a child of an element that was not ended.
bool MXmlDocument::CanEndInside(std::uint32_t element, std::wstring_view endName) const noexcept {
  for (std::uint32_t child = store_->index.At(element).firstChild; child != 0;
       child = store_->index.At(child).nextSibling) {
    if (store_->index.At(child).HasFlag(MXmlElementRecord::kNotEnded) &&
        Orvel::Detail::EndTagMatches(endName, store_->GetTagName(child), IgnoresCase())) {
      return true;
    }
  }
  return false;
}

bool MXmlDocument::RemoveElement(std::uint32_t element) {
  if (!IsEnded(element)) return false;
  const std::uint32_t parent = store_->index.At(element).parent;
  const std::uint32_t previous = store_->index.GetPreviousSibling(element);
  const std::size_t end = store_->GetEnd(element);
  const std::size_t begin = FindLine(store_->GetStart(element), end);
  store_->Forget(element, IgnoresCase());
  store_->index.MoveGap(end, store_->text.GetSize());
  (void)store_->text.Replace(begin, end - begin, 0, 0);
  const auto difference = static_cast<std::uint32_t>(begin - end);
  store_->index.GrowAround(parent, difference);
  const auto place = static_cast<std::uint32_t>(begin);
  LeaveRemoved({parent, previous, 0, MXmlNodeKind::kWhitespace, place, 0}, 0);
  MovePositions(begin, end, difference, false);
  store_->lastAdded = {};
  return true;
}

/// Where the removal of what stands from `start` to `end` begins: at the line break before it if it
/// has a line to itself and lines matter.
std::size_t MXmlDocument::FindLine(std::size_t start, std::size_t end) const noexcept {
  const Orvel::Detail::XmlText& text = store_->text;
  if (!WritesLineBreaks() || (end != text.GetSize() && GetLineBreakLength(end) == 0)) return start;
  std::size_t line = start;
  while (line != 0 && (text.At(line - 1) == L' ' || text.At(line - 1) == L'\t')) --line;
  if (line == 0 || text.At(line - 1) != L'\n') return start;
  --line;
  return line != 0 && text.At(line - 1) == L'\r' ? line - 1 : line;
}

std::size_t MXmlDocument::GetLineBreakLength(std::size_t offset) const noexcept {
  const std::size_t size = store_->text.GetSize();
  if (offset < size && store_->text.At(offset) == L'\n') return 1;
  const bool isPair =
      offset + 1 < size && store_->text.At(offset) == L'\r' && store_->text.At(offset + 1) == L'\n';
  return isPair ? 2 : 0;
}

/// `piece`, or a copy of it in the scratch text when it is a part of the document's own text.
std::wstring_view MXmlDocument::KeepOutside(std::wstring_view piece) {
  if (!store_->text.Holds(piece)) return piece;
  store_->scratch.Clear();
  store_->scratch.Append(piece);
  return store_->scratch.GetView();
}

/// Replaces name and data of an element by copies in the scratch text, the data escaped. The
/// scratch text holds the element's attribute or nothing.
void MXmlDocument::MakeWritable(ElementText& element, MXmlReferences references) {
  WideBuffer& scratch = store_->scratch;
  const std::size_t attributeEnd = scratch.GetSize();
  scratch.Append(element.name);
  const std::size_t nameEnd = scratch.GetSize();
  AppendXmlEscaped(element.data, {.keepReferences = references == MXmlReferences::kKeep}, scratch);
  const std::wstring_view pieces = scratch.GetView();
  element.name = pieces.substr(attributeEnd, nameEnd - attributeEnd);
  element.data = pieces.substr(nameEnd);
  if (attributeEnd != 0) element.attribute = pieces.substr(0, attributeEnd);
}

/// Gives the scratch text's memory back after an edit with much text.
void MXmlDocument::TrimScratch() noexcept {
  if (store_->scratch.GetCapacity() > kScratchKept) store_->scratch = {};
}

/// Puts positions at or inside elements that were removed, and all in the level of `emptied`, at
/// `place`. Those at nodes behind a removed element get the one before it from there.
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

/// Adjusts the positions at nodes that are no elements to a change of the text from `begin` to
/// `end`. It is inside the node that it overlaps, or cuts off the end of it.
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
