// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/document/xml_document.h"

#include <algorithm>
#include <utility>

#include "orvel/filers/xml/parse/xml_parser.h"
#include "orvel/filers/xml/parse/xml_scanner.h"
#include "orvel/filers/xml/store/xml_store.h"

using Orvel::Detail::FindWide;
using Orvel::Detail::FindXmlChar;
using Orvel::Detail::SkipXmlChars;
using Orvel::Detail::XmlIndex;
using Orvel::Detail::XmlToken;
using Orvel::Detail::XmlTokenKind;

namespace {

using Orvel::Detail::kXmlSpace;
using Orvel::Detail::kXmlTagNameEnd;

std::wstring_view Range(const wchar_t* begin, const wchar_t* end) noexcept {
  return {begin, static_cast<std::size_t>(end - begin)};
}

/// The name that a declaration, such as a document type, declares: its second word.
std::wstring_view GetDeclaredName(std::wstring_view node) noexcept {
  const wchar_t* const end = node.data() + node.size();
  const wchar_t* next = FindXmlChar(node.data() + 2, end, kXmlSpace | kXmlTagNameEnd);
  next = SkipXmlChars(next, end, kXmlSpace);
  const wchar_t* const name = next;
  while (next != end && *next != L'[' && !Orvel::Detail::IsXmlChar(*next, kXmlTagNameEnd)) ++next;
  return Range(name, next);
}

/// The tag name that begins `skipped` units behind the start of a node.
std::wstring_view GetNameAt(std::wstring_view node, std::size_t skipped) noexcept {
  const wchar_t* const end = node.data() + node.size();
  const wchar_t* const name = node.data() + skipped;
  return Range(name, FindXmlChar(name, end, kXmlTagNameEnd));
}

}  // namespace

MXmlDocument::MXmlDocument(std::uint32_t flags)
    : flags_(flags), store_(std::make_unique<Orvel::Detail::XmlStore>()) {}

MXmlDocument::~MXmlDocument() = default;

bool MXmlDocument::SetDocument(std::wstring text) {
  XmlIndex index;
  Orvel::Detail::XmlParseError error;
  if (text.size() > lengthLimit_) {
    error.text = L"Document too long";
    index.At(0).flagsAndLevel |= MXmlElementRecord::kIllFormed;
    text = std::wstring();
  } else {
    error = Orvel::Detail::ParseXml(text, IgnoresCase(), index);
  }
  std::wstring errorText = errorText_;
  if (!errorText.empty() && !error.text.empty()) errorText += L", ";
  errorText += error.text;

  store_->text.Set(std::move(text));
  store_->SetIndex(std::move(index));
  position_ = {};
  savedPositions_.clear();
  errorText_ = std::move(errorText);
  errorOffset_ = error.offset;
  return IsWellFormed();
}

void MXmlDocument::SetUnreadable(std::wstring_view reason) {
  std::wstring errorText = errorText_;
  if (!errorText.empty()) errorText += L", ";
  errorText += reason;
  errorText_.clear();
  SetDocument(std::wstring());
  errorText_ = std::move(errorText);
}

bool MXmlDocument::IsWellFormed() const noexcept {
  const MXmlElementRecord& document = store_->index.At(0);
  return !document.HasFlag(MXmlElementRecord::kIllFormed) && document.firstChild != 0 &&
         store_->index.At(document.firstChild).nextSibling == 0;
}

const std::wstring& MXmlDocument::GetDocumentText() const { return store_->text.GetWhole(); }

std::uint32_t MXmlDocument::GetRecordCount() const noexcept { return store_->index.GetNext(); }

void MXmlDocument::ClearErrorText() noexcept {
  errorText_.clear();
  errorOffset_ = 0;
}

MXmlLineAndColumn MXmlDocument::GetLineAndColumn(std::size_t offset) const {
  const std::wstring& text = store_->text.GetWhole();
  offset = (std::min)(offset, text.size());
  MXmlLineAndColumn result;
  std::size_t lineStart = 0;
  for (std::size_t i = 0; i < offset; ++i) {
    const bool pairFollows = text[i] == L'\r' && i + 1 < text.size() && text[i + 1] == L'\n';
    if ((text[i] != L'\r' && text[i] != L'\n') || pairFollows) continue;
    ++result.line;
    lineStart = i + 1;
  }
  result.column = offset - lineStart + 1;
  return result;
}

