// SPDX-License-Identifier: MIT
#include "tests/filers/xml_editor.h"

#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

#include "orvel/filers/xml/document/xml_document.h"
#include "tests/filers/xml_model.h"

namespace Orvel::Testing {
namespace {

void RequireNoFault(const std::string& fault) {
  if (!fault.empty()) throw std::logic_error(fault);
}

void Require(bool condition, const char* what) { RequireNoFault(condition ? "" : what); }

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

constexpr const wchar_t* kTexts[] = {L"a",
                                     L"b",
                                     L"A",
                                     L"r",
                                     L"x",
                                     L"xml",
                                     L"\n",
                                     L"a b",
                                     L"a[1]",
                                     L"<a>",
                                     L"]]>",
                                     L"&amp;",
                                     L"'\"",
                                     L"--",
                                     L"<a/>\n<a>",
                                     L"&#65;",
                                     L"<a b='c'>d<e/></a>"};

/// Takes choices from bytes: numbers from their end, texts from their start. At the end of the
/// bytes everything is 0 or empty.
class Choices {
 public:
  Choices(const std::uint8_t* data, std::size_t size) : next_(data), remaining_(size) {}

  [[nodiscard]] bool IsEmpty() const { return remaining_ == 0; }

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
  /// A unit for each byte up to a backslash that is not doubled.
  std::wstring Text(std::size_t most) {
    std::wstring text;
    while (text.size() < most && remaining_ > 0) {
      const std::uint8_t byte = Next();
      if (byte == L'\\' && remaining_ > 0 && Next() != L'\\') break;
      text += static_cast<wchar_t>(byte);
    }
    return text;
  }

 private:
  std::uint8_t Next() {
    --remaining_;
    return *next_++;
  }

  const std::uint8_t* next_;
  std::size_t remaining_;
};

class Editor {
 public:
  Editor(const std::uint8_t* data, std::size_t size)
      : input_(data, size), document_(input_.UpTo(255)) {
    SetDocument(input_.Flip() ? input_.OneOf(kDocuments) : input_.Text(size));
  }

  void Run() {
    while (!input_.IsEmpty()) {
      Step();
      if (input_.Flip()) Check();
    }
    Check();
  }

 private:
  void Step() {
    static constexpr void (*kSteps[])(Editor & e) = {
        [](Editor& e) { e.document_.FindElement(e.Text()); },
        [](Editor& e) { e.FindFirst(e.Text()); },
        [](Editor& e) { e.document_.FindNode(static_cast<MXmlNodeKind>(e.input_.UpTo(255))); },
        [](Editor& e) { e.document_.IntoElement(); },
        [](Editor& e) { e.document_.OutOfElement(); },
        [](Editor& e) { e.document_.ResetPosition(); },
        [](Editor& e) { e.document_.ResetToLevelStart(); },
        [](Editor& e) { e.document_.SavePosition(e.input_.Flip() ? L"" : L"name"); },
        [](Editor& e) { e.document_.RestorePosition(e.input_.Flip() ? L"" : L"name"); },
        [](Editor& e) { e.AddElement(); },
        [](Editor& e) { e.AddElement(); },
        [](Editor& e) { e.AddNode(); },
        [](Editor& e) { e.SetAttribute(); },
        [](Editor& e) { e.AddSubDocument(); },
        [](Editor& e) { e.SetDocument(e.document_.TakeDocumentText()); },
        [](Editor& e) {
          e.document_.SetFlags(e.document_.GetFlags() ^ MXmlDocument::kNoLineBreaks);
        },
        [](Editor& e) { e.SetDocument(e.document_.GetDocumentText()); },
        [](Editor& e) { e.SetData(); },
        [](Editor& e) { e.RemoveElement(); },
        [](Editor& e) { e.RemoveElement(); },
        [](Editor& e) { e.SetTagName(); },
        [](Editor& e) { e.Walk(); },
        [](Editor& e) { (void)(e.document_.GetNodeName() + e.document_.GetNodeText()); },
    };
    kSteps[input_.UpTo(std::size(kSteps) - 1)](*this);
  }

  void SetDocument(std::wstring text) {
    document_.SetDocument(std::move(text));
    isSound_ = document_.IsWellFormed() || document_.GetDocumentText().empty();
  }

  std::wstring Text() { return input_.Flip() ? input_.OneOf(kTexts) : input_.Text(40); }
  std::uint32_t Element() { return input_.UpTo(document_.GetRecordCount()); }
  std::uint32_t ElementOrCurrent() { return input_.Flip() ? document_.GetElement() : Element(); }
  MXmlReferences References() {
    return input_.Flip() ? MXmlReferences::kKeep : MXmlReferences::kEscape;
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
    const bool found = document_.FindFirstElement(name);
    const MXmlPosition first = document_.GetPosition();
    Require(first.element == (found ? child : before.element) && found == (child != 0),
            "two first elements");
    document_.SavePosition(L"found");
    document_.ResetToLevelStart();
    Require(document_.FindElement(name) == found, "first element is found only one way");
    Require(!found || document_.GetElement() == first.element, "not the first element");
    document_.RestorePosition(L"found");
  }

