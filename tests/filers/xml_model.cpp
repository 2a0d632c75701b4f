// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/filers/xml_checks.h"

namespace Orvel::Testing {
namespace {

using Record = MXmlElementRecord;

constexpr std::size_t kNone = std::wstring::npos;
constexpr std::wstring_view kNameEnds = L" \t\n\r<>=\\/?!";

/// A parser that closes what is not ended one element at a time, and searches the whole stack for
/// each end tag. It is slow on unbalanced tags and shares no code with the document.
class PlainParser {
 public:
  PlainParser(const std::wstring& text, bool ignoreCase) : text_(text), compared_(text) {
    for (wchar_t& c : compared_) {
      if (ignoreCase && c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c + 32);
    }
    Add(0, text.size(), 0, 0, 0);
    while ((next_ = text_.find(L'<', next_)) != kNone) Markup();
    if (!open_.empty()) Error(elements[open_.back()].start);
    CloseUnended(0);
    LinkChildren();
    const std::uint32_t root = elements[0].firstChild;
    if (root == 0) Error(0);
    const std::uint32_t second = elements[root].nextSibling;
    if (second != 0) Error(elements[second].start);
    isWellFormed = root != 0 && second == 0 && !elements[0].HasFlag(Record::kIllFormed);
  }

  std::vector<Record> elements;  // 0 is the document; in the order in which they begin
  bool isWellFormed = false;
  std::optional<std::size_t> error;  // offset of the first

 private:
  [[nodiscard]] std::uint32_t Current() const { return open_.empty() ? 0 : open_.back(); }
  [[nodiscard]] std::wstring NameAt(std::size_t offset) const {
    return compared_.substr(offset, compared_.find_first_of(kNameEnds, offset) - offset);
  }

  void Error(std::size_t offset) {
    if (!error) error = offset;
  }
  void Fault(std::size_t offset) {
    elements[0].flagsAndLevel |= Record::kIllFormed;
    elements[Current()].flagsAndLevel |= Record::kErrorInside;
    Error(offset);
  }
  void GoBehind(std::size_t found, std::size_t length) {
    if (found == kNone) Fault(next_);  // it is not terminated
    next_ = found == kNone ? text_.size() : found + length;
  }

  void Markup() {
    const std::wstring_view rest = std::wstring_view(text_).substr(next_);
    constexpr std::pair<std::wstring_view, std::wstring_view> kNodes[] = {
        {L"<?", L"?>"}, {L"<![", L"]]>"}, {L"<!--", L"-->"}};
    for (const auto& [opening, ending] : kNodes) {
      if (rest.starts_with(opening))
        return GoBehind(text_.find(ending, next_ + opening.size()), ending.size());
    }
    if (rest == L"<" || rest == L"<!" || rest == L"<!-") return GoBehind(kNone, 0);
    if (rest[1] == L'/') return EndTag();
    if (rest[1] == L'!' && std::wstring_view(L"DEAN").find(rest[2]) != kNone) return Declaration();
    if (kNameEnds.find(rest[1]) != kNone) return Fault(next_++);
    StartTag();
  }

  void Declaration() {
    int depth = 0;
    for (std::size_t i = next_; i < text_.size(); ++i) {
      if (text_[i] == L'<') ++depth;
      if (text_[i] == L'>' && --depth == 0) return GoBehind(i, 1);
    }
    GoBehind(kNone, 0);
  }

  void StartTag() {
    const std::size_t start = next_;
    wchar_t quote = 0;
    std::size_t i = text_.find_first_of(kNameEnds, start + 1);
    for (; i < text_.size() && (quote != 0 || text_[i] != L'>'); ++i) {
      if (text_[i] == quote) {
        quote = 0;
      } else if (quote == 0 && (text_[i] == L'"' || text_[i] == L'\'')) {
        quote = text_[i];
      }
    }
    if (i >= text_.size()) return GoBehind(kNone, 0);
    next_ = i + 1;
    const std::size_t length = next_ - start;
    if (length > Record::kMaxStartTagLength || open_.size() > Record::kMaxLevel)
      return Fault(start);
    const bool isSelfClosed = text_[i - 1] == L'/';
    const std::uint32_t flags = (elements.size() == Current() + 1 ? Record::kFirstChild : 0) |
                                (isSelfClosed ? Record::kSelfClosed : 0);
    const std::uint32_t number = Add(start, length, length, flags + open_.size(), Current());
    if (!isSelfClosed) open_.push_back(number);
  }

  std::uint32_t Add(std::size_t start, std::size_t length, std::size_t startTagLength,
                    std::size_t flagsAndLevel, std::uint32_t parent) {
    elements.push_back({static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(length),
                        static_cast<std::uint32_t>(startTagLength),
                        static_cast<std::uint32_t>(flagsAndLevel), parent, 0, 0, 0});
    return static_cast<std::uint32_t>(elements.size() - 1);
  }

  /// True for the name of an end tag that closes an element: its name, or what stands in it before
  /// a bracket.
  [[nodiscard]] static bool Closes(const std::wstring& endName, const std::wstring& startName) {
    return startName.starts_with(endName) &&
           (endName.size() == startName.size() || startName[endName.size()] == L'[' ||
            startName[endName.size()] == L']');
  }