std::wstring MXmlDocument::TakeDocumentText() {
  XmlIndex index;
  std::wstring text = store_->text.Take();
  store_->SetIndex(std::move(index));
  position_ = {};
  savedPositions_.clear();
  ClearErrorText();
  return text;
}

void MXmlDocument::SetFlags(std::uint32_t flags) noexcept {
  flags_ = flags;
  store_->lookup.Clear();
  store_->lastAdded = {};
}

void MXmlDocument::SetLengthLimit(std::size_t units) noexcept {
  lengthLimit_ = (std::min)(units, kMaxLength);
}

bool MXmlDocument::FindElement(std::wstring_view name) {
  const std::uint32_t next = position_.element != 0 ? FindSibling(position_.element, name)
                                                    : FindChild(position_.parent, name);
  if (next == 0) return false;
  position_ = {position_.parent, next, 0, MXmlNodeKind::kElement, 0, 0};
  return true;
}

/// `element`, or the first one behind it in its level that is there and has the tag, any if that is
/// empty; 0 if there is none.
std::uint32_t MXmlDocument::FindFrom(std::uint32_t element, std::wstring_view tag) const noexcept {
  if (FindXmlChar(tag.data(), tag.data() + tag.size(), kXmlTagNameEnd) != tag.data() + tag.size())
    return 0;
  while (element != 0 && !(tag.empty() ? store_->IsElement(element)
                                       : store_->HasTagName(element, tag, IgnoresCase()))) {
    element = store_->index.At(element).nextSibling;
  }
  return element;
}

std::uint32_t MXmlDocument::FindChild(std::uint32_t parent, std::wstring_view tag) const noexcept {
  if (parent != 0 && !store_->IsElement(parent)) return 0;
  return FindFrom(store_->index.At(parent).firstChild, tag);
}

std::uint32_t MXmlDocument::FindSibling(std::uint32_t element,
                                        std::wstring_view tag) const noexcept {
  if (element >= store_->index.GetNext()) return 0;
  return FindFrom(store_->index.At(element).nextSibling, tag);
}

bool MXmlDocument::FindFirstElement(std::wstring_view name) {
  const std::uint32_t found =
      name.empty() ? store_->index.At(position_.parent).firstChild
                   : store_->lookup.FindFirst(*store_, position_.parent, name, IgnoresCase());
  if (found == 0) return false;
  position_ = {position_.parent, found, 0, MXmlNodeKind::kElement, 0, 0};
  return true;
}

bool MXmlDocument::FindNode(MXmlNodeKind kinds) {
  std::uint32_t before = position_.element;
  std::size_t offset = store_->GetContentStart(position_.parent);
  if (GetElement() != 0) {
    offset = store_->GetEnd(before);
  } else if (position_.kind != MXmlNodeKind::kNone) {
    offset = std::size_t{position_.nodeStart} + position_.nodeLength;
  }
  const std::size_t contentEnd = store_->GetContentEnd(position_.parent);
  while (offset < contentEnd) {
    const std::uint32_t element = before != 0 ? store_->index.At(before).nextSibling
                                              : store_->index.At(position_.parent).firstChild;
    if (element != 0 && store_->GetStart(element) == offset) {
      before = element;
      if (Intersects(kinds, MXmlNodeKind::kElement)) {
        position_ = {position_.parent, element, 0, MXmlNodeKind::kElement, 0, 0};
        return true;
      }
      offset = store_->GetEnd(element);
      continue;
    }
    // In an ill-formed text that was edited, a construct might otherwise run into an element.
    const std::size_t scanEnd = element != 0 ? store_->GetStart(element) : contentEnd;
    const std::wstring_view rest = store_->text.GetView(offset, scanEnd - offset);
    const wchar_t* const begin = rest.data();
    const wchar_t* const end = begin + rest.size();
    MXmlNodeKind kind = MXmlNodeKind::kNone;
    std::size_t length = 0;
    if (*begin == L'<') {
      const XmlToken token = Orvel::Detail::ScanXmlMarkup(begin, end);
      length = token.length;
      if (token.kind == XmlTokenKind::kNode) kind = token.nodeKind;
      if (token.kind == XmlTokenKind::kEndTag) kind = MXmlNodeKind::kLoneEndTag;
    } else {
      const wchar_t* const textEnd = FindWide(begin, end, L'<');
      const bool blank = SkipXmlChars(begin, textEnd, kXmlSpace) == textEnd;
      kind = blank ? MXmlNodeKind::kWhitespace : MXmlNodeKind::kText;
      length = static_cast<std::size_t>(textEnd - begin);
    }
    if (Intersects(kinds, kind)) {
      position_ = {position_.parent,
                   before,
                   0,
                   kind,
                   static_cast<std::uint32_t>(offset),
                   static_cast<std::uint32_t>(length)};
      return true;
    }
    offset += length;
  }
  return false;
}

