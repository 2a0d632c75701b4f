// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <locale>
#include <string>
#include <string_view>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"

namespace {

std::wstring Document(std::wstring_view content) {
  return L"<ExceptionChain>" + std::wstring(content) + L"</ExceptionChain>";
}

std::wstring Value(std::wstring_view type, std::wstring_view text) {
  return Document(L"<V type=\"" + std::wstring(type) + L"\">" + std::wstring(text) + L"</V>");
}

TEST(MOutFilerTaggedXmlTest, WritesEveryKindWithItsTypeNameAndText) {
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
            L"</ExceptionChain>\n");
}

TEST(MOutFilerTaggedXmlTest, RefusedWritesLeaveTheDocumentAsItWas) {
  MOutFilerTaggedXml filer;
  ASSERT_TRUE(filer.WriteInt(L"Kept", 1));
  const std::wstring before = filer.GetText();
  for (const wchar_t* tag : {L"a b", L"a<", L"a=b", L"a/b", L"a\\b", L"a?", L"!a"}) {
    EXPECT_FALSE(filer.WriteInt(tag, 2)) << tag;
    EXPECT_FALSE(filer.BeginSection(tag)) << tag;
    EXPECT_FALSE(filer.WriteSubDocument(tag, L"<a/>")) << tag;
  }
  for (const wchar_t* text : {L"", L"<a>", L"<a></b></a>", L"<a/><b/>", L"plain"}) {
    EXPECT_FALSE(filer.WriteSubDocument(L"Sub", text)) << text;
  }
  EXPECT_FALSE(filer.EndSection());
  EXPECT_EQ(filer.GetText(), before);
  EXPECT_EQ(filer.TakeText(), before);
  EXPECT_FALSE(filer.WriteInt(L"Late", 3)) << "the document was taken";
  EXPECT_EQ(filer.GetText(), L"");
}

struct FloatCase {
  const wchar_t* text;
  double value;
};

TEST(MInFilerTaggedXmlTest, ReadsBothSpellingsOfSpecialFloats) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr double kDefault = 42.0;
  const FloatCase cases[] = {
      {L"0.5", 0.5},           {L" \t\n-1.5e+003xyz", -1500.0},
      {L"+.25", 0.25},         {L"1.", 1.0},
      {L"1.#INF", kInfinity},  {L"-1.#INF00", -kInfinity},
      {L"1.#QNAN", kNan},      {L"-1.#IND0", kNan},
      {L"1.#SNAN", kNan},      {L"1.#nan", kNan},
      {L"1.#other", 1.0},      {L"2.#INF", 2.0},
      {L"inf", kInfinity},     {L"  -INFINITY", -kInfinity},
      {L"+Inf", kInfinity},    {L"NAN", kNan},
      {L"-nan", kNan},         {L"1e999", kInfinity},
      {L"-1e999", -kInfinity}, {L"1e-999", 0.0},
      {L"0e999", 0.0},         {L"1e", 1.0},
      {L"1e+", 1.0},           {L"", kDefault},
      {L"-", kDefault},        {L".", kDefault},
      {L"e5", kDefault},       {L"1,5", 1.0},
      {L"0x10", 0.0},
  };
  for (const FloatCase& expected : cases) {
    MInFilerTaggedXml filer(Value(L"float", expected.text));
    double value = 0.0;
    const bool isRead = filer.ReadDouble(L"V", value, kDefault);
    EXPECT_EQ(isRead, !(expected.value == kDefault)) << expected.text;
    if (std::isnan(expected.value)) {
      EXPECT_TRUE(std::isnan(value)) << expected.text;
    } else {
      EXPECT_EQ(value, expected.value) << expected.text;
    }
    float narrow = 0.0f;
    EXPECT_EQ(filer.ReadFloat(L"V", narrow, 42.0f), isRead) << expected.text;
  }
  const std::wstring manyZeros = L"0." + std::wstring(400, L'0') + L"1e401";
  double value = 0.0;
  EXPECT_TRUE(MInFilerTaggedXml(Value(L"float", manyZeros)).ReadDouble(L"V", value, 0.0));
  EXPECT_EQ(value, 1.0);
  float narrow = 0.0f;
  EXPECT_TRUE(MInFilerTaggedXml(Value(L"float", L"-1e300")).ReadFloat(L"V", narrow, 0.0f));
  EXPECT_EQ(narrow, -std::numeric_limits<float>::infinity());
}

