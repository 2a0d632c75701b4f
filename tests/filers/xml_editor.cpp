// SPDX-License-Identifier: MIT
#include <iterator>
#include <string>
#include <utility>

#include "tests/filers/xml_checks.h"

namespace Orvel::Testing {
namespace {

using Document = MXmlDocument;

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
