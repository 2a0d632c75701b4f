// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <initializer_list>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

#include "orvel/filers/xml/document/xml_constant_attribute.h"
#include "orvel/filers/xml/document/xml_document.h"
#include "tests/filers/xml_model.h"

using Orvel::Testing::CheckRecords;
using Orvel::Testing::CompareTrees;

namespace {

/// The document's text, after a check that a new document made of it has the same elements.
std::wstring CheckedText(const MXmlDocument& document) {
  EXPECT_EQ(CheckRecords(document), "");
  MXmlDocument parsed(document.GetFlags());
  parsed.SetDocument(document.GetDocumentText());
  EXPECT_EQ(CompareTrees(document, parsed), "");
  return document.GetDocumentText();
}

bool Enter(MXmlDocument& document, std::wstring_view name) {
  return document.FindElement(name) && document.IntoElement();
}

TEST(MXmlDocumentEditTest, ChildrenGoWhereTheyBelong) {
  const struct {
    const wchar_t* before;
    int depth;  // of the element that gets the child
    const wchar_t* after;
  } cases[] = {
      {L"<r/>", 1, L"<r>\n<n/>\n</r>"},
      {L"<r a='/'/>", 1, L"<r a='/'>\n<n/>\n</r>"},
      {L"<r></r>", 1, L"<r>\n<n/>\n</r>"},
      {L"<r>text</r>", 1, L"<r>text<n/>\n</r>"},
      {L"<r> <a/> tail</r>", 1, L"<r> <a/> tail<n/>\n</r>"},
      {L"<r><a><b/></r>", 2, L"<r><a>\n<n/>\n</a><b/></r>"},
  };
  for (const auto& [before, depth, after] : cases) {
    MXmlDocument document;
    document.SetDocument(before);
    for (int level = 0; level < depth; ++level) ASSERT_TRUE(Enter(document, L""));
    EXPECT_TRUE(document.AddElement(L"n"));
    EXPECT_EQ(CheckedText(document), after);
  }
}

TEST(MXmlDocumentEditTest, AddsBehindTheCurrentNodeAndMovesSavedOnes) {
  MXmlDocument document;
  document.SetDocument(L"<r>t<a/>\nu<!--c-->\r\nv<b>x</b></r>");
  ASSERT_TRUE(Enter(document, L"r") && document.FindNode(MXmlNodeKind::kText));
  document.SavePosition(L"t");
  ASSERT_TRUE(document.FindNode(MXmlNodeKind::kText));
  document.SavePosition(L"u");
  ASSERT_TRUE(document.RestorePosition(L"t") && document.FindNode(MXmlNodeKind::kComment));
  document.SavePosition(L"c");

  ASSERT_TRUE(document.RestorePosition(L"t"));
  EXPECT_TRUE(document.AddElement(L"first"));
  ASSERT_TRUE(document.FindElement(L"a"));
  EXPECT_TRUE(document.AddElement(L"n", L"1"));
  EXPECT_TRUE(document.AddNode(MXmlNodeKind::kComment, L" 2 "));
  ASSERT_TRUE(document.RestorePosition(L"u"));
  EXPECT_EQ(document.GetNodeText(), L"\n") << "the text was split";
  ASSERT_TRUE(document.RestorePosition(L"c"));
  EXPECT_EQ(document.GetNodeText(), L"<!--c-->");
  EXPECT_TRUE(document.AddElement(L"o")) << "n is the element before it now";
  EXPECT_TRUE(document.AddNode(MXmlNodeKind::kCData, L"<3>"));
  EXPECT_EQ(CheckedText(document),
            L"<r>t<first/>\n<a/>\n<n>1</n>\n<!-- 2 -->\nu<!--c-->\r\n<o/>\n<![CDATA[<3>]]>v"
            L"<b>x</b></r>");
}

TEST(MXmlDocumentEditTest, EscapesWhatItWritesAndReadsItBack) {
  const std::wstring hard = L" <a href=\"x\">&amp; 'q' ]]>\r\n\t\xD83D\xDE00 &# ";
  MXmlDocument document;
  ASSERT_TRUE(document.AddElement(L"r", hard, L"x", hard));
  const std::wstring text = CheckedText(document);
  EXPECT_NE(text.find(L"&lt;a href=\"x\"&gt;&amp;amp; 'q' ]]&gt;"), std::wstring::npos);
  EXPECT_NE(text.find(L"&lt;a href=&quot;x&quot;&gt;&amp;amp; &apos;q&apos;"), std::wstring::npos);
  std::wstring value;
  ASSERT_TRUE(document.GetAttribute(1, L"x", value));
  EXPECT_EQ(value, hard);
  EXPECT_EQ(document.GetData(1), hard);
  document.IntoElement();
  ASSERT_TRUE(document.AddElement(L"k", L"&lt; &x.1; &#x41; &1; & &amp", MXmlReferences::kKeep));
  EXPECT_EQ(document.GetNodeText(), L"<k>&lt; &x.1; &#x41; &amp;1; &amp; &amp;amp</k>");
  constexpr MXmlConstantAttribute kUnit(L"unit", L"mm");
  ASSERT_TRUE(document.AddElement(L"k", L"a<b", kUnit));
  EXPECT_EQ(document.GetNodeText(), L"<k unit=\"mm\">a&lt;b</k>");
  ASSERT_TRUE(document.AddElement(L"k", L"", kUnit));
  EXPECT_EQ(document.GetNodeText(), L"<k unit=\"mm\"/>");
}

TEST(MXmlDocumentEditTest, SeesWhatHasToBeEscapedWhereverItIs) {
  for (std::size_t length = 1; length <= 40; ++length) {
    for (std::size_t i = 0; i < length; ++i) {
      std::wstring text(length, L'x');
      text[i] = L'"';
      MXmlDocument document;
      ASSERT_TRUE(document.AddElement(L"r", text, L"a", text));
      ASSERT_EQ(document.GetNodeText().size(), 17 + 2 * length);
      for (const wchar_t c : std::wstring_view(L" \t\n\r=\\/?!><")) {
        text[i] = c;
        ASSERT_FALSE(document.AddElement(text));
      }
      ASSERT_FALSE(document.AddElement(L"r", L"", text, L""));
      ASSERT_TRUE(document.AddElement(L"r", text));
      ASSERT_EQ(document.GetData(2), text);
      text[i] = static_cast<wchar_t>(L'<' + 0x100);  // nothing special
      ASSERT_TRUE(document.AddElement(text, text, text, text));
      ASSERT_EQ(document.GetNodeText().size(), 9 + 5 * length);
    }
  }
}

TEST(MXmlDocumentEditTest, TakesPartsOfItsOwnText) {
  MXmlDocument document(MXmlDocument::kNoLineBreaks);
  const auto part = [&document](std::size_t start, std::size_t length) {
    return std::wstring_view(document.GetDocumentText()).substr(start, length);
  };
  document.SetDocument(L"<?p?><r><name key='value'/></r>");
  ASSERT_TRUE(Enter(document, L"r"));
  ASSERT_TRUE(document.AddElement(part(9, 4), part(19, 5), part(14, 3), part(14, 3)));
  ASSERT_TRUE(document.AddNode(MXmlNodeKind::kComment, part(9, 4)));
  ASSERT_TRUE(document.AddSubDocument(document.GetDocumentText()));
  EXPECT_EQ(CheckedText(document),
            L"<?p?><r><name key='value'/><name key=\"key\">value</name><!--name-->"
            L"<r><name key='value'/><name key=\"key\">value</name><!--name--></r></r>");
  for (const bool isName : {true, false}) {  // each by itself
    document.SetDocument(L"<r><name/></r>");
    ASSERT_TRUE(Enter(document, L"r"));
    ASSERT_TRUE(document.AddElement(isName ? part(4, 4) : L"n", isName ? L"d" : part(4, 4)));
    EXPECT_EQ(document.GetNodeText(), isName ? L"<name>d</name>" : L"<n>name</n>");
  }
}

TEST(MXmlDocumentEditTest, ReplacesAndAddsAttributes) {
  MXmlDocument document;
  document.SetDocument(L"<r a='1' b=2 c d=><s>t</s></r>");
  for (const wchar_t* const name : {L"c", L"a", L"b", L"e"})
    EXPECT_TRUE(document.SetAttribute(1, name, L"new"));
  EXPECT_EQ(CheckedText(document),
            L"<r a=\"new\" b=\"new\" c=\"new\" d=\"\" e=\"new\"><s>t</s></r>");
  EXPECT_TRUE(document.SetAttribute(1, L"a", L"") && document.SetAttribute(2, L"x", L"y"));
  EXPECT_EQ(CheckedText(document),
            L"<r a=\"\" b=\"new\" c=\"new\" d=\"\" e=\"new\"><s x=\"y\">t</s></r>");
}

TEST(MXmlDocumentEditTest, RefusedEditsChangeNothing) {
  MXmlDocument document;
  document.SetDocument(L"<r><s/></r>");
  ASSERT_TRUE(document.FindElement(L"r"));
  for (const wchar_t* const name : {L"a b", L"a>", L"<", L"a/", L"\\", L"a=", L"?", L"!", L"\n"})
    EXPECT_FALSE(document.AddElement(name, L"x")) << name;
  EXPECT_FALSE(document.AddElement(std::wstring(1021, L'n')));
  for (const wchar_t* const name : {L"", L"a b", L"a\"", L"'", L"<a", L"a=", L"/"})
    EXPECT_FALSE(document.SetAttribute(1, name, L"x")) << name;
  EXPECT_FALSE(document.SetAttribute(0, L"a", L"x"));
  EXPECT_FALSE(document.SetAttribute(3, L"a", L"x"));
  EXPECT_FALSE(document.SetAttribute(1, L"a", std::wstring(1U << 22, L'x')));
  EXPECT_FALSE(document.AddNode(MXmlNodeKind::kComment, L"a--b"));
  EXPECT_FALSE(document.AddNode(MXmlNodeKind::kComment, L"a-"));
  EXPECT_FALSE(document.AddNode(MXmlNodeKind::kCData, L"]]>"));
  EXPECT_FALSE(document.AddNode(MXmlNodeKind::kInstruction, L"p ?> q"));
  EXPECT_FALSE(document.AddNode(MXmlNodeKind::kInstruction, L" p"));
  EXPECT_FALSE(document.AddNode(MXmlNodeKind::kText, L"x"));
  for (const wchar_t* const text : {L"", L"x", L"<a>", L"<a/><b/>", L"<a></b></a>", L"<a><"})
    EXPECT_FALSE(document.AddSubDocument(text)) << text;
  MXmlDocument open;  // what is added would be a part of the string
  open.SetDocument(L"<?p a='1?>");
  ASSERT_TRUE(open.FindNode(MXmlNodeKind::kInstruction));
  EXPECT_FALSE(open.SetAttribute(L"b", L"x"));
  EXPECT_EQ(open.GetDocumentText(), L"<?p a='1?>");
  for (const std::uint32_t element : {0u, 3u}) {
    EXPECT_FALSE(document.SetData(element, L"x"));
    EXPECT_FALSE(document.SetTagName(element, L"x"));
    EXPECT_FALSE(document.RemoveElement(element));
  }
  for (const wchar_t* const name : {L"", L"a b", L">"}) EXPECT_FALSE(document.SetTagName(2, name));
  EXPECT_FALSE(document.SetTagName(1, std::wstring(1021, L'n')));
  const auto refuses = [&open](const std::wstring& text, const auto& edit) {
    open.SetDocument(text);
    EXPECT_FALSE(edit(open));
    EXPECT_EQ(open.GetDocumentText(), text);
  };
  const std::wstring unended = L"<r><a><b></a></r>";
  refuses(unended, [](MXmlDocument& d) { return d.SetData(3, L"x"); });
  refuses(unended, [](MXmlDocument& d) { return d.SetTagName(3, L"x"); });
  refuses(unended, [](MXmlDocument& d) { return d.RemoveElement(3); });
  refuses(unended, [](MXmlDocument& d) { return d.SetTagName(2, L"b"); });
  for (const std::wstring& text :
       {std::wstring(L"<a//>"), L"<" + std::wstring(1021, L'n') + L"/>"}) {
    refuses(text, [](MXmlDocument& d) { return d.SetData(1, L"x"); });
    refuses(text, [](MXmlDocument& d) { return Enter(d, L"") && d.AddElement(L"x"); });
  }
  refuses(L"<a b='" + std::wstring(MXmlElementRecord::kMaxStartTagLength - 8, L'x') + L"'>x</a>",
          [](MXmlDocument& d) { return d.SetData(1, {}) || d.SetTagName(1, L"ab"); });
  document.SetLengthLimit(14);
  EXPECT_FALSE(document.SetData(2, L"x"));
  EXPECT_FALSE(document.SetTagName(1, L"longer"));
  EXPECT_FALSE(document.AddElement(L"a"));
  EXPECT_FALSE(document.SetAttribute(1, L"a", L""));
  EXPECT_EQ(CheckedText(document), L"<r><s/></r>");
  EXPECT_EQ(document.GetTagName(document.GetElement()), L"r");
}

TEST(MXmlDocumentEditTest, DataTagsAndRemovalsKeepTheRestAsItWas) {
  using Document = MXmlDocument;
  const struct {
    const wchar_t* before;
    bool (*edit)(Document& document);
    const wchar_t* after;
  } cases[] = {
      {L"<r><a x='/'/></r>", [](Document& d) { return d.SetData(2, L"<&>"); },
       L"<r><a x='/'>&lt;&amp;&gt;</a></r>"},
      {L"<r>\n  <a ><b>t</b><!--c--></a >u</r>", [](Document& d) { return d.SetData(2, L"v"); },
       L"<r>\n  <a >v</a >u</r>"},
      {L"<r><a>x</a ></r>", [](Document& d) { return d.SetData(2, {}); }, L"<r><a/></r>"},
      {L"<r><a></a></r>", [](Document& d) { return d.SetData(2, {}); }, L"<r><a></a></r>"},
      {L"<r><a b='<'><a/></a ></r>", [](Document& d) { return d.SetTagName(2, L"long[1]"); },
       L"<r><long[1] b='<'><a/></long[1] ></r>"},
      {L"<r><a/></r>", [](Document& d) { return d.SetTagName(2, L"bc"); }, L"<r><bc/></r>"},
      {L"<r>\r\n  <a>\n</a>\r\n</r>", [](Document& d) { return d.RemoveElement(2); },
       L"<r>\r\n</r>"},
      {L"<r>t\n<a/>u<b/>\n</r>",
       [](Document& d) { return d.RemoveElement(2) && d.RemoveElement(3); }, L"<r>t\nu\n</r>"},
      {L"<?p?>\n<r><a/></r>", [](Document& d) { return d.RemoveElement(1); }, L"<?p?>"},
  };
  for (const auto& [before, edit, after] : cases) {
    Document document;
    document.SetDocument(before);
    EXPECT_TRUE(edit(document)) << before;
    EXPECT_EQ(CheckedText(document), after);
  }
  Document document(Document::kNoLineBreaks);
  document.SetDocument(L"<r>\n<a/>\n</r>");
  EXPECT_TRUE(document.RemoveElement(2));
  EXPECT_EQ(CheckedText(document), L"<r>\n\n</r>");
}

TEST(MXmlDocumentEditTest, PositionsLeaveWhatIsRemoved) {
  MXmlDocument document;
  document.SetDocument(L"<r>s<a/>t<b><c>u<d/></c></b>v<?p x='1'?><e/></r>");
  ASSERT_TRUE(Enter(document, L"r") && document.FindNode(MXmlNodeKind::kInstruction));
  document.SavePosition(L"p");
  document.ResetToLevelStart();
  ASSERT_TRUE(Enter(document, L"b") && Enter(document, L"c"));
  ASSERT_TRUE(document.FindNode(MXmlNodeKind::kText));
  document.SavePosition(L"u");
  ASSERT_TRUE(document.OutOfElement());
  document.SavePosition(L"c");
  EXPECT_TRUE(document.SetData(3, L"")) << "what is in b goes";
  ASSERT_TRUE(document.RestorePosition(L"u"));
  EXPECT_EQ(document.GetPosition().parent, 3u);
  EXPECT_EQ(document.GetPosition().kind, MXmlNodeKind::kNone);
  EXPECT_TRUE(document.AddElement(L"n")) << "b is opened again";
  EXPECT_TRUE(document.RemoveElement(3));
  ASSERT_TRUE(document.RestorePosition(L"c"));
  EXPECT_EQ(document.GetElement(), 0u);
  EXPECT_FALSE(document.RemoveElement());
  ASSERT_TRUE(document.AddElement(L"new"));
  EXPECT_EQ(document.GetNodeText(), L"<new/>");
  ASSERT_TRUE(document.RestorePosition(L"p") && document.SetAttribute(L"x", L"longer"));
  EXPECT_EQ(document.GetNodeText(), L"<?p x=\"longer\"?>");
  ASSERT_TRUE(document.RemoveElement(2));
  ASSERT_TRUE(document.FindElement(L"")) << "the position had moved with the instruction";
  EXPECT_EQ(document.GetNodeText(), L"<e/>");
  EXPECT_EQ(CheckedText(document), L"<r>st<new/>\nv<?p x=\"longer\"?><e/></r>");
}

TEST(MXmlDocumentEditTest, ChildrenAreWalkedAndMayBeRemovedMeanwhile) {
  MXmlDocument document(MXmlDocument::kIgnoreCase);
  document.SetDocument(L"<r><a k='1&amp;'>x</a><b/>t<A><a/></A><b/></r>");
  static_assert(std::forward_iterator<MXmlChildren::Iterator>);
  std::wstring found;
  for (const MXmlElement root : document.GetChildren(0)) {
    for (const MXmlElement child : root.GetChildren(L"a")) {
      found += child.GetTagName() + child.GetData() + child.GetAttribute(L"k").value_or(L"-");
      for (const MXmlElement inner : child.GetChildren()) found += inner.GetSubDocument();
      if (child.GetNumber() == 2) document.RemoveElement(2);
    }
  }
  EXPECT_EQ(found, L"ax1&A-<a/>");
  const MXmlElement gone(document, 2);
  EXPECT_TRUE(gone.GetTagName().empty() && gone.GetChildren().empty());
  EXPECT_TRUE(document.GetChildren(1, L"a b").empty() && document.GetChildren(9).empty());
  document.ResetPosition();
  ASSERT_TRUE(Enter(document, L"r"));
  while (document.FindElement(L"b")) EXPECT_TRUE(document.RemoveElement());
  EXPECT_EQ(CheckedText(document), L"<r>t<A><a/></A></r>");
}

/// One of many edits and moves, the same for the same number.
bool Step(MXmlDocument& document, std::uint32_t number) {
  const std::uint32_t element = number / 19 % document.GetRecordCount();
  switch (number % 19) {
    case 0:
      return document.SetDocument(document.TakeDocumentText());
    case 1:
      document.SetFlags(number / 19 % 2 == 0 ? 0 : MXmlDocument::kNoLineBreaks);
      return true;
    case 2:
      return document.AddElement(L"a", {}, L"type", L"1");
    case 3:
      return document.AddNode(MXmlNodeKind::kComment, L"c");
    case 4:
      return document.SetAttribute(element, L"n", std::to_wstring(number % 1000));
    case 5:
      return document.AddSubDocument(L"<!--c-->" + document.GetSubDocument(element));
    case 6:
      document.SavePosition(L"");
      return document.FindFirstElement(number / 19 % 2 == 0 ? L"e" : L"");
    case 7:
      return document.RestorePosition(L"");
    case 8:
      return document.OutOfElement();
    case 9:
      return document.SetData(element, number / 19 % 2 == 0 ? L"<data>" : L"");
    case 10:
      return document.SetTagName(element, number / 19 % 2 == 0 ? L"e" : L"long");
    case 11:
      return document.RemoveElement(number / 19 % 2 == 0 ? element : document.GetElement());
    default:
      if (number % 19 < 15) return document.IntoElement();
      return document.AddElement(L"e", number % 19 < 17 ? L"data" : L"");
  }
}

TEST(MXmlDocumentEditTest, WhatIsRememberedOfTheLastEditChangesNothing) {
  std::wstring manyChildren = L"<r>";
  for (int i = 0; i < 40; ++i) manyChildren += L"<c/>";
  manyChildren += L"</r>";
  std::minstd_rand random(1);
  for (int round = 0; round < 500; ++round) {
    MXmlDocument document;
    MXmlDocument forgetful;
    for (MXmlDocument* const each : {&document, &forgetful}) {
      if (round % 2 != 0) continue;
      each->SetDocument(manyChildren);
      ASSERT_TRUE(Enter(*each, L"r"));
    }
    for (int step = 0; step < 40; ++step) {
      const auto number = static_cast<std::uint32_t>(random());
      forgetful.SetFlags(forgetful.GetFlags());
      ASSERT_EQ(Step(document, number), Step(forgetful, number));
    }
    ASSERT_EQ(CheckedText(document), forgetful.GetDocumentText());
    for (std::uint32_t i = 1; i < document.GetRecordCount(); ++i) {
      const MXmlElementRecord record = document.GetRecord(i);
      const std::uint32_t parent = record.parent;
      ASSERT_EQ(record.GetLevel(), parent == 0 ? 0 : document.GetRecord(parent).GetLevel() + 1);
    }
  }

  MXmlDocument document;
  document.SetDocument(manyChildren);
  ASSERT_TRUE(Enter(document, L"r"));
  for (int i = 0; i < 2; ++i) EXPECT_FALSE(document.FindFirstElement(L"e"));  // makes a table
  for (const wchar_t* const name : {L"e", L"e", L"f"}) EXPECT_TRUE(document.AddElement(name));
  EXPECT_TRUE(document.FindFirstElement(L"e") && document.RemoveElement());
  EXPECT_TRUE(document.FindFirstElement(L"e") && document.SetTagName(L"f"));
  EXPECT_FALSE(document.FindFirstElement(L"e"));
  EXPECT_TRUE(document.FindFirstElement(L"f"));
  EXPECT_EQ(document.GetElement(), 43u) << "it stands before the other one";

  document.SetDocument({});
  EXPECT_TRUE(document.AddElement(L"a"));
  document.SetFlags(MXmlDocument::kNoLineBreaks);
  EXPECT_TRUE(document.AddElement(L"b"));
  EXPECT_EQ(document.GetDocumentText(), L"<a/><b/>\n");
  EXPECT_TRUE(document.AddElement(L"", L"x", L"type", L"t")) << "an empty tag stays as it is";
  EXPECT_EQ(document.GetNodeText(), L"< type=\"t\">x</>");
  EXPECT_EQ(document.GetData(3), L"x");
  EXPECT_TRUE(document.AddElement(L"last"));
  document.SetDocument(L"<r><s>text</s><a/><b/></r>");
  ASSERT_TRUE(Enter(document, L"r") && document.FindElement(L"a") && document.FindElement(L"b"));
  EXPECT_TRUE(document.AddElement(L"n"));
  EXPECT_EQ(CheckedText(document), L"<r><s>text</s><a/><b/><n/></r>");
}

TEST(MXmlDocumentEditTest, NestingKeepsTheIndexRightUpToTheDeepestLevel) {
  MXmlDocument document;
  for (std::uint32_t level = 0; level <= MXmlElementRecord::kMaxLevel; ++level) {
    ASSERT_TRUE(document.AddElement(L"a", L"x"));
    if (level % 3 == 0) {
      ASSERT_TRUE(document.AddElement(L"b"));
    }
    ASSERT_TRUE(document.SetAttribute(L"n", std::to_wstring(level)));
    ASSERT_TRUE(document.IntoElement());
  }
  EXPECT_FALSE(document.AddElement(L"a"));
  ASSERT_TRUE(document.OutOfElement());
  EXPECT_FALSE(document.AddSubDocument(L"<a><b/></a>"));
  EXPECT_TRUE(document.AddSubDocument(L"<a>b</a>"));
  while (document.OutOfElement()) ASSERT_TRUE(document.AddElement(L"c"));
  CheckedText(document);
}

}  // namespace
