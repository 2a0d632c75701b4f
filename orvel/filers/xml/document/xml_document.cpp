// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/document/xml_document.h"

#include <algorithm>
#include <utility>

#include "orvel/filers/xml/parse/xml_parser.h"
#include "orvel/filers/xml/parse/xml_scanner.h"
#include "orvel/filers/xml/store/xml_store.h"

using Orvel::Detail::FindWide;
using Orvel::Detail::HoldsXmlChar;
using Orvel::Detail::kXmlSpace;
using Orvel::Detail::kXmlTagNameEnd;
using Orvel::Detail::SkipXmlChars;
using Orvel::Detail::XmlIndex;
using Orvel::Detail::XmlStore;
using Orvel::Detail::XmlToken;
using Orvel::Detail::XmlTokenKind;

namespace {

struct ScannedNode {
  MXmlNodeKind kind = MXmlNodeKind::kNone;
  std::size_t length = 0;
};

/// Returns the kind and the length of the node at the start of `text`, which is not an element. The
/// kind is none for markup that cannot be read.
ScannedNode ScanNode(std::wstring_view text) noexcept {
  const wchar_t* const begin = text.data();
  const wchar_t* const end = begin + text.size();
  if (*begin == L'<') {
    const XmlToken token = Orvel::Detail::ScanXmlMarkup(begin, end);
    if (token.kind == XmlTokenKind::kNode) return {token.nodeKind, token.length};
    const bool isEndTag = token.kind == XmlTokenKind::kEndTag;
    return {isEndTag ? MXmlNodeKind::kLoneEndTag : MXmlNodeKind::kNone, token.length};
  }
  const wchar_t* const textEnd = FindWide(begin, end, L'<');
  const bool isBlank = SkipXmlChars(begin, textEnd, kXmlSpace) == textEnd;
  return {isBlank ? MXmlNodeKind::kWhitespace : MXmlNodeKind::kText,
          static_cast<std::size_t>(textEnd - begin)};
}

/// Returns the first child of an element that exists, with a tag name unless that is empty.
std::uint32_t FindFirst(XmlStore& store, std::uint32_t element, std::wstring_view tagName,
                        bool ignoreCase) {
  return tagName.empty() ? store.index.GetRecord(element).firstChild
                         : store.lookup.FindFirst(element, tagName, ignoreCase);
}

}  // namespace

MXmlDocument::MXmlDocument(std::uint32_t flags)
    : flags_(flags), store_(std::make_unique<XmlStore>()) {}

MXmlDocument::~MXmlDocument() = default;

bool MXmlDocument::SetDocument(std::wstring text) {
  XmlIndex index;
  Orvel::Detail::XmlParseError error;
  if (text.size() > lengthLimit_) {
    error.text = L"Document too long";
    index.GetRecord(0).flagsAndLevel |= MXmlElementRecord::kIllFormed;
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
  const MXmlElementRecord& document = store_->index.GetRecord(0);
  return !document.HasFlag(MXmlElementRecord::kIllFormed) && document.firstChild != 0 &&
         store_->index.GetRecord(document.firstChild).nextSibling == 0;
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

bool MXmlDocument::FindElement(std::wstring_view tagName) {
  const std::uint32_t next = position_.element != 0 ? StepOn(position_.element, tagName)
                                                    : StepIn(position_.parent, tagName);
  if (next == 0) return false;
  position_ = {position_.parent, next, 0, MXmlNodeKind::kElement, 0, 0};
  return true;
}

/// Returns the first of `element` and its following siblings that exists and has the tag, if that
/// is not empty; 0 if there is none.
std::uint32_t MXmlDocument::FindFrom(std::uint32_t element, std::wstring_view tag) const noexcept {
  if (HoldsXmlChar(tag, kXmlTagNameEnd)) return 0;
  while (element != 0 && !(tag.empty() ? store_->IsElement(element)
                                       : store_->HasTagName(element, tag, IgnoresCase()))) {
    element = store_->index.GetRecord(element).nextSibling;
  }
  return element;
}

std::uint32_t MXmlDocument::StepIn(std::uint32_t parent, std::wstring_view tag) const noexcept {
  if (parent != 0 && !store_->IsElement(parent)) return 0;
  return FindFrom(store_->index.GetRecord(parent).firstChild, tag);
}

std::uint32_t MXmlDocument::StepOn(std::uint32_t element, std::wstring_view tag) const noexcept {
  if (element >= store_->index.GetNext()) return 0;
  return FindFrom(store_->index.GetRecord(element).nextSibling, tag);
}

std::uint32_t MXmlDocument::FindFirstChild(std::uint32_t element, std::wstring_view tagName) {
  if (element != 0 && !store_->IsElement(element)) return 0;
  return FindFirst(*store_, element, tagName, IgnoresCase());
}

bool MXmlDocument::FindFirstElement(std::wstring_view tagName) {
  const std::uint32_t found = FindFirst(*store_, position_.parent, tagName, IgnoresCase());
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
    const std::uint32_t element = before != 0
                                      ? store_->index.GetRecord(before).nextSibling
                                      : store_->index.GetRecord(position_.parent).firstChild;
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
    const auto [kind, length] = ScanNode(store_->text.GetView(offset, scanEnd - offset));
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
  position_ = {store_->index.GetRecord(parent).parent,
               parent,
               position_.element,
               MXmlNodeKind::kElement,
               0,
               0};
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
