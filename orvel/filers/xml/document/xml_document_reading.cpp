// SPDX-License-Identifier: MIT
#include <cstddef>
#include <string>

#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/filers/xml/document/xml_escape.h"
#include "orvel/filers/xml/document/xml_markup.h"
#include "orvel/filers/xml/parse/xml_scanner.h"
#include "orvel/filers/xml/store/xml_store.h"

using Orvel::Detail::AppendXmlUnescaped;
using Orvel::Detail::FindWide;
using Orvel::Detail::FindXmlChar;
using Orvel::Detail::kXmlCDataEnd;
using Orvel::Detail::kXmlCDataStart;
using Orvel::Detail::kXmlSpace;
using Orvel::Detail::kXmlTagNameEnd;
using Orvel::Detail::SkipXmlChars;
using Orvel::Detail::XmlToken;
using Orvel::Detail::XmlTokenKind;

namespace {

/// Returns the name that a declaration, such as a document type, declares: its second word.
std::wstring_view GetDeclaredName(std::wstring_view node) noexcept {
  const wchar_t* const end = node.data() + node.size();
  const wchar_t* next = FindXmlChar(node.data() + 2, end, kXmlSpace | kXmlTagNameEnd);
  next = SkipXmlChars(next, end, kXmlSpace);
  const wchar_t* const name = next;
  while (next != end && *next != L'[' && !Orvel::Detail::IsXmlChar(*next, kXmlTagNameEnd)) ++next;
  return std::wstring_view(name, next);
}

/// Returns the tag name that begins `skipped` units behind the start of a node.
std::wstring_view GetNameAt(std::wstring_view node, std::size_t skipped) noexcept {
  const wchar_t* const end = node.data() + node.size();
  const wchar_t* const name = node.data() + skipped;
  return std::wstring_view(name, FindXmlChar(name, end, kXmlTagNameEnd));
}

/// Appends the text, unescaped, and the CDATA of a piece of content without elements.
void AppendOwnText(std::wstring_view content, std::wstring& data) {
  const wchar_t* next = content.data();
  const wchar_t* const end = next + content.size();
  while (next != end) {
    const wchar_t* const markup = FindWide(next, end, L'<');
    AppendXmlUnescaped(std::wstring_view(next, markup), data);
    if (markup == end) return;
    const XmlToken token = Orvel::Detail::ScanXmlMarkup(markup, end);
    const std::wstring_view node(markup, token.length);
    if (token.kind == XmlTokenKind::kNode && node.starts_with(kXmlCDataStart)) {
      data += node.substr(kXmlCDataStart.size(),
                          node.size() - kXmlCDataStart.size() - kXmlCDataEnd.size());
    }
    next = markup + token.length;
  }
}

}  // namespace

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
  MXmlElementRecord record = store_->index.GetRecord(element);
  record.start = static_cast<std::uint32_t>(store_->GetStart(element));
  return record;
}

std::wstring MXmlDocument::GetData(std::uint32_t element) const {
  std::wstring data;
  if (!store_->IsElement(element)) return data;
  const std::size_t start = store_->GetContentStart(element);
  const std::size_t end = store_->GetContentEnd(element);
  const std::wstring_view content = store_->text.GetView(start, end - start);
  std::size_t offset = start;
  for (std::uint32_t child = store_->index.GetRecord(element).firstChild; child != 0;
       child = store_->index.GetRecord(child).nextSibling) {
    const std::size_t childStart = store_->GetStart(child);
    AppendOwnText(content.substr(offset - start, childStart - offset), data);
    offset = store_->GetEnd(child);
  }
  AppendOwnText(content.substr(offset - start), data);
  return data;
}
