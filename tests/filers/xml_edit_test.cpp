// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "orvel/filers/xml/document/xml_document.h"
#include "tests/filers/failing_allocation.h"
#include "tests/filers/xml_checks.h"

using Document = MXmlDocument;

namespace {

/// The document's text, after a check that a plain parser finds the same elements in it.
std::wstring CheckedText(const Document& document) {
  EXPECT_NO_THROW(Orvel::Testing::CompareWithModel(document, true));
  return document.GetDocumentText();
}

bool Enter(Document& document, std::wstring_view name) {
  return document.FindElement(name) && document.IntoElement();
}

bool AddChild(Document& document) { return Enter(document, L"") && document.AddElement(L"n"); }

TEST(MXmlDocumentEditTest, RandomEditsKeepTheIndexRight) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    std::vector<std::uint8_t> bytes(1000);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
    ASSERT_NO_THROW(Orvel::Testing::EditAtRandom(bytes.data(), bytes.size())) << round;
  }
}

TEST(MXmlDocumentEditTest, ChangesWhatItIsToldAndKeepsTheRest) {
  const struct {
    const wchar_t* before;
    bool (*edit)(Document& document);
    const wchar_t* after;
  } cases[] = {
      {L"<r/>", AddChild, L"<r>\n<n/>\n</r>"},
      {L"<r a='/'/>", AddChild, L"<r a='/'>\n<n/>\n</r>"},
      {L"<r>text</r>", AddChild, L"<r>text<n/>\n</r>"},
      {L"<r> <a/> tail</r>", AddChild, L"<r> <a/> tail<n/>\n</r>"},
      {L"<r><a><b/></r>", [](Document& d) { return Enter(d, L"") && AddChild(d); },
       L"<r><a>\n<n/>\n</a><b/></r>"},
      {L"<r a='1' b=2 c d=>t</r>",
       [](Document& d) {
         return d.SetAttribute(1, L"c", L"new") && d.SetAttribute(1, L"a", L"") &&
                d.SetAttribute(1, L"b", L"new") && d.SetAttribute(1, L"e", L"new");
       },
       L"<r a=\"\" b=\"new\" c=\"new\" d=\"\" e=\"new\">t</r>"},
      {L"<r><a x='/'/></r>", [](Document& d) { return d.SetData(2, L"<&>"); },
       L"<r><a x='/'>&lt;&amp;&gt;</a></r>"},
      {L"<r/>", [](Document& d) { return d.SetAttribute(1, L"a", L"<\"&lt;'>"); },
       L"<r a=\"&lt;&quot;&amp;lt;&apos;&gt;\"/>"},
      {L"<r/>",
       [](Document& d) {
         return d.SetData(1, L"&lt; &x.1; &#x41; &1; & &amp", MXmlReferences::kKeep);
       },
       L"<r>&lt; &x.1; &#x41; &amp;1; &amp; &amp;amp</r>"},
      {L"<r>\n  <a ><b>t</b><!--c--></a >u</r>", [](Document& d) { return d.SetData(2, L"v"); },
       L"<r>\n  <a >v</a >u</r>"},
      {L"<r><a>x</a ></r>", [](Document& d) { return d.SetData(2, {}); }, L"<r><a/></r>"},
      {L"<r><a b='<'><a/></a ></r>", [](Document& d) { return d.SetTagName(2, L"long[1]"); },
       L"<r><long[1] b='<'><a/></long[1] ></r>"},
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
}

TEST(MXmlDocumentEditTest, SeesWhatHasToBeEscapedWhereverItIs) {
  for (std::size_t i = 0; i < 40; ++i) {
    for (const wchar_t c : std::wstring_view(L"<>& \t\n\r=\\/?!")) {
      std::wstring text(40, static_cast<wchar_t>(L'<' + 0x100));  // nothing special
      text[i] = c;
      Document document;
      ASSERT_EQ(document.AddElement(text), c == L'&') << i;
      ASSERT_TRUE(document.AddElement(L"r", text));
      const std::size_t added = c == L'&' ? 4 : (c == L'<' || c == L'>' ? 3 : 0);
      ASSERT_EQ(document.GetNodeText().size(), 47 + added) << i;
    }
  }
}

TEST(MXmlDocumentEditTest, TakesPartsOfItsOwnText) {
  Document document(Document::kNoLineBreaks);
  const auto part = [&document](std::size_t start, std::size_t length) {
    return std::wstring_view(document.GetDocumentText()).substr(start, length);
  };
  document.SetDocument(L"<?p?><r><name key='value'/></r>");
  ASSERT_TRUE(Enter(document, L"r"));
  ASSERT_TRUE(document.AddElement(part(9, 4), part(19, 5), part(14, 3), part(14, 3)));
  ASSERT_TRUE(document.AddElement(part(9, 4), L"d") && document.AddElement(L"n", part(9, 4)));
  ASSERT_TRUE(document.AddNode(MXmlNodeKind::kComment, part(9, 4)));
  ASSERT_TRUE(document.SetTagName(2, part(14, 3)));
  EXPECT_EQ(CheckedText(document),
            L"<?p?><r><key key='value'/><name key=\"key\">value</name><name>d</name><n>name</n>"
            L"<!--name--></r>");
  ASSERT_TRUE(document.AddElement(L"x"));
  document.SetDocument(L"<r><a/></r>");
  ASSERT_TRUE(Enter(document, L"r") && document.AddSubDocument(document.GetDocumentText()));
  EXPECT_EQ(CheckedText(document), L"<r><a/><r><a/></r></r>");
}

TEST(MXmlDocumentEditTest, RefusedEditsChangeNothing) {
  const auto refuses = [](const std::wstring& text, const auto& edit) {
    Document document;
    document.SetDocument(text);
    ASSERT_TRUE(document.FindNode(MXmlNodeKind::kElement | MXmlNodeKind::kInstruction));
    EXPECT_FALSE(edit(document));
    EXPECT_EQ(document.GetDocumentText(), text);
  };
  const std::wstring longName(1021, L'n');
  for (const std::wstring& name : {std::wstring(L"a b"), std::wstring(L"a>"), std::wstring(L"<"),
                                   std::wstring(L"\\"), longName}) {
    refuses(L"<r/>", [&](Document& d) { return d.AddElement(name, L"x"); });
    refuses(L"<r/>", [&](Document& d) { return d.SetTagName(name) || d.SetTagName(L""); });
  }
  for (const wchar_t* const name : {L"", L"a b", L"a\"", L"'", L"<a", L"a=", L"/"})
    refuses(L"<r/>", [&](Document& d) { return d.SetAttribute(1, name, L"x"); });
  for (const wchar_t* const text : {L"", L"x", L"<a>", L"<a/><b/>", L"<a></b></a>", L"<a><"})
    refuses(L"<r/>", [&](Document& d) { return d.AddSubDocument(text); });
  const std::pair<MXmlNodeKind, const wchar_t*> nodes[] = {
      {MXmlNodeKind::kComment, L"a--b"},   {MXmlNodeKind::kComment, L"a-"},
      {MXmlNodeKind::kCData, L"]]>"},      {MXmlNodeKind::kInstruction, L"p ?> q"},
      {MXmlNodeKind::kInstruction, L" p"}, {MXmlNodeKind::kText, L"x"}};
  for (const auto& [kind, text] : nodes)
    refuses(L"<r/>", [&, k = kind, t = text](Document& d) { return d.AddNode(k, t); });
  for (const std::uint32_t none : {0u, 2u}) {
    refuses(L"<r/>", [&](Document& d) {
      return d.SetAttribute(none, L"a", L"x") || d.SetData(none, L"x") ||
             d.SetTagName(none, L"x") || d.RemoveElement(none);
    });
  }
  refuses(L"<r><a><b></a></r>", [](Document& d) {  // which has not ended b
    return d.SetData(3, L"x") || d.SetTagName(3, L"x") || d.RemoveElement(3) ||
           d.SetTagName(2, L"b");
  });
  for (const std::wstring& text : {std::wstring(L"<a//>"), L"<" + longName + L"/>"}) {
    refuses(text, [](Document& d) {
      return d.SetData(1, L"x") || (d.IntoElement() && d.AddElement(L"x"));
    });
  }
  const auto addAttribute = [](Document& d) { return d.SetAttribute(L"c", L"x"); };
  refuses(L"<?p a='1?>", addAttribute);  // it would be a part of the string
  const std::wstring longest =
      L"<a b='" + std::wstring(MXmlElementRecord::kMaxStartTagLength - 8, L'x') + L"'>x</a>";
  refuses(longest, [](Document& d) { return d.SetData(1, {}) || d.SetTagName(1, L"ab"); });
  refuses(longest, addAttribute);
  refuses(L"<r><s/></r>", [](Document& d) {
    d.SetLengthLimit(14);
    return d.SetData(2, L"x") || d.SetTagName(1, L"longer") || d.AddElement(L"a") ||
           d.SetAttribute(1, L"a", L"");
  });
}

TEST(MXmlDocumentEditTest, SetDataWithoutMemoryKeepsTheChildren) {
  const std::wstring data(5000, L'x');
  bool isSet = false;
  for (std::size_t skipped = 0; !isSet; ++skipped) {
    Document document;
    document.SetDocument(L"<r><a>b</a></r>");
    std::size_t left = skipped;
    const auto set = [&] { isSet = document.SetData(1, data); };
    if (!Orvel::Testing::RunsOutOfMemory(left, set)) continue;
    EXPECT_EQ(document.GetData(2), L"b") << skipped;
    EXPECT_EQ(CheckedText(document), L"<r><a>b</a></r>");
  }
}

TEST(MXmlDocumentEditTest, ChildrenAreWalkedAndMayBeRemovedMeanwhile) {
  Document document(Document::kIgnoreCase);
  document.SetDocument(L"<r><a k='1&amp;'>x</a><b/>t<A><a/></A><b/></r>");
  static_assert(std::forward_iterator<MXmlChildren::Iterator>);
  std::wstring found;
  for (const MXmlElement child : document.GetChildren(1, L"a")) {
    found += child.GetTagName() + child.GetData() + child.GetAttribute(L"k").value_or(L"-");
    for (const MXmlElement inner : child.GetChildren()) found += inner.GetSubDocument();
    if (child.GetNumber() == 2) document.RemoveElement(2);
  }
  EXPECT_EQ(found, L"ax1&A-<a/>");
  for (const std::uint32_t none : {0u, 2u, 9u}) {
    EXPECT_EQ(MXmlElement(document, none).GetTagName(), L"");
    EXPECT_TRUE(MXmlElement(document, none).GetChildren().empty()) << none;
  }
  EXPECT_TRUE(document.GetChildren(1, L"a b").empty());
}

}  // namespace