TEST(MInFilerTaggedXmlTest, ReadsIntegersAsAStreamDoes) {
  const auto read = [](const wchar_t* type, const wchar_t* text, auto operation, auto& value) {
    MInFilerTaggedXml filer(Value(type, text));
    value = 0;
    return (filer.*operation)(L"V", value, 7);
  };
  std::int32_t whole = 0;
  EXPECT_TRUE(read(L"int", L"  -12abc", &MInFilerTaggedXml::ReadInt, whole));
  EXPECT_EQ(whole, -12);
  EXPECT_FALSE(read(L"int", L"2147483648", &MInFilerTaggedXml::ReadInt, whole));
  EXPECT_EQ(whole, 7);
  EXPECT_FALSE(read(L"int", L"abc", &MInFilerTaggedXml::ReadInt, whole));
  EXPECT_FALSE(read(L"int", L"", &MInFilerTaggedXml::ReadInt, whole));
  EXPECT_FALSE(read(L"uint", L"1", &MInFilerTaggedXml::ReadInt, whole)) << "another type";
  EXPECT_EQ(whole, 7);
  std::int16_t small = 0;
  EXPECT_TRUE(read(L"int", L"-32768", &MInFilerTaggedXml::ReadShort, small));
  EXPECT_EQ(small, -32768);
  EXPECT_FALSE(read(L"int", L"32768", &MInFilerTaggedXml::ReadShort, small));
  std::uint32_t natural = 0;
  EXPECT_TRUE(read(L"uint", L"4294967295", &MInFilerTaggedXml::ReadUnsignedInt, natural));
  EXPECT_EQ(natural, 4294967295u);
  EXPECT_TRUE(read(L"uint", L"-1", &MInFilerTaggedXml::ReadUnsignedInt, natural));
  EXPECT_EQ(natural, 4294967295u) << "streams take the value modulo 2^32";
  EXPECT_FALSE(read(L"uint", L"4294967296", &MInFilerTaggedXml::ReadUnsignedInt, natural));
  std::uint16_t half = 0;
  EXPECT_FALSE(read(L"uint", L"65536", &MInFilerTaggedXml::ReadUnsignedShort, half));
  std::uint8_t byte = 0;
  EXPECT_TRUE(read(L"byte", L"257", &MInFilerTaggedXml::ReadByte, byte));
  EXPECT_EQ(byte, 1) << "the low byte of a 16-bit number";
  EXPECT_FALSE(read(L"byte", L"32768", &MInFilerTaggedXml::ReadByte, byte));
  bool flag = false;
  EXPECT_TRUE(MInFilerTaggedXml(Value(L"bool", L"-3")).ReadBool(L"V", flag, false));
  EXPECT_TRUE(flag);
  EXPECT_FALSE(MInFilerTaggedXml(Value(L"bool", L"true")).ReadBool(L"V", flag, true));
  EXPECT_TRUE(flag);
  char character = 0;
  EXPECT_TRUE(MInFilerTaggedXml(Value(L"char", L"7")).ReadChar(L"V", character, 'd'));
  EXPECT_EQ(character, '7');
  EXPECT_TRUE(MInFilerTaggedXml(Value(L"char", L"065")).ReadChar(L"V", character, 'd'));
  EXPECT_EQ(character, 'A');
  EXPECT_FALSE(MInFilerTaggedXml(Value(L"char", L"")).ReadChar(L"V", character, 'd'));
  EXPECT_EQ(character, 'd');
}

