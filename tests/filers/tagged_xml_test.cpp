// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <locale>
#include <new>
#include <optional>
#include <ratio>
#include <string>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/filers/tagged_values.h"
#include "tests/filers/failing_allocation.h"

namespace {

using Reader = MInFilerTaggedXml;
using testing::HasSubstr;
using testing::Optional;

/// What an operation reads from a value of a type; nothing, after a check of the default, when it
/// answers false.
template <class Value>
std::optional<Value> ReadAs(bool (Reader::*read)(const std::wstring&, Value&, Value),
                            const std::wstring& type, const std::wstring& text) {
  Reader filer(L"<ExceptionChain><V type=\"" + type + L"\">" + text + L"</V></ExceptionChain>");
  Value value{};
  if ((filer.*read)(L"V", value, Value{1})) return value;
  EXPECT_EQ(value, Value{1});
  return std::nullopt;
}

TEST(MOutFilerTaggedXmlTest, WritesEveryKindWithItsTypeNameAndTextInAnyLocale) {
  const std::locale before =
      std::locale::global(std::locale(std::locale(), new MLocale::DecimalSeparatorOnly(L',')));
  MOutFilerTaggedXml filer;
  EXPECT_TRUE(filer.WriteDouble(L"Gain", 0.5));
  EXPECT_TRUE(filer.WriteFloat(L"Tenth", 0.1f));
  EXPECT_TRUE(filer.WriteBool(L"Enabled", true));
  EXPECT_TRUE(filer.BeginSection(L"Axes"));
  EXPECT_TRUE(filer.WriteInt(L"Count", -2147483647 - 1));
  EXPECT_TRUE(filer.WriteUnsignedInt(L"All", 4294967295u));
  EXPECT_TRUE(filer.WriteShort(L"Short", -5));
  EXPECT_TRUE(filer.WriteUnsignedShort(L"UShort", 65535));
  EXPECT_TRUE(filer.WriteByte(L"Byte", 255));
  EXPECT_TRUE(filer.WriteChar(L"Char", 'x'));
  EXPECT_TRUE(filer.EndSection());
  EXPECT_TRUE(filer.WriteString(L"Text", L"a<b & \"c\""));
  EXPECT_TRUE(WriteTagged(filer, L"Wait", std::chrono::milliseconds(1500)));
  EXPECT_TRUE(WriteTagged(filer, L"Frames", std::chrono::duration<int, std::ratio<1, 30>>(25)));
  EXPECT_EQ(filer.GetText(),
            L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            L"<ExceptionChain>\n"
            L"<Gain type=\"float\">5.000000000000000e-01</Gain>\n"
            L"<Tenth type=\"float\">1.00000001e-01</Tenth>\n"
            L"<Enabled type=\"bool\">1</Enabled>\n"
            L"<Axes>\n"
            L"<Count type=\"int\">-2147483648</Count>\n"
            L"<All type=\"uint\">4294967295</All>\n"
            L"<Short type=\"int\">-5</Short>\n"
            L"<UShort type=\"uint\">65535</UShort>\n"
            L"<Byte type=\"byte\">255</Byte>\n"
            L"<Char type=\"char\">x</Char>\n"
            L"</Axes>\n"
            L"<Text type=\"string\">a&lt;b &amp; \"c\"</Text>\n"
            L"<Wait type=\"string\">1500 ms</Wait>\n"
            L"<Frames type=\"string\">25 [1/30]s</Frames>\n"
            L"</ExceptionChain>\n");
  double gain = 0.0;
  EXPECT_TRUE(Reader(filer.TakeText()).ReadDouble(L"Gain", gain, 0.0));
  EXPECT_EQ(gain, 0.5);
  std::locale::global(before);
}

TEST(MOutFilerTaggedXmlTest, RefusedWritesLeaveTheDocumentAsItWas) {
  MOutFilerTaggedXml filer;
  ASSERT_TRUE(filer.WriteInt(L"Kept", 1));
  const std::wstring before = filer.GetText();
  for (const wchar_t* tag : {L"a b", L"a<", L"!a"}) {
    EXPECT_FALSE(filer.WriteInt(tag, 2)) << tag;
    EXPECT_FALSE(filer.BeginSection(tag)) << tag;
    EXPECT_FALSE(filer.WriteSubDocument(tag, L"<a/>")) << tag;
  }
  EXPECT_EQ(filer.GetText(), before);
  EXPECT_EQ(filer.TakeText(), before);
  EXPECT_FALSE(filer.WriteInt(L"Late", 3)) << "the document was taken";
  EXPECT_EQ(filer.GetText(), L"");
}

TEST(MInFilerTaggedXmlTest, ReadsBothSpellingsOfSpecialFloats) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    const wchar_t* text;
    double value;
  } cases[] = {
      {L"0.5", 0.5},           {L" \t\n-1.5e+003xyz", -1500.0},
      {L"+.25", 0.25},         {L"1.", 1.0},
      {L"1.#INF", kInfinity},  {L"-1.#INF00", -kInfinity},
      {L"1.#QNAN", kNan},      {L"-1.#IND0", kNan},
      {L"1.#other", 1.0},      {L"2.#INF", 2.0},
      {L"inf", kInfinity},     {L"  -INFINITY", -kInfinity},
      {L"-nan", kNan},         {L"1e999", kInfinity},
      {L"-1e999", -kInfinity}, {L"1e-999", 0.0},
      {L"1e+", 1.0},           {L"1,5", 1.0},
      {L"0x10", 0.0},
  };
  for (const auto& [text, value] : cases) {
    EXPECT_THAT(ReadAs(&Reader::ReadDouble, L"float", text),
                Optional(testing::NanSensitiveDoubleEq(value)))
        << text;
    EXPECT_THAT(ReadAs(&Reader::ReadFloat, L"float", text),
                Optional(testing::NanSensitiveFloatEq(static_cast<float>(value))))
        << text;
  }
  const std::wstring manyZeros = L"0." + std::wstring(400, L'0') + L"1e401";
  EXPECT_EQ(ReadAs(&Reader::ReadDouble, L"float", manyZeros), 1.0);
  for (const wchar_t* const text : {L"", L"-", L".", L"e5"}) {
    EXPECT_EQ(ReadAs(&Reader::ReadDouble, L"float", text), std::nullopt) << text;
    EXPECT_EQ(ReadAs(&Reader::ReadFloat, L"float", text), std::nullopt) << text;
  }
}

