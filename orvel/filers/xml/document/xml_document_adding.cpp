// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/document/xml_constant_attribute.h"
#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/filers/xml/document/xml_escape.h"
#include "orvel/filers/xml/document/xml_insertion.h"
#include "orvel/filers/xml/document/xml_markup.h"
#include "orvel/filers/xml/parse/xml_attribute_scanner.h"
#include "orvel/filers/xml/parse/xml_parser.h"
#include "orvel/filers/xml/store/xml_store.h"
#include "orvel/platform/wide_copy.h"

using Orvel::Detail::AppendXmlAttribute;
using Orvel::Detail::AppendXmlEscaped;
using Orvel::Detail::CopyWide;
using Orvel::Detail::HoldsXmlTextEscape;
using Orvel::Detail::IsXmlAttributeName;
using Orvel::Detail::IsXmlTagName;
using Orvel::Detail::kXmlCDataEnd;
using Orvel::Detail::kXmlCDataStart;
using Orvel::Detail::WideBuffer;
using Orvel::Detail::XmlIndex;
using Orvel::Detail::XmlRoom;

bool MXmlDocument::AddElement(std::wstring_view tagName, std::wstring_view data,
                              MXmlReferences references) {
  store_->scratch.Clear();
  ElementText element{tagName, data, {}};
  return AddElementText(element, references);
}

bool MXmlDocument::AddElement(std::wstring_view tagName, std::wstring_view data,
                              std::wstring_view attributeName, std::wstring_view attributeValue,
                              MXmlReferences references) {
  if (!IsXmlAttributeName(attributeName)) return false;
  store_->scratch.Clear();
  AppendXmlAttribute(attributeName, attributeValue, references, store_->scratch);
  ElementText element{tagName, data, store_->scratch.GetView()};
  return AddElementText(element, references);
}

bool MXmlDocument::AddElement(std::wstring_view tagName, std::wstring_view data,
                              const MXmlConstantAttribute& attribute, MXmlReferences references) {
  store_->scratch.Clear();
  ElementText element{tagName, data, attribute.GetText()};
  return AddElementText(element, references);
}

bool MXmlDocument::AddElementText(ElementText& element, MXmlReferences references) {
  if (!IsXmlTagName(element.name)) return false;
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
  store_->TrimScratch();

  const std::uint32_t number = store_->index.Add();
  MXmlElementRecord& record = store_->index.GetRecord(number);
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
      endsEarly =
          text.empty() || Orvel::Detail::IsXmlChar(text.front(), Orvel::Detail::kXmlTagNameEnd);
      break;
    case MXmlNodeKind::kComment:
      begin = L"<!--";
      end = L"-->";
      endsEarly = text.find(L"--") != std::wstring_view::npos || text.ends_with(L'-');
      break;
    case MXmlNodeKind::kCData:
      begin = kXmlCDataStart;
      end = kXmlCDataEnd;
      break;
    default:
      return false;
  }
  if (endsEarly || text.find(end) != std::wstring_view::npos) return false;
  Insertion insertion(*this, kind);
  if (!insertion.IsPossible()) return false;
  text = store_->KeepOutside(text);
  const std::size_t length = begin.size() + text.size() + end.size();
  wchar_t* node = insertion.MakeRoom({length, 0}).before;
  if (node == nullptr) return false;
  for (const std::wstring_view piece : {begin, text, end}) node = CopyWide(piece, node);
  store_->TrimScratch();
  insertion.Select(kind, length);
  return true;
}

bool MXmlDocument::AddSubDocument(std::wstring_view text) {
  if (text.size() > lengthLimit_) return false;
  XmlIndex added;
  static_cast<void>(Orvel::Detail::ParseXml(text, IgnoresCase(), added));
  const std::uint32_t root = added.GetRecord(0).firstChild;
  if (root == 0 || added.GetRecord(0).HasFlag(MXmlElementRecord::kIllFormed) ||
      added.GetRecord(root).nextSibling != 0 ||
      added.GetRecord(root).HasFlag(MXmlElementRecord::kNotEnded)) {
    return false;
  }
  Insertion insertion(*this, MXmlNodeKind::kElement);
  if (!insertion.IsPossible()) return false;
  const std::uint32_t level = insertion.GetLevel();
  for (std::uint32_t i = root; i < added.GetNext(); ++i) {
    if (level + added.GetRecord(i).GetLevel() > MXmlElementRecord::kMaxLevel) return false;
  }
  const std::uint32_t rootStart = added.GetRecord(root).start;
  text = store_->KeepOutside(text.substr(rootStart, added.GetRecord(root).length));
  store_->index.Reserve(added.GetNext() - root);
  wchar_t* const node = insertion.MakeRoom({text.size(), 0}).before;
  if (node == nullptr) return false;
  CopyWide(text, node);
  store_->TrimScratch();

  const std::uint32_t number = store_->index.GetNext();
  const auto renumber = [root, number](std::uint32_t& link) {
    if (link != 0) link += number - root;
  };
  for (std::uint32_t i = root; i < added.GetNext(); ++i) {
    MXmlElementRecord record = added.GetRecord(i);
    record.start += static_cast<std::uint32_t>(insertion.GetNodeStart()) - rootStart;
    record.flagsAndLevel += level;
    renumber(record.parent);
    renumber(record.firstChild);
    renumber(record.nextSibling);
    renumber(record.previousSibling);
    store_->index.Add(record);
  }
  store_->index.GetRecord(number).flagsAndLevel &= ~MXmlElementRecord::kFirstChild;
  insertion.LinkElement(number, store_->index.GetNext() - 1);
  return true;
}

/// Replaces name and data of an element by copies in the scratch text, and escapes the data. The
/// scratch text may already hold the element's attribute.
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