TEST(MInFilerTaggedXmlTest, EveryCharacterAndStringComesBackUnchanged) {
  MOutFilerTaggedXml out;
  for (int code = 1; code < 256; ++code) {
    ASSERT_TRUE(out.WriteChar(L"C" + std::to_wstring(code), static_cast<char>(code)));
  }
  const std::wstring strings[] = {
      L"",
      L"  leading and trailing  ",
      L"line\nline\r\nline\rtab\t",
      L"<a b=\"c\">&amp;&#65;</a>",
      L"]]> <![CDATA[ -->",
      L"\xD83D\xDE00 and \x20AC",
      std::wstring(100000, L'&'),
  };
  int number = 0;
  for (const std::wstring& text : strings) {
    ASSERT_TRUE(out.WriteString(L"S" + std::to_wstring(number++), text));
  }
  MInFilerTaggedXml in(out.TakeText());
  ASSERT_TRUE(in.IsValid()) << in.GetErrorText();
  for (int code = 255; code > 0; --code) {
    char character = 0;
    EXPECT_TRUE(in.ReadChar(L"C" + std::to_wstring(code), character, 0)) << code;
    EXPECT_EQ(character, static_cast<char>(code));
  }
  number = 0;
  for (const std::wstring& text : strings) {
    std::wstring value;
    EXPECT_TRUE(in.ReadString(L"S" + std::to_wstring(number++), value, L"default"));
    EXPECT_EQ(value, text);
  }
}

TEST(MInFilerTaggedXmlTest, TextsThatAreNotOursAnswerFalse) {
  for (const wchar_t* text :
       {L"", L"<ExceptionChain>", L"<Other><V type=\"int\">1</V></Other>",
        L"<ExceptionChain/><ExceptionChain/>", L"<ExceptionChain></a></ExceptionChain>"}) {
    MInFilerTaggedXml filer(text);
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
  const MInFilerTaggedXml broken(L"<ExceptionChain>\n  <V></W></V>\n</ExceptionChain>");
  EXPECT_EQ(broken.GetErrorText(), L"No start tag for end tag 'W' at offset 22");
  EXPECT_EQ(broken.GetErrorPlace().line, 2u);
  EXPECT_EQ(broken.GetErrorPlace().column, 6u);
}

TEST(MInFilerTaggedXmlTest, FindsTheFirstOfANameInAnyOrderAndKeepsItsPlace) {
  MInFilerTaggedXml filer(
      Document(L"<V type=\"int\">1</V><S><V type=\"int\">10</V></S><V type=\"int\">2</V>"
               L"<S><V type=\"int\">20</V></S><Empty/>"));
  std::int32_t value = 0;
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(filer.ReadInt(L"V", value, 0));
    EXPECT_EQ(value, 1);
  }
  ASSERT_TRUE(filer.BeginSection(L"Empty"));
  EXPECT_FALSE(filer.ReadInt(L"V", value, 0));
  ASSERT_TRUE(filer.EndSection());
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(filer.BeginSection(L"S"));
    EXPECT_TRUE(filer.ReadInt(L"V", value, 0));
    EXPECT_EQ(value, 10);
    EXPECT_TRUE(filer.EndSection());
  }
  // A read in between does not change which section is next.
  EXPECT_TRUE(filer.ReadInt(L"V", value, 0));
  ASSERT_TRUE(filer.BeginNextSection(L"S"));
  EXPECT_TRUE(filer.ReadInt(L"V", value, 0));
  EXPECT_EQ(value, 20);
  EXPECT_TRUE(filer.EndSection());
  EXPECT_FALSE(filer.BeginNextSection(L"S"));
  EXPECT_FALSE(filer.EndSection());
}

