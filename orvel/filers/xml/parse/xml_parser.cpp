// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/parse/xml_parser.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

#include "orvel/filers/xml/parse/xml_open_names.h"
#include "orvel/filers/xml/parse/xml_scanner.h"
#include "orvel/foundation/decimal_text.h"

namespace Orvel::Detail {
namespace {

// Records are allocated for a text full of short elements at first, so that few texts need more.
// Memory that is never written to costs next to nothing.
constexpr std::size_t kUnitsPerElement = 40;

class XmlParser {
 public:
  XmlParser(std::wstring_view text, bool ignoreCase, XmlIndex& index)
      : text_(text), ignoreCase_(ignoreCase), index_(index) {}

  XmlParseError Parse() {
    index_.Clear(text_.size() / kUnitsPerElement + 8);
    if (text_.empty()) {
      SetError(L"Empty document", {}, {}, 0);
      return std::move(error_);
    }
    ParseChildren();
    MXmlElementRecord& document = index_.GetRecord(0);
    document.length = static_cast<std::uint32_t>(text_.size());
    if (document.firstChild == 0) {
      SetError(L"No root element", {}, {}, 0);
    } else if (const std::uint32_t sibling = index_.GetRecord(document.firstChild).nextSibling) {
      SetError(L"Root element has sibling", {}, {}, index_.GetRecord(sibling).start);
    }
    return std::move(error_);
  }

 private:
  struct OpenElement {
    const wchar_t* name;
    std::uint32_t nameLength;
    std::uint32_t number;

    [[nodiscard]] std::wstring_view GetName() const noexcept { return {name, nameLength}; }
  };

  [[nodiscard]] std::uint32_t GetParent() const noexcept {
    return open_.empty() ? 0 : open_.back().number;
  }

  void ParseChildren();
  void OpenTag(const XmlToken& token, const wchar_t* begin);
  void CloseTag(const XmlToken& token, const wchar_t* begin);
  [[nodiscard]] std::size_t CloseInnermost(const wchar_t* begin, const wchar_t* end);
  void EndInnermost(std::uint32_t start, std::uint32_t length);
  [[nodiscard]] std::size_t FindOpen(std::wstring_view name, std::size_t offset);
  void CloseUnended(std::size_t from);
  void RefuseMarkup(const wchar_t* text, const wchar_t* construct, const wchar_t* begin);
  void MarkError() noexcept;
  void SetError(std::wstring_view text, std::initializer_list<std::wstring_view> names,
                std::initializer_list<std::size_t> offsets, std::size_t offset);