  void AddElement() {
    const std::wstring name = Text();
    const std::wstring data = Text();
    const bool isPlain = input_.Flip();
    if (!Edit([&] {
          return isPlain ? document_.AddElement(name, data, References())
                         : document_.AddElement(name, data, Text(), Text(), References());
        })) {
      return;
    }
    if (name.empty()) isSound_ = false;  // what no parser reads
    Require(document_.GetTagName(document_.GetElement()) == name, "another tag");
  }

  void AddNode() {
    Edit(
        [&] { return document_.AddNode(static_cast<MXmlNodeKind>(1U << input_.UpTo(7)), Text()); });
  }

  void AddSubDocument() {
    Edit([&] {
      return document_.AddSubDocument(input_.Flip() ? Text() : document_.GetSubDocument(Element()));
    });
  }

  void SetAttribute() {
    const std::wstring name = Text();
    const std::wstring value = Text();
    const bool ofNode = input_.Flip();
    const std::uint32_t element = Element();
    std::wstring read;
    if (!Edit([&] {
          return ofNode ? document_.SetAttribute(name, value)
                        : document_.SetAttribute(element, name, value);
        })) {
      return;
    }
    Require(
        ofNode ? document_.GetAttribute(name, read) : document_.GetAttribute(element, name, read),
        "attribute is lost");
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
    const auto attributes = document_.GetAttributes(element);
    const std::wstring data = document_.GetData(element);
    if (!Edit([&] { return document_.SetTagName(element, name); })) return;
    Require(document_.GetTagName(element) == name, "another tag");
    Require(document_.GetData(element) == data, "other data");
    Require(document_.GetAttributes(element).size() == attributes.size(), "other attributes");
  }

  void RemoveElement() {
    const bool isCurrent = input_.Flip();
    const std::uint32_t element = isCurrent ? document_.GetElement() : Element();
    std::wstring before = document_.GetDocumentText();
    const MXmlElementRecord record = document_.GetRecord(element);
    if (!Edit([&] { return document_.RemoveElement(element); })) return;
    Require(document_.GetTagName(element).empty(), "it is still there");
    before.erase(record.start, record.length);
    const std::size_t line = before.size() - document_.GetDocumentText().size();
    Require(document_.GetDocumentText() == before.erase(record.start - line, line), "the rest");
    if (!isCurrent) return;
    Require(document_.GetElement() == 0, "an element is current");
    Require(document_.FindElement({}) == (record.nextSibling != 0), "no way on from there");
    Require(document_.GetElement() == record.nextSibling, "not the next one");
  }

  /// Walks through children by both ways, and may remove them as it goes.
  void Walk() {
    const std::uint32_t parent = Element();
    const std::wstring tag = input_.Flip() ? Text() : std::wstring();
    const bool removes = input_.Flip();
    if ((document_.GetFlags() & MXmlDocument::kIgnoreCase) != 0) return;
    std::uint32_t wanted = document_.GetRecord(parent).firstChild;
    const auto skip = [&] {
      while (wanted != 0 && !tag.empty() && document_.GetTagName(wanted) != tag)
        wanted = document_.GetRecord(wanted).nextSibling;
    };
    for (const MXmlElement child : document_.GetChildren(parent, tag)) {
      skip();
      Require(child.GetNumber() == wanted, "another child");
      wanted = document_.GetRecord(wanted).nextSibling;
      if (removes && input_.Flip()) document_.RemoveElement(child.GetNumber());
    }
    skip();
    Require(wanted == 0, "a child was passed over");
  }

  void Check() {
    RequireNoFault(CheckRecords(document_));
    if (!isSound_) return;
    document_.SavePosition(L"current");
    for (const wchar_t* const name : {L"", L"name", L"current"})
      if (document_.RestorePosition(name)) RequireNoFault(CheckPosition(document_));
    MXmlDocument parsed(document_.GetFlags());
    parsed.SetDocument(document_.GetDocumentText());
    RequireNoFault(CompareTrees(document_, parsed));
  }

  Choices input_;
  MXmlDocument document_;
  bool isSound_ = true;
};

}  // namespace

void EditAtRandom(const std::uint8_t* data, std::size_t size) { Editor(data, size).Run(); }

void ParseAndRead(const std::wstring& text, bool ignoreCase) {
  MXmlDocument document(ignoreCase ? MXmlDocument::kIgnoreCase : 0);
  document.SetDocument(text);
  RequireNoFault(CheckRecords(document));
  RequireNoFault(CompareWithModel(document, ParseModel(text, ignoreCase)));
  (void)document.GetLineAndColumn(document.GetErrorOffset());
  constexpr std::size_t kShort = 5000;  // reading all of what is nested takes quadratic time
  if (text.size() > kShort) return;
  for (std::uint32_t i = 1; i < document.GetRecordCount(); ++i) {
    (void)document.GetData(i);
    const std::wstring start = L"<" + document.GetTagName(i);
    Require(document.GetSubDocument(i).starts_with(start), "sub-document without its tag");
    for (const MXmlAttribute& attribute : document.GetAttributes(i)) {
      std::wstring value;
      Require(document.GetAttribute(i, attribute.name, value), "attribute not found");
    }
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
