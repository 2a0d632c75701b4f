// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/document/xml_document.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "orvel/filers/xml/store/xml_name_hash.h"
#include "tests/filers/failing_allocation.h"
#include "tests/filers/xml_checks.h"

using Document = MXmlDocument;
using Orvel::Testing::ParseAndRead;
using testing::ElementsAre;
using testing::FieldsAre;

namespace {

std::wstring Repeat(std::wstring_view piece, std::size_t count) {
  std::wstring text;
  text.reserve(piece.size() * count);
  for (std::size_t i = 0; i < count; ++i) text += piece;
  return text;
}

std::wstring ErrorOf(const std::wstring& text) {
  EXPECT_NO_THROW(ParseAndRead(text, false));
  MXmlDocument document;
  document.SetDocument(text);
  return document.GetErrorText();
}

TEST(MXmlDocumentTest, ReturnsTheFirstErrorWithItsOffset) {
  const struct {
    const wchar_t* text;
    const wchar_t* error;
  } cases[] = {
      {L"", L"Empty document"},
      {L"text <!-- only -->", L"No root element"},
      {L"<a/><b/>", L"Root element has sibling"},
      {L"<a>< b></a>", L"Incorrect tag name character at offset 3"},
      {L"<a><!x></a>", L"Incorrect ! tag at offset 3"},
      {L"<a><!-x></a>", L"Incorrect comment tag at offset 3"},
      {L"<a></b></a>", L"No start tag for end tag 'b' at offset 3"},
      {L"<a> <b>", L"Element 'b' at offset 4 not ended"},
      {L"<a><", L"tag at offset 3 unterminated"},
      {L"<a><!--->", L"Comment at offset 3 unterminated"},
      {L"<a><![CDATA[]]", L"CDATA Section at offset 3 unterminated"},
      {L"<a><?>", L"Processing instruction at offset 3 unterminated"},
      {L"<a><!DOCTYPE a [<!ENTITY b>]", L"Doctype at offset 3 unterminated"},
      {L"<a><b c='>", L"Element tag at offset 3 unterminated"},
      {L"<a></a", L"Element end tag at offset 3 unterminated"},
      {L"<a> <b><c>text</a>", L"End tag 'a' at offset 14 does not match start tag 'c' at offset 7"},
      {L"<?xml version='1.0'?>\n<!DOCTYPE a [<!ELEMENT a (#PCDATA)> ]>\n<a></a>\n", L""},
      {L"<a b='>' c=\"/>'\" ></a >", L""},
      {L"<a><!-- <b> --><![CDATA[</a>]]]><?p <c> ?></a>", L""},
      {L"<\u00e4:\u4e2d.-_1/>", L""},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(ErrorOf(text), error);
  EXPECT_EQ(ErrorOf(L"<r>" + Repeat(L"<a/>", 150000) + L"</r>"), L"") << "pages of records";
  EXPECT_TRUE(MXmlDocument().SetDocument(L"<a><b></a>")) << "well-formed all the same";
}

TEST(MXmlDocumentTest, ErrorsArePlacedAndFollowOlderOnes) {
  MXmlDocument document;
  document.SetDocument(L"<a>\n\r\n\r  </b>\n</a>");
  const MXmlLineAndColumn place = document.GetLineAndColumn(document.GetErrorOffset());
  EXPECT_EQ(place.line, 4U);
  EXPECT_EQ(place.column, 3U);
  EXPECT_EQ(document.GetLineAndColumn(1000).line, 5U);
  document.SetDocument(L"<a>");
  EXPECT_TRUE(document.SetDocument(L"<a/>"));
  EXPECT_EQ(document.GetErrorText(),
            L"No start tag for end tag 'b' at offset 9, Element 'a' at offset 0 not ended");
  document.ClearErrorText();
  document.SetDocument(L"");
  EXPECT_EQ(document.GetErrorText(), L"Empty document");
}

TEST(MXmlDocumentTest, AgreesWithAPlainParserOnRandomMarkup) {
  constexpr const wchar_t* kPieces[] = {L"<a>", L"</a>", L"<b>", L"</b>", L"<c/>",   L"</c>",
                                        L"<A>", L"</A>", L"<",   L"x",    L"</d>",   L"<a[b>",
                                        L"<",   L">",    L"\"",  L"<!",   L"</a[b>", L"<b[a[>"};
  std::mt19937 random(20240607);
  for (int round = 0; round < 4000; ++round) {
    std::wstring text = L"<a>";
    const std::size_t count = random() % 60;
    const std::size_t pieces = round % 2 == 0 ? std::size(kPieces) : 6;
    for (std::size_t i = 0; i < count; ++i) text += kPieces[random() % pieces];
    const bool ignoreCase = random() % 2 == 0;
    ASSERT_NO_THROW(ParseAndRead(text, ignoreCase)) << round;
  }
}

TEST(MXmlDocumentTest, LimitsAreErrors) {
  const std::wstring longName = Repeat(L"n", 1020);
  EXPECT_EQ(ErrorOf(L"<" + longName + L"></" + longName + L">"), L"");
  for (const std::wstring& tooLong : {L"</r" + Repeat(L" ", 1020) + L">", L"</n" + longName + L">"})
    EXPECT_EQ(ErrorOf(L"<n" + longName + L">" + tooLong),
              L"Element end tag at offset 1023 too long");
  constexpr std::size_t kLongest = MXmlElementRecord::kMaxStartTagLength;
  EXPECT_EQ(ErrorOf(L"<r a='" + Repeat(L" ", kLongest - 9) + L"'/>"), L"");
  EXPECT_EQ(ErrorOf(L"<r><s a='" + Repeat(L" ", kLongest - 8) + L"'/></r>"),
            L"Element tag at offset 3 too long");
  EXPECT_EQ(ErrorOf(Repeat(L"<a>", 65536) + Repeat(L"</a>", 65536)), L"");
  EXPECT_EQ(ErrorOf(Repeat(L"<a>", 65537) + Repeat(L"</a>", 65537)),
            L"Nesting at offset 196608 too deep");
  MXmlDocument document;
  document.SetDocument(Repeat(L"<a>", 65536) + Repeat(L"</a>", 65536));
  while (document.FindElement(L"")) document.IntoElement();
  EXPECT_FALSE(document.AddElement(L"a"));
  document.SetLengthLimit(4);
  EXPECT_TRUE(document.SetDocument(L"<a/>"));
  EXPECT_FALSE(document.SetDocument(L"<ab/>"));
  EXPECT_EQ(document.GetErrorText(), L"Document too long");
}

TEST(MXmlDocumentTest, WalksNodesOfEveryKind) {
  MXmlDocument document;
  document.SetDocument(
      L"<?xml version='1.0'?><!DOCTYPE r[<!ENTITY e 'x'>]><r> <!--c-->t&lt;<a/></z><![CDATA[d]]>"
      L"</r>");
  EXPECT_EQ(document.GetNodeName(), L"") << "nothing was found yet";
  std::wstring nodes;
  do {
    while (document.FindNode(static_cast<MXmlNodeKind>(0xFF)))
      nodes += std::to_wstring(static_cast<int>(document.GetPosition().kind)) + L' ' +
               document.GetNodeName() + L'\n';
  } while (document.IntoElement());
  EXPECT_EQ(nodes,
            L"16 xml\n64 r\n1 r\n4 #text\n32 #comment\n2 #text\n1 a\n128 z\n8 #cdata-section\n");
  EXPECT_EQ(document.GetNodeText(), L"<![CDATA[d]]>");
}

TEST(MXmlDocumentTest, PositionMovesAndComesBack) {
  MXmlDocument document;
  const auto currentTag = [&document] { return document.GetTagName(document.GetElement()); };
  document.SetDocument(L"<r><a/><b><c/></b><a/></r>");
  EXPECT_FALSE(document.IntoElement());
  EXPECT_FALSE(document.OutOfElement());
  EXPECT_FALSE(document.RestorePosition(L""));
  ASSERT_TRUE(document.FindElement(L""));
  ASSERT_TRUE(document.IntoElement());
  ASSERT_TRUE(document.FindElement(L"b"));
  document.SavePosition(L"");
  ASSERT_TRUE(document.IntoElement());
  ASSERT_TRUE(document.FindElement(L"c"));
  EXPECT_FALSE(document.FindElement(L"c")) << "there is no other";
  EXPECT_EQ(currentTag(), L"c") << "and it stayed where it was";
  ASSERT_TRUE(document.OutOfElement());
  EXPECT_EQ(currentTag(), L"b");
  EXPECT_EQ(document.GetTagName(document.GetPosition().child), L"c");
  EXPECT_TRUE(document.RemoveElement(document.GetPosition().child));
  EXPECT_EQ(document.GetPosition().child, 0u);
  ASSERT_TRUE(document.FindElement(L"a"));
  ASSERT_TRUE(document.RestorePosition(L""));
  EXPECT_EQ(currentTag(), L"b");
  document.SetDocument(L"<r/>");
  EXPECT_FALSE(document.RestorePosition(L"")) << "positions end with their document";
}

TEST(MXmlDocumentTest, FirstElementOfATagIsFoundHoweverOften) {
  std::wstring level;
  for (int i = 0; i < 300; ++i) {
    const std::wstring tag = L"t" + std::to_wstring(i) + L">";
    level += L"<" + tag + L"1</" + tag + L"<" + tag + L"2</" + tag;
  }
  MXmlDocument document;
  ASSERT_TRUE(document.SetDocument(L"<r>" + level + L"<s>" + level + L"</s></r>"));
  const std::uint32_t inner = document.FindFirstChild(1, L"s");
  for (int i = 299; i >= 0; --i) {  // at two levels by turns
    const std::wstring tag = L"t" + std::to_wstring(i);
    const std::uint32_t first = document.FindFirstChild(1, tag);
    ASSERT_EQ(document.GetTagName(first) + document.GetData(first), tag + L"1");
    ASSERT_EQ(document.FindFirstChild(inner, tag), inner + first - 1);
  }
  ASSERT_TRUE(document.FindElement(L"r"));
  ASSERT_TRUE(document.IntoElement());
  for (const wchar_t* const none : {L"t", L"T7", L"t0>1", L"t0 "}) {
    EXPECT_FALSE(document.FindFirstElement(none)) << "though the text may go on like that";
    EXPECT_FALSE(document.FindElement(none));
  }
  document.SetFlags(MXmlDocument::kIgnoreCase);
  EXPECT_TRUE(document.FindFirstElement(L"T200"));
  EXPECT_TRUE(document.FindFirstElement(L"T7"));
  EXPECT_TRUE(document.FindElement(L"T8"));
  // The table follows what is added, in front too, and what is removed; it has no room for so many.
  ASSERT_TRUE(document.FindFirstElement(L"t0") && document.AddElement(L"t299", L"first"));
  EXPECT_EQ(document.GetData(document.FindFirstChild(1, L"t299")), L"first");
  EXPECT_TRUE(document.RemoveElement(document.FindFirstChild(1, L"t5")));
  EXPECT_EQ(document.GetData(document.FindFirstChild(1, L"t5")), L"2");
  EXPECT_TRUE(document.RemoveElement(document.FindFirstChild(1, L"t5")));
  EXPECT_EQ(document.FindFirstChild(1, L"t5"), 0u);
  for (int i = 0; i < 600; ++i) ASSERT_TRUE(document.AddElement(L"n" + std::to_wstring(i)));
  EXPECT_TRUE(document.FindFirstElement(L"n599"));
  EXPECT_TRUE(document.FindFirstElement(L"n0"));
}

TEST(MXmlDocumentTest, ADocumentThatWasParsedIsReadByThreadsTogether) {
  MXmlDocument document;
  ASSERT_TRUE(document.SetDocument(L"<r><a b='1'>2</a></r>"));
  const auto read = [&shared = std::as_const(document)] {
    EXPECT_EQ(shared.GetRecord(0).length, 21u);
    EXPECT_EQ(shared.GetDocumentText().size(), 21u);
    EXPECT_EQ(shared.GetData(2), L"2");
    EXPECT_EQ(shared.GetSubDocument(2), L"<a b='1'>2</a>");
  };
  const std::jthread other(read);
  read();
}

TEST(XmlNameHashTest, NamesAreSpreadWhateverTheSeed) {
  using Orvel::Detail::HashXmlName;
  // With one multiplication a step, a chunk could take back the highest bit of the one before.
  constexpr std::wstring_view kTurned = L"aaa\u8061a\u8061a\u8061";
  for (std::uint64_t number = 0; number < 300; ++number) {
    const auto seed = Orvel::Detail::MakeXmlHashSeed(number);
    EXPECT_NE(HashXmlName(L"aaaaaaaa", false, seed), HashXmlName(kTurned, false, seed));
    for (const bool ignoreCase : {false, true}) {
      std::bitset<65536> slots;
      std::wstring name = L"name ";
      for (name.back() = 0x4E00; name.back() < 0x5E00; ++name.back())
        slots.set(static_cast<std::size_t>(HashXmlName(name, ignoreCase, seed) % slots.size()));
      EXPECT_GT(slots.count(), 3900u) << "some 3970 of 4096 when they fall at random";
    }
  }
}

TEST(MXmlDocumentTest, DataJoinsTextAndResolvesReferences) {
  MXmlDocument document;
  document.SetDocument(
      L"<r> a&lt;<b>not</b>&amp;lt;<![CDATA[&lt;]]>\r\n<!-- no --><?no?>&#65;&#x1F600;"
      L"&unknown;&#0;&#xD800;&#x110000;&#4294967361;&</r>");
  const std::wstring smile = L"\U0001F600";
  EXPECT_EQ(document.GetData(1),
            L" a<&lt;&lt;\r\nA" + smile + L"&unknown;&#0;&#xD800;&#x110000;&#4294967361;&");
  EXPECT_EQ(document.GetData(0), L"");
  EXPECT_EQ(document.GetData(99), L"");
}

TEST(MXmlDocumentTest, ReadsAttributesHoweverTheyAreWritten) {
  MXmlDocument document;
  document.SetDocument(L"<r a='&quot;1>' b = \"2'\" 'stray x=9' c=3/4 d e=/><s a=\"1\" a=\"2\"/>");
  EXPECT_THAT(document.GetAttributes(1),
              ElementsAre(FieldsAre(L"a", L"\"1>"), FieldsAre(L"b", L"2'"), FieldsAre(L"c", L"3/4"),
                          FieldsAre(L"d", L""), FieldsAre(L"e", L"")));
  std::wstring value = L"kept";
  EXPECT_FALSE(document.GetAttribute(1, L"x", value));
  EXPECT_EQ(value, L"kept");
  EXPECT_TRUE(document.GetAttribute(2, L"a", value));
  EXPECT_EQ(value, L"1");
  document.SetDocument(L"<?p a='12?>");
  ASSERT_TRUE(document.FindNode(MXmlNodeKind::kInstruction));
  EXPECT_TRUE(document.GetAttribute(L"a", value));
  EXPECT_EQ(value, L"12") << "a string without end";
}

TEST(MXmlDocumentTest, TextIsTakenOverAndHandedOutWithoutACopy) {
  std::wstring text = L"<r>" + Repeat(L"x", 100) + L"</r>";
  const wchar_t* const place = text.data();
  MXmlDocument document;
  document.SetDocument(std::move(text));
  EXPECT_EQ(document.TakeDocumentText().data(), place);
  EXPECT_FALSE(document.IsWellFormed());
  EXPECT_EQ(document.GetDocumentText(), L"");
}

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