TEST(MInFilerTaggedXmlTest, ReadsIntegersAsAStreamDoes) {
  EXPECT_EQ(ReadAs(&Reader::ReadInt, L"int", L"  -12abc"), -12);
  for (const wchar_t* const text : {L"2147483648", L"abc", L""})
    EXPECT_EQ(ReadAs(&Reader::ReadInt, L"int", text), std::nullopt) << text;
  EXPECT_EQ(ReadAs(&Reader::ReadInt, L"uint", L"1"), std::nullopt) << "another type";
  EXPECT_EQ(ReadAs(&Reader::ReadShort, L"int", L"32768"), std::nullopt);
  EXPECT_EQ(ReadAs(&Reader::ReadUnsignedInt, L"uint", L"-1"), 4294967295u)
      << "streams take the value modulo 2^32";
  EXPECT_EQ(ReadAs(&Reader::ReadUnsignedInt, L"uint", L"4294967296"), std::nullopt);
  EXPECT_EQ(ReadAs(&Reader::ReadUnsignedShort, L"uint", L"65536"), std::nullopt);
  EXPECT_EQ(ReadAs(&Reader::ReadByte, L"byte", L"257"), 1) << "the low byte of a 16-bit number";
  EXPECT_EQ(ReadAs(&Reader::ReadByte, L"byte", L"32768"), std::nullopt);
  for (const wchar_t* const text : {L"-3", L"65536"})
    EXPECT_EQ(ReadAs(&Reader::ReadBool, L"bool", text), true) << text;
  EXPECT_EQ(ReadAs(&Reader::ReadBool, L"bool", L"true"), std::nullopt);
  EXPECT_EQ(ReadAs(&Reader::ReadChar, L"char", L"7"), '7');
  EXPECT_EQ(ReadAs(&Reader::ReadChar, L"char", L"065"), 'A');
  EXPECT_EQ(ReadAs(&Reader::ReadChar, L"char", L"32768"), std::nullopt);
  EXPECT_EQ(ReadAs(&Reader::ReadChar, L"char", L""), std::nullopt);
}

