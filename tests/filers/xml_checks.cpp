// SPDX-License-Identifier: MIT
#include "tests/filers/xml_checks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace Orvel::Testing {
namespace {

using Document = MXmlDocument;
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

constexpr const wchar_t* kDocuments[] = {
    L"",
    L"<r/>",
    L"<r></r>",
    L"<?xml version='1.0'?>\n<r>\n  <a x='1'>one</a>\r\n<b><a/><a>two</a></b>\n</r>\n",
    L"<r>text<a>x<![CDATA[<y>]]>&lt;</a><!-- c --> <?p q=\"1\"?></r>",
    L"<!DOCTYPE r [<!ENTITY e 'v'>]><r><a><b/>unended</r>",
    L"<R><a[1]>x</a><A b = c d></a></R>",
    L"<r><a><b><a><b><a><b/></a></b></a></b></a></r><!-- end -->",
    // So many children that their tags are looked up in a table.
    (L"<r><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/>"
     L"<c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><c/><a>1</a>\n "
     L"<b/>\n<A/><a>2</a><b><c/></b><x/></r>"),
};

constexpr const wchar_t* kTexts[] = {
    L"a",   L"b",   L"A",     L"r",   L"x",  L"xml",       L"\n",    L"a b",           L"a[1]",
    L"<a>", L"]]>", L"&amp;", L"'\"", L"--", L"<a/>\n<a>", L"&#65;", L"<a b='c'>d</a>"};

/// Takes choices from bytes: numbers from their end, texts from their start. At the end of the
/// bytes everything is 0 or empty.
class Editor {
 public:
  Editor(const std::uint8_t* data, std::size_t size)
      : next_(data), remaining_(size), document_(UpTo(255)) {
    SetDocument(Flip() ? OneOf(kDocuments) : Text(size));
  }

  void Run() {
    while (remaining_ > 0) {
      Step();
      if (Flip()) Check();
    }
    Check();
  }

 private:
  std::uint32_t UpTo(std::uint32_t most) {
    std::uint32_t number = 0;
    for (std::uint32_t left = most; left > 0 && remaining_ > 0; left >>= 8)
      number = (number << 8) | next_[--remaining_];
    return number % (most + 1);
  }
  bool Flip() { return UpTo(1) != 0; }
  std::wstring OneOf(const auto& texts) {
    return texts[UpTo(static_cast<std::uint32_t>(std::size(texts) - 1))];
  }
  std::uint8_t Byte() {
    --remaining_;
    return *next_++;
  }
  /// A unit for each byte up to a backslash that is not doubled.
  std::wstring Text(std::size_t most) {
    std::wstring text;
    while (text.size() < most && remaining_ > 0) {
      const std::uint8_t byte = Byte();
      if (byte == L'\\' && remaining_ > 0 && Byte() != L'\\') break;
      text += static_cast<wchar_t>(byte);
    }
    return text;
  }
  std::wstring Text() { return Flip() ? OneOf(kTexts) : Text(40); }
  std::wstring Name() { return Flip() ? L"" : L"name"; }
  std::uint32_t Element() { return UpTo(document_.GetRecordCount()); }
  std::uint32_t ElementOrCurrent() { return Flip() ? document_.GetElement() : Element(); }
  std::wstring SubDocument() { return Flip() ? Text() : document_.GetSubDocument(Element()); }
  MXmlReferences References() { return Flip() ? MXmlReferences::kKeep : MXmlReferences::kEscape; }

  void Step() {
    static constexpr void (*kSteps[])(Editor & e) = {
        [](Editor& e) { e.document_.FindElement(e.Text()); },
        [](Editor& e) { e.FindFirst(e.Text()); },
        [](Editor& e) { e.document_.FindNode(static_cast<MXmlNodeKind>(e.UpTo(255))); },
        [](Editor& e) { e.document_.IntoElement(); },
        [](Editor& e) { e.document_.OutOfElement(); },
        [](Editor& e) { e.document_.ResetPosition(); },
        [](Editor& e) { e.document_.ResetToLevelStart(); },
        [](Editor& e) { e.document_.SavePosition(e.Name()); },
        [](Editor& e) { e.document_.RestorePosition(e.Name()); },
        [](Editor& e) { e.AddElement(); },
        [](Editor& e) { e.AddElement(); },
        [](Editor& e) { e.AddNode(static_cast<MXmlNodeKind>(1U << e.UpTo(7)), e.Text()); },
        [](Editor& e) { e.SetAttribute(); },
        [](Editor& e) { e.AddSubDocument(e.SubDocument()); },
        [](Editor& e) { e.SetDocument(e.document_.TakeDocumentText()); },
        [](Editor& e) { e.document_.SetFlags(e.document_.GetFlags() ^ Document::kNoLineBreaks); },
        [](Editor& e) { e.SetDocument(e.document_.GetDocumentText()); },
        [](Editor& e) { e.SetData(); },
        [](Editor& e) { e.RemoveElement(); },
        [](Editor& e) { e.RemoveElement(); },
        [](Editor& e) { e.SetTagName(); },
    };
    kSteps[UpTo(std::size(kSteps) - 1)](*this);
  }

  void SetDocument(std::wstring text) {
    document_.SetDocument(std::move(text));
    isSound_ = document_.IsWellFormed() || document_.GetDocumentText().empty();
  }

  /// Returns what an edit returns. One that is refused must change nothing.
  bool Edit(const auto& edit) {
    const std::wstring before = document_.GetDocumentText();
    const bool isDone = edit();
    Require(isDone || document_.GetDocumentText() == before, "a refused edit");
    return isDone;
  }

