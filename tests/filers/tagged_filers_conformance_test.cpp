// SPDX-License-Identifier: MIT
// What writers and readers of tagged values have in common, whatever they write into; where they
// differ is listed in docs/tagged_filers.md and tested here as well.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <limits>
#include <locale>
#include <memory>
#include <optional>
#include <ratio>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/filers/tagged_section.h"
#include "orvel/filers/tagged_values.h"
#include "tests/filers/failing_allocation.h"
#include "tests/support/misuse_recorder.h"
#if defined(_WIN32)
#include "orvel/filers/in_filer_tagged_registry.h"
#include "orvel/filers/out_filer_tagged_registry.h"
#include "tests/support/registry_sandbox.h"
#endif

namespace {

using In = IInFilerTagged;
using Out = IOutFilerTagged;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

struct XmlStore {
  static constexpr bool kIsRegistry = false;
  MOutFilerTaggedXml out;
  /// A reader of what was written so far.
  std::unique_ptr<In> Read() { return std::make_unique<MInFilerTaggedXml>(out.GetText()); }
};

#if defined(_WIN32)
struct RegistryStore {
  static constexpr bool kIsRegistry = true;
  Orvel::Testing::RegistrySandbox sandbox;
  IOutFilerTaggedRegistry out{MRegistryRoot::kCurrentUser, sandbox.GetApplicationKey()};
  std::unique_ptr<In> Read() {
    return std::make_unique<IInFilerTaggedRegistry>(MRegistryRoot::kCurrentUser,
                                                    sandbox.GetApplicationKey());
  }
};
using Stores = testing::Types<XmlStore, RegistryStore>;
#else
using Stores = testing::Types<XmlStore>;
#endif

template <class Store>
class TaggedFilersTest : public testing::Test {
 protected:
  Store store_;
  Out& out_ = store_.out;
};

TYPED_TEST_SUITE(TaggedFilersTest, Stores);

TYPED_TEST(TaggedFilersTest, SectionsNestAndKeepTheirValuesApart) {
  constexpr bool kIsRegistry = TypeParam::kIsRegistry;
  EXPECT_FALSE(this->out_.EndSection());
  EXPECT_TRUE(this->out_.WriteInt(L"v", 0));
  for (const int level : {1, 2}) {
    EXPECT_TRUE(this->out_.BeginSection(L"A"));
    EXPECT_TRUE(this->out_.WriteInt(L"v", level));
  }
  EXPECT_TRUE(this->out_.EndSection());
  EXPECT_TRUE(this->out_.WriteInt(L"after", 3));
  EXPECT_TRUE(this->out_.EndSection());
  EXPECT_FALSE(this->out_.EndSection());
  for (const int last : {5, 6}) EXPECT_TRUE(this->out_.WriteInt(L"last", last));

  const auto in = this->store_.Read();
  const auto read = [&](const wchar_t* tag) { return ReadTagged<int>(*in, tag, -1); };
  std::uint32_t stamp = 77;
  EXPECT_EQ(in->ReadChangeStamp(stamp), kIsRegistry);
  EXPECT_EQ(stamp, kIsRegistry ? 0u : 77u);
  EXPECT_FALSE(in->EndSection());
  EXPECT_EQ(read(L"last"), kIsRegistry ? 6 : 5) << "written over, or behind the first";
  EXPECT_EQ(read(L"V"), kIsRegistry ? 0 : -1) << "the case does not matter, or does";
  for (int visit = 0; visit < 2; ++visit) {
    for (const int level : {1, 2}) {
      EXPECT_TRUE(in->BeginSection(L"A"));
      EXPECT_EQ(read(L"v"), level);
      EXPECT_EQ(read(L"last"), -1);
    }
    EXPECT_EQ(read(L"after"), -1);
    EXPECT_TRUE(in->EndSection());
    EXPECT_EQ(read(L"after"), 3);
    EXPECT_TRUE(in->EndSection());
    EXPECT_EQ(read(L"v"), 0);
  }
  EXPECT_FALSE(in->BeginNextSection(L"Missing"));
  // The registry finds out only when something is read.
  EXPECT_EQ(in->BeginSection(L"Missing"), kIsRegistry);
  EXPECT_EQ(read(L"v"), kIsRegistry ? -1 : 0);
  EXPECT_EQ(in->EndSection(), kIsRegistry);
}

TYPED_TEST(TaggedFilersTest, WalkingSectionsOfATagEndsAndSectionObjectsCloseThem) {
  constexpr bool kIsRegistry = TypeParam::kIsRegistry;
  for (int number = 0; number < 3; ++number) {
    const MTaggedSection item(this->out_, L"Item");
    const MTaggedSection inner(this->out_, L"Inner");
    ASSERT_TRUE(inner);
    EXPECT_TRUE(WriteTagged(this->out_, L"Number", number));
  }
  MTaggedSection closed(this->out_, L"Last");
  EXPECT_TRUE(closed);
  EXPECT_TRUE(closed.Close());
  EXPECT_FALSE(closed);
  EXPECT_FALSE(closed.Close());
  EXPECT_FALSE(this->out_.EndSection());
  EXPECT_EQ(static_cast<bool>(MTaggedSection(this->out_, L"a<")), kIsRegistry);
  EXPECT_TRUE(this->out_.WriteInt(L"behind", 8));

  const auto in = this->store_.Read();
  const auto readNumber = [&in] {
    const MTaggedSection inner(*in, L"Inner");
    return ReadTagged<int>(*in, L"Number", -1);
  };
  std::vector<int> numbers;
  for (bool isMore = true; isMore && numbers.size() < 9;) {
    // A read in between does not change which section is next.
    EXPECT_EQ(ReadTagged<int>(*in, L"behind", -1), 8);
    const auto item = MTaggedSection::Next(*in, L"Item");
    isMore = static_cast<bool>(item);
    if (isMore) numbers.push_back(readNumber());
    EXPECT_FALSE(isMore && in->BeginNextSection(L"Item")) << "another level";
  }
  EXPECT_FALSE(in->EndSection());
  // Sections that repeat are several in XML, and one key, written over, in the registry.
  EXPECT_EQ(numbers, kIsRegistry ? std::vector{2} : std::vector({0, 1, 2}));
  EXPECT_TRUE(in->BeginSection(L"Item")) << "the first one again";
  EXPECT_EQ(readNumber(), numbers.front());
  EXPECT_TRUE(in->EndSection());
  EXPECT_EQ(in->BeginNextSection(L"Item"), !kIsRegistry) << "goes on behind it";
  EXPECT_EQ(readNumber(), kIsRegistry ? -1 : 1);
  EXPECT_EQ(in->EndSection(), !kIsRegistry);
}

TYPED_TEST(TaggedFilersTest, ASectionLeftOpenIsReportedUnlessItsUserIsOnTheWayOut) {
  Orvel::Testing::MisuseRecorder recorder;
  const std::size_t once = Orvel::Detail::ReportsMisuse() ? 1 : 0;
  const auto reports = [&](const auto& use) {
    try {
      TypeParam store;
      EXPECT_FALSE(store.out.WriteSubDocument(L"before", L"<broken>"));
      EXPECT_TRUE(store.out.BeginSection(L"A"));
      EXPECT_TRUE(store.out.WriteInt(L"v", 1));
      use(store);
    } catch (int) {
    }
    return recorder.Take().size();
  };
  EXPECT_EQ(reports([](auto&) {}), once);
  EXPECT_EQ(reports([](auto& store) { store.out.EndSection(); }), 0u);
  EXPECT_EQ(reports([](auto& store) { store.out.WriteSubDocument(L"s", L"<broken>"); }), 0u);
  EXPECT_EQ(reports([](auto&) { throw 1; }), 0u);
  for (const auto& [tag, reported] : {std::pair(L"v", once), std::pair(L"no", std::size_t{0})}) {
    EXPECT_EQ(reports([tag = tag](auto& store) {
                store.out.EndSection();
                const auto in = store.Read();
                EXPECT_TRUE(in->BeginSection(L"A"));
                (void)ReadTagged<int>(*in, tag, 0);
              }),
              reported);
  }
  if constexpr (!TypeParam::kIsRegistry) {
    const auto takeText = [](auto& store) {
      EXPECT_NE(store.out.TakeText(), L"");
      EXPECT_FALSE(store.out.EndSection());
    };
    EXPECT_EQ(reports(takeText), 0u) << "ended, although the text was taken";
  }
}

enum class Small : std::int8_t { kLow = -128, kHigh = 127 };
enum class Wide : std::uint64_t { kAll = 0xFFFFFFFFFFFFFFFF };
enum class Letter : char { kNone = 0 };
enum Flag : bool { kOff, kOn };

TYPED_TEST(TaggedFilersTest, ValuesComeBackExactly) {
  using namespace std::chrono;
  using Frames = duration<int, std::ratio<2, 60>>;
  const std::wstring tag(300, L't');
  int count = 0;
  const auto comeBack = [&](const auto&... values) {
    const auto comesBack = [&](const auto& value) {
      const std::wstring numbered = tag + std::to_wstring(++count);
      std::decay_t<decltype(value)> read{};
      EXPECT_TRUE(WriteTagged(this->out_, numbered, value)) << count;
      EXPECT_TRUE(ReadTagged(*this->store_.Read(), numbered, read, {})) << count;
      EXPECT_TRUE(read == value) << count;
    };
    (comesBack(values), ...);
  };
  comeBack('\1', '\t', ' ', '5', 'x', '\x7F', '\x80', '\xFF');
  // As many digits as the registry gets; how many each store gets is tested where its form is.
  comeBack(0.0, 0.1, -2.5e-300, 1.23456789012345e308, -kInfinity, 0.1f, -1.23456e-30f, 3.4e38f);
  comeBack(false, true, std::uint8_t{255}, std::int8_t{-128}, std::uint16_t{65535},
           std::int16_t{-32768}, 4294967295u, -2147483647 - 1, 4294967295ul, -2147483647l - 1);
  comeBack((std::numeric_limits<long long>::min)(), (std::numeric_limits<long long>::max)(),
           (std::numeric_limits<unsigned long long>::max)(), Small::kLow, Small::kHigh, Wide::kAll,
           Letter::kNone, kOn);
  comeBack(std::wstring(), std::wstring(L"  blanks \t around  "),
           std::wstring(L"<a href=\"x\">'&amp;'&#65;</a> ]]> <![CDATA[ --> \\ / %PATH%"),
           std::wstring(L"line\nline\r\nline\r\u00E4\u4E2D\xD83D\xDE00"),
           std::wstring(100'000, L'&'));
  comeBack(std::filesystem::path(L"C:\\a b\\c"), std::filesystem::path());
  comeBack((nanoseconds::max)(), (nanoseconds::min)(), microseconds(-1), 1500ms, 2s, 3min, 4h,
           days(5), Frames(7), duration<std::uint8_t>(255), years(2000));
  comeBack(std::vector<std::byte>{}, std::vector<std::byte>{std::byte{0}, std::byte{0xFA}});
  EXPECT_FALSE(WriteTagged(this->out_, L"v", duration<std::uint64_t>(1ull << 63)));
  static_assert(
      !Orvel::Detail::TaggedWritable<const char*> && !Orvel::Detail::TaggedWritable<const void*> &&
      !Orvel::Detail::TaggedWritable<wchar_t> && !Orvel::Detail::TaggedReadable<long double>);

  // What is no text of its own, and what is read with the short form.
  EXPECT_TRUE(WriteTagged(this->out_, L"literal", L"text"));
  EXPECT_TRUE(WriteTagged(this->out_, L"view", std::wstring_view(L"text!").substr(0, 4)));
  const auto in = this->store_.Read();
  for (std::wstring text : {L"literal", L"view", L"missing"}) {
    const bool isThere = text != L"missing";
    EXPECT_EQ(in->ReadString(text, text, L"text"), isThere) << "into its tag";
    EXPECT_EQ(text, L"text");
  }
}

TYPED_TEST(TaggedFilersTest, TextsThatAreNoSuchValueAreRefused) {
  using namespace std::chrono;
  const auto isRead = [](std::wstring_view text, const auto& expected) {
    TypeParam store;
    EXPECT_TRUE(WriteTagged(store.out, L"v", text));
    std::decay_t<decltype(expected)> value{};
    const bool result = ReadTagged(*store.Read(), L"v", value, expected);
    EXPECT_TRUE(value == expected) << "the default, when it is not read";
    return result;
  };
  const auto refuses = [&](const auto& unread, std::initializer_list<const wchar_t*> texts) {
    for (const wchar_t* const text : texts) EXPECT_FALSE(isRead(text, unread)) << text;
  };
  refuses(std::int64_t{7}, {L"", L"-", L" 1", L"1 ", L"+1", L"1.0", L"0x1", L"1e3", L"\u0661",
                            L"9223372036854775808", L"-9223372036854775809"});
  refuses(std::uint64_t{7}, {L"-1", L"0000000000000000000000000"});
  refuses(Wide{7}, {L"18446744073709551616"});
  EXPECT_TRUE(isRead(L"-42", std::int64_t{-42}));
  EXPECT_TRUE(isRead(L"007", std::uint64_t{7}));

  refuses(seconds(7),
          {L"5", L" s", L"5  s", L"5s", L"5 S", L"5 s ", L"5.5 s", L"5 weeks", L"1500 ms",
           L"5 [1/0]s", L"5 [0/1]s", L"5 [-1/2]s", L"5 [1]s", L"5 [/]s", L"5 [1/2]", L"1 [1/2]s"});
  refuses(seconds(7),
          {L"9223372036854775807 h", L"-9223372036854775808 min", L"1 [9223372036854775807/3]s"});
  refuses(duration<std::int8_t>(7), {L"1 h"});
  refuses(duration<unsigned>(7), {L"-1 s"});
  EXPECT_TRUE(isRead(L"-2000 ms", seconds(-2)));
  EXPECT_TRUE(isRead(L"1 h", seconds(3600)));
  EXPECT_TRUE(isRead(L"9 [2/6]s", seconds(3)));
  EXPECT_TRUE(isRead(L"0 [1/9223372036854775807]s", 0s));
  EXPECT_TRUE(isRead(L"3 [1/2]s", 1500ms));
  using Tiny = duration<int, std::ratio<1, 3'000'000'000'000'000'000>>;
  EXPECT_TRUE(isRead(L"6 [1/9000000000000000000]s", Tiny(2)));

  const std::vector bytes{std::byte{0xAB}};
  refuses(bytes, {L"a", L"abc", L"0x", L"a ", L"g0", L"\uFF10\uFF11"});
  EXPECT_TRUE(isRead(L"aB", bytes));
  EXPECT_TRUE(WriteTagged(this->out_, L"short", std::int16_t{300}));
  EXPECT_EQ(ReadTagged<std::int8_t>(*this->store_.Read(), L"short", 7), 7);
  refuses(true, {L"text"});  // also where the registry would give what it found
}

TYPED_TEST(TaggedFilersTest, AnOperationThatRunsOutOfMemoryCanBeRepeated) {
  const std::wstring section(100, L's');
  const std::wstring tag(100, L'v');
  const std::wstring document = L"<note>" + std::wstring(5000, L'n') + L"</note>";
  std::size_t failures = 0;
  for (std::size_t skipped = 0; failures == skipped; ++skipped) {
    SCOPED_TRACE(skipped);
    std::size_t untilFailure = skipped;
    const auto isRepeated = [&](const std::function<bool()>& operation) {
      bool isDone = false;
      if (Orvel::Testing::RunsOutOfMemory(untilFailure, [&] { isDone = operation(); })) {
        ++failures;
        isDone = operation();
      }
      return isDone;
    };
    TypeParam store;
    Out& out = store.out;
    EXPECT_TRUE(isRepeated([&] { return out.BeginSection(section); }));
    EXPECT_TRUE(isRepeated([&] { return out.WriteDouble(section, 0.5); }));
    EXPECT_TRUE(isRepeated([&] { return out.WriteSubDocument(L"d", document); }));
    EXPECT_TRUE(isRepeated([&] { return out.BeginSection(tag); }));
    EXPECT_TRUE(isRepeated([&] { return out.WriteString(L"t", document); }));
    EXPECT_TRUE(out.EndSection());
    EXPECT_TRUE(out.EndSection());

    const auto in = store.Read();
    std::wstring text;
    double number = 0.0;
    EXPECT_TRUE(isRepeated([&] { return in->BeginNextSection(section); }));
    EXPECT_TRUE(isRepeated([&] { return in->ReadDouble(section, number, 0.0); }));
    EXPECT_EQ(number, 0.5);
    EXPECT_TRUE(isRepeated([&] { return in->ReadSubDocument(L"d", text); }));
    EXPECT_THAT(text, testing::HasSubstr(document));
    EXPECT_TRUE(isRepeated([&] { return in->BeginSection(tag); }));
    EXPECT_TRUE(isRepeated([&] { return in->ReadString(L"t", text, section); }));
    EXPECT_EQ(text, document);
    EXPECT_TRUE(in->EndSection());
    EXPECT_TRUE(in->EndSection());
    EXPECT_FALSE(isRepeated([&] { return in->BeginNextSection(section); }));
  }
  EXPECT_GT(failures, 10u);
}

TYPED_TEST(TaggedFilersTest, SubDocumentsAreDocuments) {
  const std::wstring document = L"<?xml version=\"1.0\"?><note kind=\"a\">text &lt;</note>";
  EXPECT_TRUE(this->out_.WriteSubDocument(L"doc", document));
  EXPECT_TRUE(this->out_.WriteInt(L"behind", 1));
  for (const wchar_t* broken : {L"", L"plain", L"<a>", L"<a></b></a>", L"<a/><b/>"}) {
    std::wstring text = L"old";
    EXPECT_FALSE(this->out_.WriteSubDocument(L"broken", broken)) << broken;
    EXPECT_FALSE(this->store_.Read()->ReadSubDocument(L"broken", text)) << broken;
    EXPECT_EQ(text, L"");
    EXPECT_TRUE(this->out_.WriteString(L"string", broken));
    EXPECT_EQ(this->store_.Read()->ReadSubDocument(L"string", text), !TypeParam::kIsRegistry)
        << "an element is a document, whatever its text is";
  }
  const auto in = this->store_.Read();
  std::wstring text = L"doc";
  EXPECT_TRUE(in->ReadSubDocument(text, text)) << "into its tag";
  EXPECT_EQ(text, TypeParam::kIsRegistry
                      ? document
                      : L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<MFilerTaggedXml>\n<doc>\n"
                        L"<note kind=\"a\">text &lt;</note>\n</doc>\n</MFilerTaggedXml>\n");
  EXPECT_EQ(ReadTagged<int>(*in, L"behind", 0), 1);
}

// The form of values in XML, and what else only that store has.

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
    const auto write = [&] { isWritten = failing.WriteSubDocument({}, document); };
    if (!Orvel::Testing::RunsOutOfMemory(left, write)) continue;
    EXPECT_TRUE(failing.WriteInt(L"last", 1));
    EXPECT_TRUE(failing.GetText().ends_with(L"</last>\n</ExceptionChain>\n")) << skipped;
  }
}

}  // namespace