TEST(MInFilerTaggedXmlTest, TextsThatAreNotOursAnswerFalse) {
  for (const wchar_t* text :
       {L"", L"<ExceptionChain>", L"<Other><V type=\"int\">1</V></Other>",
        L"<ExceptionChain/><ExceptionChain/>", L"<ExceptionChain></a></ExceptionChain>"}) {
    Reader filer(text);
    std::int32_t value = 0;
    std::wstring sub = L"left over";
    EXPECT_FALSE(filer.ReadInt(L"V", value, 5)) << text;
    EXPECT_EQ(value, 5);
    EXPECT_FALSE(filer.BeginSection(L"V"));
    EXPECT_FALSE(filer.BeginNextSection(L"V"));
    EXPECT_FALSE(filer.EndSection());
    EXPECT_FALSE(filer.ReadSubDocument(L"V", sub));
    EXPECT_EQ(sub, L"");
  }
  Reader unended(L"<ExceptionChain><V type=\"string\">text</ExceptionChain>");
  std::wstring sub;
  EXPECT_TRUE(unended.IsValid());
  EXPECT_FALSE(unended.ReadSubDocument(L"V", sub));
  EXPECT_FALSE(unended.ReadString(L"V", sub, L"default"));
  EXPECT_EQ(sub, L"default");
  const Reader broken(L"<ExceptionChain>\n  <V></W></V>\n</ExceptionChain>");
  EXPECT_EQ(broken.GetErrorText(), L"No start tag for end tag 'W' at offset 22");
  EXPECT_THAT(broken.GetErrorPlace(), Optional(testing::FieldsAre(2u, 6u)));
  EXPECT_FALSE(Reader(L"").GetErrorPlace());
}

TEST(MInFilerTaggedXmlTest, TakesTheTagForWhatItIsBeforeTheRead) {
  Reader filer(
      L"<ExceptionChain><First type=\"string\">1</First><Name type=\"string\">2</Name>"
      L"</ExceptionChain>");
  std::wstring text = L"Name";
  EXPECT_TRUE(filer.ReadString(text, text, L""));
  EXPECT_EQ(text, L"2");
  text = L"Name";
  EXPECT_TRUE(filer.ReadSubDocument(text, text));
  EXPECT_THAT(text, HasSubstr(L"2</Name>"));
  EXPECT_FALSE(filer.ReadString(L"", text, L"none")) << "no element has the empty tag";
  EXPECT_EQ(text, L"none");
  EXPECT_FALSE(filer.ReadSubDocument(L"", text));
  EXPECT_FALSE(filer.BeginSection(L""));
  EXPECT_FALSE(filer.BeginNextSection(L""));
}

TEST(MOutFilerTaggedXmlTest, ASubDocumentOfTooManyLevelsLeavesNothingBehind) {
  const auto nested = [](std::size_t levels) {
    std::wstring text;
    for (std::size_t i = 0; i < levels; ++i) text += L"<a>";
    for (std::size_t i = 0; i < levels; ++i) text += L"</a>";
    return text;
  };
  MOutFilerTaggedXml filer;
  ASSERT_TRUE(filer.BeginSection(L"S"));
  const std::wstring before = filer.GetText();
  EXPECT_FALSE(filer.WriteSubDocument(L"Sub", nested(65534)));
  EXPECT_EQ(filer.GetText(), before);
  EXPECT_TRUE(filer.WriteSubDocument(L"Sub", nested(65533)));
  MOutFilerTaggedXml unnamed;
  EXPECT_TRUE(unnamed.WriteSubDocument(L"", L"<a/>")) << "though no reader can read it back";
  EXPECT_THAT(unnamed.GetText(), HasSubstr(L"<a/>"));
  const std::wstring document = nested(20);
  bool isWritten = false;
  for (std::size_t skipped = 0; !isWritten; ++skipped) {
    MOutFilerTaggedXml failing;
    try {
      std::size_t allocations = skipped;
      const Orvel::Testing::FailingAllocation allocation(allocations);
      isWritten = failing.WriteSubDocument(L"", document);
    } catch (const std::bad_alloc&) {
      EXPECT_TRUE(failing.WriteInt(L"last", 1));
      EXPECT_TRUE(failing.GetText().ends_with(L"</last>\n</ExceptionChain>\n")) << skipped;
    }
  }
}

}  // namespace