  void EndTag() {
    const std::size_t start = next_;
    const std::size_t close = text_.find(L'>', start);
    if (close == kNone) return GoBehind(kNone, 0);
    next_ = close + 1;
    if (next_ - start > Record::kMaxEndTagLength) return Fault(start);
    const std::wstring name = NameAt(start + 2);
    std::size_t depth = open_.size();
    while (depth > 0 && !Closes(name, NameAt(elements[open_[depth - 1]].start + 1))) --depth;
    if (depth == 0) return Fault(start);
    if (depth < open_.size()) Error(start);
    CloseUnended(depth);
    Record& element = elements[open_.back()];
    element.length = static_cast<std::uint32_t>(next_ - element.start);
    element.SetTagLengths(element.tagLengths, static_cast<std::uint32_t>(next_ - start));
    open_.pop_back();
  }

  void CloseUnended(std::size_t depth) {
    for (; open_.size() > depth; open_.pop_back()) {
      Record& element = elements[open_.back()];
      elements[element.parent].flagsAndLevel |= element.flagsAndLevel & Record::kErrorInside;
      element.flagsAndLevel &= ~Record::kErrorInside;
      element.flagsAndLevel |= Record::kNotEnded;
      for (std::size_t i = open_.back() + 1; i < elements.size(); ++i) {
        if (elements[i].parent == open_.back()) elements[i].parent = element.parent;
      }
    }
  }

  void LinkChildren() {
    std::vector<std::uint32_t> last(elements.size());
    for (std::uint32_t i = 1; i < elements.size(); ++i) {
      Record& parent = elements[elements[i].parent];
      std::uint32_t& previous = last[elements[i].parent];
      (previous == 0 ? parent.firstChild : elements[previous].nextSibling) = i;
      elements[i].previousSibling = previous;
      elements[parent.firstChild].previousSibling = previous = i;
    }
  }

  const std::wstring text_;
  std::wstring compared_;  // the text in the case in which names are compared
  std::size_t next_ = 0;
  std::vector<std::uint32_t> open_;  // innermost last
};

/// The elements in the order in which they begin, told by one more than their start: edits number
/// them otherwise than a parser, which also gives those that were in one that is not ended another
/// level.
std::vector<std::array<std::uint32_t, 8>> InOrder(const std::vector<Record>& elements,
                                                  bool wasEdited) {
  std::vector<std::array<std::uint32_t, 8>> list;
  for (Record element : elements) {
    for (std::uint32_t* const relative :
         {&element.parent, &element.firstChild, &element.nextSibling, &element.previousSibling}) {
      if (*relative != 0) *relative = elements.at(*relative).start + 1;
    }
    if (wasEdited) element.flagsAndLevel &= Record::kSelfClosed | Record::kNotEnded;
    const bool isRemoved = element.tagLengths == 0 && !list.empty();
    if (!isRemoved) list.push_back(std::bit_cast<std::array<std::uint32_t, 8>>(element));
  }
  std::sort(list.begin(), list.end());
  return list;
}

}  // namespace

void CompareWithModel(const MXmlDocument& document, bool wasEdited) {
  const PlainParser plain(document.GetDocumentText(),
                          (document.GetFlags() & MXmlDocument::kIgnoreCase) != 0);
  if (!wasEdited) {
    Require(document.IsWellFormed() == plain.isWellFormed, "well-formed, or not");
    Require(document.GetErrorText().empty() == !plain.error, "an error, or none");
    Require(document.GetErrorOffset() == plain.error.value_or(0), "another place of the error");
  }
  std::vector<Record> elements;
  for (std::uint32_t i = 0; i < document.GetRecordCount(); ++i)
    elements.push_back(document.GetRecord(i));
  Require(InOrder(elements, wasEdited) == InOrder(plain.elements, wasEdited), "other elements");
}

void CheckPosition(MXmlDocument& document) {
  const MXmlPosition position = document.GetPosition();
  Require(position.parent == 0 || !document.GetTagName(position.parent).empty(),
          "a position in an element that is not there");
  Require(position.child == 0 || document.GetRecord(position.child).parent == position.element,
          "another child was current");
  const std::size_t end = std::size_t{position.nodeStart} + position.nodeLength;
  if (Intersects(position.kind, MXmlNodeKind::kText | MXmlNodeKind::kWhitespace)) {
    const Record before = document.GetRecord(position.element);
    const std::uint32_t next =
        position.element != 0 ? before.nextSibling : document.GetRecord(position.parent).firstChild;
    Require(position.element == 0 || before.start + before.length <= position.nodeStart,
            "a text before the element before it");
    Require(next == 0 || end <= document.GetRecord(next).start, "a text behind the next element");
    return Require(
        document.GetDocumentText().substr(position.nodeStart, position.nodeLength).find(L'<') ==
            kNone,
        "not a text");
  }
  const auto isThere = [&] {
    const MXmlPosition& found = document.GetPosition();
    return found.element == position.element && found.kind == position.kind &&
           (found.kind == MXmlNodeKind::kElement ||
            (found.nodeStart == position.nodeStart && found.nodeLength == position.nodeLength));
  };
  document.SavePosition(L"CheckPosition");
  document.ResetToLevelStart();
  while (!isThere())
    Require(document.FindNode(static_cast<MXmlNodeKind>(255)), "a position that is not there");
  document.RestorePosition(L"CheckPosition");
}

}  // namespace Orvel::Testing