  const std::wstring_view text_;
  const bool ignoreCase_;
  XmlIndex& index_;
  std::vector<OpenElement> open_;            // innermost last
  std::uint32_t lastChild_ = 0;              // of the innermost open element, or of the document
  std::unique_ptr<XmlOpenNames> openNames_;  // of all of open_, once it was needed
  std::size_t vainSteps_ = 0;                // of searches that failed
  XmlParseError error_;
};

void XmlParser::ParseChildren() {
  const wchar_t* const begin = text_.data();
  const wchar_t* const end = begin + text_.size();
  const wchar_t* next = begin;
  while (next != end) {
    if (*next != L'<') {
      // Often there is just a line break between two tags: check that before starting a search.
      ++next;
      if (next != end && *next != L'<') next = FindWide(next, end, L'<');
      continue;
    }
    if (const std::size_t length = CloseInnermost(next, end)) {
      next += length;
      continue;
    }
    const XmlToken token = ScanXmlMarkup(next, end);
    switch (token.kind) {
      case XmlTokenKind::kStartTag:
        OpenTag(token, next);
        break;
      case XmlTokenKind::kEndTag:
        CloseTag(token, next);
        break;
      case XmlTokenKind::kNode:
        break;
      case XmlTokenKind::kIncorrect:
        RefuseMarkup(L"Incorrect %s at offset %d", token.construct, next);
        break;
      case XmlTokenKind::kUnterminated:
        RefuseMarkup(L"%s at offset %d unterminated", token.construct, next);
        break;
      case XmlTokenKind::kTooLong:
        RefuseMarkup(L"%s at offset %d too long", token.construct, next);
        break;
    }
    next += token.length;
  }
  if (open_.empty()) return;
  const OpenElement& innermost = open_.back();
  const std::size_t start = index_.GetRecord(innermost.number).start;
  SetError(L"Element '%s' at offset %d not ended", {innermost.GetName()}, {start}, start);
  CloseUnended(0);
}

void XmlParser::OpenTag(const XmlToken& token, const wchar_t* begin) {
  const auto start = static_cast<std::uint32_t>(begin - text_.data());
  const auto length = static_cast<std::uint32_t>(token.length);
  if (open_.size() > MXmlElementRecord::kMaxLevel) {
    MarkError();
    SetError(L"Nesting at offset %d too deep", {}, {start}, start);
    return;
  }
  const std::uint32_t number = index_.Add();
  MXmlElementRecord& record = index_.GetRecord(number);
  record.start = start;
  record.length = token.selfClosed ? length : 0;
  record.tagLengths = length;
  record.flagsAndLevel = static_cast<std::uint32_t>(open_.size()) |
                         (token.selfClosed ? MXmlElementRecord::kSelfClosed : 0);
  index_.LinkLast(GetParent(), lastChild_, number);
  lastChild_ = token.selfClosed ? number : 0;
  if (token.selfClosed) return;
  open_.push_back({begin + 1, static_cast<std::uint32_t>(token.nameLength), number});
  if (openNames_) openNames_->Push(open_.back().GetName());
}

void XmlParser::CloseTag(const XmlToken& token, const wchar_t* begin) {
  const std::wstring_view name(begin + 2, token.nameLength);
  const auto start = static_cast<std::uint32_t>(begin - text_.data());
  if (open_.empty() || !EndTagMatches(name, open_.back().GetName(), ignoreCase_)) {
    const std::size_t depth = FindOpen(name, start);
    if (depth == XmlOpenNames::kNone) {
      MarkError();
      SetError(L"No start tag for end tag '%s' at offset %d", {name}, {start}, start);
      return;
    }
    const OpenElement& innermost = open_.back();
    SetError(L"End tag '%s' at offset %d does not match start tag '%s' at offset %d",
             {name, innermost.GetName()}, {start, index_.GetRecord(innermost.number).start}, start);
    CloseUnended(depth + 1);
  }
  EndInnermost(start, static_cast<std::uint32_t>(token.length));
}

/// Closes the innermost open element if exactly its end tag, without white space, is at `begin`.
/// This is the usual case, and faster than scanning the tag. Returns the length of the tag, or 0.
std::size_t XmlParser::CloseInnermost(const wchar_t* begin, const wchar_t* end) {
  if (open_.empty()) return 0;
  const OpenElement& innermost = open_.back();
  const std::size_t length = std::size_t{innermost.nameLength} + 3;
  if (length > MXmlElementRecord::kMaxEndTagLength ||
      length > static_cast<std::size_t>(end - begin) || begin[1] != L'/' ||
      begin[length - 1] != L'>' || !EqualWide(innermost.name, begin + 2, innermost.nameLength)) {
    return 0;
  }
  EndInnermost(static_cast<std::uint32_t>(begin - text_.data()),
               static_cast<std::uint32_t>(length));
  return length;
}

void XmlParser::EndInnermost(std::uint32_t start, std::uint32_t length) {
  MXmlElementRecord& record = index_.GetRecord(open_.back().number);
  record.length = start + length - record.start;
  record.SetTagLengths(record.tagLengths, length);
  lastChild_ = open_.back().number;
  open_.pop_back();
  if (openNames_) openNames_->PopTo(open_.size());
}

/// Returns the depth of the innermost open element that an end tag closes, kNone if there is none.
///
/// A search through the stack that succeeds closes every element it passed, so all of these
/// searches together are linear. Those that fail are not. Once they have cost more than the text
/// parsed so far, the names of the open elements are put into an index.
std::size_t XmlParser::FindOpen(std::wstring_view name, std::size_t offset) {
  if (!openNames_) {
    for (std::size_t depth = open_.size(); depth-- > 0;) {
      if (EndTagMatches(name, open_[depth].GetName(), ignoreCase_)) return depth;
    }
    vainSteps_ += open_.size() * (name.size() + 1);
    if (vainSteps_ > offset) {
      openNames_ = std::make_unique<XmlOpenNames>(ignoreCase_);
      for (const OpenElement& element : open_) openNames_->Push(element.GetName());
    }
    return XmlOpenNames::kNone;
  }
  return openNames_->Find(name);
}

/// Closes the open elements from depth `from` on as not ended. What they contain, each other
/// included, moves into the element around them. One pass is enough: each open element is the last
/// child of the one before, so its own children follow directly behind it.
void XmlParser::CloseUnended(std::size_t from) {
  const std::uint32_t parent = from == 0 ? 0 : open_[from - 1].number;
  std::uint32_t last = 0;
  std::uint32_t mark = 0;
  for (std::size_t i = from; i < open_.size(); ++i) {
    const std::uint32_t number = open_[i].number;
    MXmlElementRecord& record = index_.GetRecord(number);
    record.length = record.GetStartTagLength();
    mark |= record.flagsAndLevel & MXmlElementRecord::kErrorInside;
    record.flagsAndLevel &= ~MXmlElementRecord::kErrorInside;
    record.flagsAndLevel |= MXmlElementRecord::kNotEnded;
    last = number;
    const std::uint32_t firstChild = std::exchange(record.firstChild, 0U);
    if (firstChild == 0) continue;
    last = index_.GetRecord(firstChild).previousSibling;
    for (std::uint32_t child = firstChild; child != 0; child = index_.GetRecord(child).nextSibling)
      index_.GetRecord(child).parent = parent;
    record.nextSibling = firstChild;
    index_.GetRecord(firstChild).previousSibling = number;
  }
  index_.GetRecord(parent).flagsAndLevel |= mark;
  index_.GetRecord(index_.GetRecord(parent).firstChild).previousSibling = last;
  lastChild_ = last;
  open_.resize(from);
  if (openNames_) openNames_->PopTo(from);
}

void XmlParser::RefuseMarkup(const wchar_t* text, const wchar_t* construct, const wchar_t* begin) {
  const auto offset = static_cast<std::size_t>(begin - text_.data());
  MarkError();
  SetError(text, {construct}, {offset}, offset);
}

void XmlParser::MarkError() noexcept {
  index_.GetRecord(0).flagsAndLevel |= MXmlElementRecord::kIllFormed;
  index_.GetRecord(GetParent()).flagsAndLevel |= MXmlElementRecord::kErrorInside;
}

/// Returns `text` with each `%s` replaced by the next of `names`, each `%d` by the next of
/// `offsets`.
std::wstring FormatXmlError(std::wstring_view text, std::initializer_list<std::wstring_view> names,
                            std::initializer_list<std::size_t> offsets) {
  std::wstring result;
  auto name = names.begin();
  auto offset = offsets.begin();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != L'%') {
      result += text[i];
    } else if (text[++i] == L's') {
      result += *name++;
    } else {
      result += DecimalText(*offset++);
    }
  }
  return result;
}

void XmlParser::SetError(std::wstring_view text, std::initializer_list<std::wstring_view> names,
                         std::initializer_list<std::size_t> offsets, std::size_t offset) {
  if (!error_.text.empty()) return;
  error_.text = FormatXmlError(text, names, offsets);
  error_.offset = offset;
}

}  // namespace

XmlParseError ParseXml(std::wstring_view text, bool ignoreCase, XmlIndex& index) {
  return XmlParser(text, ignoreCase, index).Parse();
}

}  // namespace Orvel::Detail