TEST(MInFilerTaggedXmlTest, SubDocumentsTravelBetweenFilers) {
  MOutFilerTaggedXml inner;
  ASSERT_TRUE(inner.WriteString(L"Text", L"<&>"));
  MOutFilerTaggedXml outer;
  ASSERT_TRUE(outer.WriteSubDocument(L"Sub", inner.TakeText()));
  ASSERT_TRUE(outer.WriteInt(L"After", 1));

  MInFilerTaggedXml reader(outer.TakeText());
  std::wstring sub;
  ASSERT_TRUE(reader.ReadSubDocument(L"Sub", sub));
  EXPECT_EQ(sub.rfind(L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<MFilerTaggedXml>", 0), 0u)
      << sub;
  MXmlDocument document;
  ASSERT_TRUE(document.SetDocument(sub)) << document.GetErrorText();
  for (const wchar_t* tag : {L"MFilerTaggedXml", L"Sub", L"ExceptionChain"}) {
    ASSERT_TRUE(document.FindElement(tag)) << tag;
    ASSERT_TRUE(document.IntoElement());
  }
  ASSERT_TRUE(document.FindElement(L"Text"));
  EXPECT_EQ(document.GetData(document.GetElement()), L"<&>");
  std::int32_t after = 0;
  EXPECT_TRUE(reader.ReadInt(L"After", after, 0));
  EXPECT_FALSE(reader.ReadSubDocument(L"None", sub));
  EXPECT_EQ(sub, L"");
}

TEST(MInFilerTaggedXmlTest, DoublesKeepTheDigitsOfTheFormatInEveryLocale) {
  std::uint64_t bits = 0x9E3779B97F4A7C15u;
  const std::locale before =
      std::locale::global(std::locale(std::locale(), new MLocale::DecimalSeparatorOnly(L',')));
  for (int round = 0; round < 2000; ++round) {
    bits = bits * 6364136223846793005u + 1442695040888963407u;
    double value = 0.0;
    static_assert(sizeof value == sizeof bits);
    std::memcpy(&value, &bits, sizeof value);
    MOutFilerTaggedXml out;
    ASSERT_TRUE(out.WriteDouble(L"V", value));
    double back = 0.0;
    ASSERT_TRUE(MInFilerTaggedXml(out.TakeText()).ReadDouble(L"V", back, 0.0));
    if (std::isnan(value)) {
      EXPECT_TRUE(std::isnan(back));
    } else {
      // Sixteen significant digits: at most half a unit of the last one.
      EXPECT_LE(std::fabs(back - value), std::fabs(value) * 5e-16) << value;
    }
  }
  std::locale::global(before);
}

TEST(TaggedXmlFileTest, FilesAreUtf8AndReplacedWhole) {
  const std::wstring path = L"tagged_xml_test_\x20AC.xml";
  for (const std::int32_t expected : {1, 2}) {
    MOutFilerTaggedXml out;
    ASSERT_TRUE(out.WriteString(L"Text", L"\x20AC \xD83D\xDE00"));
    ASSERT_TRUE(out.WriteInt(L"V", expected));
    ASSERT_TRUE(out.SaveFile(path));
    const auto in = MInFilerTaggedXml::FromFile(path);
    ASSERT_TRUE(in->IsValid()) << in->GetErrorText();
    std::int32_t value = 0;
    EXPECT_TRUE(in->ReadInt(L"V", value, 0));
    EXPECT_EQ(value, expected);
    std::wstring text;
    EXPECT_TRUE(in->ReadString(L"Text", text, {}));
    EXPECT_EQ(text, L"\x20AC \xD83D\xDE00");
  }
  MOutFilerTaggedXml unpaired;
  ASSERT_TRUE(unpaired.WriteString(L"Text", L"\xD83D"));
  EXPECT_FALSE(unpaired.SaveFile(path));
  std::int32_t value = 0;
  EXPECT_TRUE(MInFilerTaggedXml::FromFile(path)->ReadInt(L"V", value, 0));
  EXPECT_EQ(value, 2) << "a failed save leaves the old file";
  EXPECT_EQ(_wremove(path.c_str()), 0);
  EXPECT_FALSE(MInFilerTaggedXml::FromFile(path)->IsValid());
}

}  // namespace