  void FindFirst(const std::wstring& name) {
    const MXmlPosition before = document_.GetPosition();
    const std::uint32_t child = document_.FindFirstChild(before.parent, name);
    const std::uint32_t wanted = child != 0 ? child : before.element;
    Require(document_.FindFirstElement(name) == (child != 0), "it is found only one way");
    Require(document_.GetPosition().element == wanted, "two first elements");
    document_.SavePosition(L"found");
    document_.ResetToLevelStart();
    Require(document_.FindElement(name) == (child != 0), "it is found only one way");
    Require(document_.GetElement() == child, "not the first element");
    document_.RestorePosition(L"found");
  }

  void AddElement() {
    const std::wstring name = Text();
    const std::wstring data = Text();
    const bool isPlain = Flip();
    if (!Edit([&] {
          return isPlain ? document_.AddElement(name, data, References())
                         : document_.AddElement(name, data, Text(), Text(), References());
        })) {
      return;
    }
    if (name.empty()) isSound_ = false;  // what no parser reads
    Require(document_.GetTagName(document_.GetElement()) == name, "another tag");
  }

  void AddNode(MXmlNodeKind kind, const std::wstring& text) {
    Edit([&] { return document_.AddNode(kind, text); });
  }

  void AddSubDocument(const std::wstring& text) {
    Edit([&] { return document_.AddSubDocument(text); });
  }

  void SetAttribute() {
    const std::wstring name = Text();
    const std::wstring value = Text();
    const std::uint32_t element = Flip() ? document_.GetElement() : Element();
    std::wstring read;
    if (element == 0) {  // the current node may be an instruction
      if (!Edit([&] { return document_.SetAttribute(name, value); })) return;
      Require(document_.GetAttribute(name, read), "attribute is lost");
    } else {
      if (!Edit([&] { return document_.SetAttribute(element, name, value); })) return;
      Require(document_.GetAttribute(element, name, read), "attribute is lost");
    }
    Require(read == value, "another value");
  }

  void SetData() {
    const std::wstring data = Text();
    const MXmlReferences references = References();
    const std::uint32_t element = ElementOrCurrent();
    if (!Edit([&] { return document_.SetData(element, data, references); })) return;
    Require(document_.GetRecord(element).firstChild == 0, "a child is left");
    Require(references == MXmlReferences::kKeep || document_.GetData(element) == data, "data");
  }

  void SetTagName() {
    const std::wstring name = Text();
    const std::uint32_t element = ElementOrCurrent();
    const std::wstring data = document_.GetData(element);
    const std::size_t attributes = document_.GetAttributes(element).size();
    if (!Edit([&] { return document_.SetTagName(element, name); })) return;
    Require(document_.GetTagName(element) == name, "another tag");
    Require(document_.GetData(element) == data, "other data");
    Require(document_.GetAttributes(element).size() == attributes, "other attributes");
  }

  void RemoveElement() {
    const bool isCurrent = Flip();
    const std::uint32_t element = isCurrent ? document_.GetElement() : Element();
    std::wstring rest = document_.GetDocumentText();
    const MXmlElementRecord record = document_.GetRecord(element);
    if (!Edit([&] { return document_.RemoveElement(element); })) return;
    Require(document_.GetTagName(element).empty(), "it is still there");
    rest.erase(record.start, record.length);
    const std::size_t line = rest.size() - document_.GetDocumentText().size();
    Require(document_.GetDocumentText() == rest.erase(record.start - line, line), "the rest");
    Require(line == 0 || (document_.GetFlags() & Document::kNoLineBreaks) == 0, "a line");
    if (!isCurrent) return;
    Require(document_.GetElement() == 0, "an element is current");
    Require(document_.FindElement({}) == (record.nextSibling != 0), "no way on from there");
    Require(document_.GetElement() == record.nextSibling, "not the next one");
  }

  void Check() {
    if (!isSound_) return;
    CompareWithModel(document_, true);
    document_.SavePosition(L"current");
    for (const wchar_t* const name : {L"", L"name", L"current"})
      if (document_.RestorePosition(name)) CheckPosition(document_);
  }

  const std::uint8_t* next_;
  std::size_t remaining_;
  Document document_;
  bool isSound_ = true;
};

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

void EditAtRandom(const std::uint8_t* data, std::size_t size) { Editor(data, size).Run(); }

void ParseAndRead(const std::wstring& text, bool ignoreCase) {
  MXmlDocument document(ignoreCase ? MXmlDocument::kIgnoreCase : 0);
  document.SetDocument(text);
  CompareWithModel(document, false);
  (void)document.GetLineAndColumn(document.GetErrorOffset());
  constexpr std::size_t kShort = 5000;  // reading all of what is nested takes quadratic time
  if (text.size() > kShort) return;
  for (std::uint32_t i = 1; i < document.GetRecordCount(); ++i) {
    (void)document.GetData(i);
    Require(document.GetSubDocument(i).starts_with(L"<" + document.GetTagName(i)), "another tag");
    for (MXmlAttribute& attribute : document.GetAttributes(i))
      Require(document.GetAttribute(i, attribute.name, attribute.value), "attribute not found");
  }
  std::size_t nodes = 1;
  do {
    while (document.FindNode(static_cast<MXmlNodeKind>(0xFF))) {
      (void)document.GetNodeName();
      Require(!document.GetNodeText().empty(), "empty node");
      ++nodes;
      document.IntoElement();
    }
  } while (document.OutOfElement());
  Require(nodes >= document.GetRecordCount(), "elements were passed over");
}

}  // namespace Orvel::Testing
