// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <locale>
#include <optional>
#include <ratio>
#include <string>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/filers/tagged_values.h"
#include "tests/filers/failing_allocation.h"

namespace {

using Reader = MInFilerTaggedXml;
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
  Reader reader(filer.TakeText());
  EXPECT_EQ(ReadTagged<double>(reader, L"Gain", 0.0), 0.5);
  EXPECT_FALSE(filer.WriteInt(L"Late", 3)) << "the document was taken";
  EXPECT_EQ(filer.GetText(), L"");
  std::locale::global(before);
}

TEST(MInFilerTaggedXmlTest, ReadsBothSpellingsOfSpecialFloats) {
  const struct {
    const wchar_t* text;
    double value;
  } cases[] = {
      {L"0.5", 0.5},          {L" \t\n-1.5e+003xyz", -1500.0},
      {L"+.25", 0.25},        {L"1.", 1.0},
      {L"1.#INF", INFINITY},  {L"-1.#INF00", -INFINITY},
      {L"1.#QNAN", NAN},      {L"-1.#IND0", NAN},
      {L"1.#other", 1.0},     {L"2.#INF", 2.0},
      {L"inf", INFINITY},     {L"  -INFINITY", -INFINITY},
      {L"-nan", NAN},         {L"1e999", INFINITY},
      {L"-1e999", -INFINITY}, {L"1e-999", 0.0},
      {L"1e+", 1.0},          {L"1,5", 1.0},
      {L"0x10", 0.0},
  };
  for (const auto& [text, value] : cases) {
    SCOPED_TRACE(text);
    const auto narrow = static_cast<float>(value);
    EXPECT_THAT(ReadAs(&Reader::ReadDouble, L"float", text),
                Optional(testing::NanSensitiveDoubleEq(value)));
    EXPECT_THAT(ReadAs(&Reader::ReadFloat, L"float", text),
                Optional(testing::NanSensitiveFloatEq(narrow)));
  }
  const std::wstring manyZeros = L"0." + std::wstring(400, L'0') + L"1e401";
  EXPECT_EQ(ReadAs(&Reader::ReadDouble, L"float", manyZeros), 1.0);
  for (const wchar_t* const text : {L"", L"-", L".", L"e5"})
    EXPECT_EQ(ReadAs(&Reader::ReadDouble, L"float", text), std::nullopt) << text;
}

TEST(MInFilerTaggedXmlTest, ReadsIntegersAsAStreamDoes) {
  EXPECT_EQ(ReadAs(&Reader::ReadInt, L"int", L"  -12abc"), -12);
  for (const wchar_t* const text : {L"2147483648", L"abc", L""})
    EXPECT_EQ(ReadAs(&Reader::ReadInt, L"int", text), std::nullopt) << text;
  EXPECT_EQ(ReadAs(&Reader::ReadInt, L"uint", L"1"), std::nullopt) << "another type";
  EXPECT_EQ(ReadAs(&Reader::ReadShort, L"int", L"32768"), std::nullopt);
  EXPECT_EQ(ReadAs(&Reader::ReadUnsignedInt, L"uint", L"-1"), 4294967295u) << "modulo 2^32";
  EXPECT_EQ(ReadAs(&Reader::ReadUnsignedInt, L"uint", L"4294967296"), std::nullopt);
  EXPECT_EQ(ReadAs(&Reader::ReadUnsignedShort, L"uint", L"65536"), std::nullopt);
  EXPECT_EQ(ReadAs(&Reader::ReadByte, L"byte", L"257"), 1) << "the low byte of a 16-bit number";
  EXPECT_EQ(ReadAs(&Reader::ReadByte, L"byte", L"32768"), std::nullopt);
  EXPECT_EQ(ReadAs(&Reader::ReadBool, L"bool", L"65536"), true);
  EXPECT_EQ(ReadAs(&Reader::ReadBool, L"bool", L"true"), std::nullopt);
  EXPECT_EQ(ReadAs(&Reader::ReadChar, L"char", L"7"), '7');
  EXPECT_EQ(ReadAs(&Reader::ReadChar, L"char", L"065"), 'A');
  EXPECT_EQ(ReadAs(&Reader::ReadChar, L"char", L"32768"), std::nullopt);
}

TEST(MInFilerTaggedXmlTest, TextsThatAreNotOursAnswerFalse) {
  for (const wchar_t* text :
       {L"", L"<ExceptionChain>", L"<Other><V type=\"int\">1</V></Other>",
        L"<ExceptionChain/><ExceptionChain/>", L"<ExceptionChain></a></ExceptionChain>"}) {
    Reader filer(text);
    std::wstring sub = L"left over";
    EXPECT_EQ(ReadTagged<int>(filer, L"V", 5), 5) << text;
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
  EXPECT_EQ(ReadTagged<std::wstring>(unended, L"V", L"default"), L"default");
  EXPECT_FALSE(unended.ReadSubDocument(L"", sub)) << "no element has the empty tag";
  EXPECT_FALSE(unended.BeginSection(L""));
  EXPECT_FALSE(unended.BeginNextSection(L""));
  const Reader broken(L"<ExceptionChain>\n  <V></W></V>\n</ExceptionChain>");
  EXPECT_EQ(broken.GetErrorText(), L"No start tag for end tag 'W' at offset 22");
  EXPECT_THAT(broken.GetErrorPlace(), Optional(testing::FieldsAre(2u, 6u)));
  EXPECT_FALSE(Reader(L"").GetErrorPlace());
}

TEST(MOutFilerTaggedXmlTest, ASubDocumentOfTooManyLevelsOrWithoutMemoryLeavesNothingBehind) {
  const auto nested = [](std::size_t levels) {
    std::wstring text;
    for (std::size_t i = 0; i < levels; ++i) text += L"<a>";
    for (std::size_t i = 0; i < levels; ++i) text += L"</a>";
    return text;
  };
  MOutFilerTaggedXml filer;
  ASSERT_TRUE(filer.BeginSection(L"S"));
  const std::wstring before = filer.GetText();
  for (const wchar_t* const tag : {L"Sub", L""}) {
    EXPECT_FALSE(filer.WriteSubDocument(tag, nested(65534)));
    EXPECT_EQ(filer.GetText(), before);
  }
  for (const wchar_t* const tag : {L"Sub", L""})
    EXPECT_TRUE(filer.WriteSubDocument(tag, nested(65533)));
  const std::wstring document = nested(20);
  bool isWritten = false;
  for (std::size_t skipped = 0; !isWritten; ++skipped) {
    MOutFilerTaggedXml failing;
    std::size_t left = skipped;
    const auto write = [&] { isWritten = failing.WriteSubDocument(L"", document); };
    if (!Orvel::Testing::RunsOutOfMemory(left, write)) continue;
    EXPECT_TRUE(failing.WriteInt(L"last", 1));
    EXPECT_TRUE(failing.GetText().ends_with(L"</last>\n</ExceptionChain>\n")) << skipped;
  }
}

}  // namespace