bool MXmlDocument::OutOfElement() {
  const std::uint32_t parent = position_.parent;
  if (parent == 0) return false;
  position_ = {store_->index.At(parent).parent, parent, position_.element,
               MXmlNodeKind::kElement,          0,      0};
  return true;
}

void MXmlDocument::ResetToLevelStart() noexcept {
  const std::uint32_t parent = position_.parent;
  position_ = {};
  position_.parent = parent;
}

void MXmlDocument::SavePosition(std::wstring_view name) {
  const auto found = savedPositions_.find(name);
  if (found != savedPositions_.end()) {
    found->second = position_;
  } else {
    savedPositions_.emplace(name, position_);
  }
}

bool MXmlDocument::RestorePosition(std::wstring_view name) {
  const auto found = savedPositions_.find(name);
  if (found == savedPositions_.end()) return false;
  position_ = found->second;
  return true;
}

std::wstring_view MXmlDocument::GetNodeView() const noexcept {
  if (position_.kind == MXmlNodeKind::kNone) return {};
  if (position_.kind != MXmlNodeKind::kElement)
    return store_->text.GetView(position_.nodeStart, position_.nodeLength);
  const std::size_t start = store_->GetStart(position_.element);
  return store_->text.GetView(start, store_->GetEnd(position_.element) - start);
}

std::wstring MXmlDocument::GetNodeName() const {
  switch (position_.kind) {
    case MXmlNodeKind::kElement:
      return std::wstring(store_->GetTagName(position_.element));
    case MXmlNodeKind::kText:
    case MXmlNodeKind::kWhitespace:
      return L"#text";
    case MXmlNodeKind::kCData:
      return L"#cdata-section";
    case MXmlNodeKind::kComment:
      return L"#comment";
    case MXmlNodeKind::kInstruction:
    case MXmlNodeKind::kLoneEndTag:
      return std::wstring(GetNameAt(GetNodeView(), 2));
    case MXmlNodeKind::kDocumentType:
      return std::wstring(GetDeclaredName(GetNodeView()));
    case MXmlNodeKind::kNone:
      break;
  }
  return {};
}

std::wstring MXmlDocument::GetNodeText() const { return std::wstring(GetNodeView()); }

std::wstring MXmlDocument::GetTagName(std::uint32_t element) const {
  return store_->IsElement(element) ? std::wstring(store_->GetTagName(element)) : std::wstring();
}

std::wstring MXmlDocument::GetSubDocument(std::uint32_t element) const {
  if (!store_->IsElement(element)) return {};
  const std::size_t start = store_->GetStart(element);
  return std::wstring(store_->text.GetView(start, store_->GetEnd(element) - start));
}

MXmlElementRecord MXmlDocument::GetRecord(std::uint32_t element) const noexcept {
  if (element != 0 && !store_->IsElement(element)) return MXmlElementRecord{};
  store_->index.SettleLength(element);
  MXmlElementRecord record = store_->index.At(element);
  record.start = static_cast<std::uint32_t>(store_->GetStart(element));
  return record;
}
