// SPDX-License-Identifier: MIT
// What writers and readers of tagged values have in common, whatever they write into; where they
// differ is listed in docs/tagged_filers.md and tested here as well.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <new>
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
  EXPECT_FALSE(this->out_.EndSection());
  EXPECT_TRUE(this->out_.WriteInt(L"v", 0));
  EXPECT_TRUE(this->out_.BeginSection(L"A"));
  EXPECT_TRUE(this->out_.WriteInt(L"v", 1));
  EXPECT_TRUE(this->out_.BeginSection(L"A"));
  EXPECT_TRUE(this->out_.WriteInt(L"v", 2));
  EXPECT_TRUE(this->out_.EndSection());
  EXPECT_TRUE(this->out_.WriteInt(L"after", 3));
  EXPECT_TRUE(this->out_.EndSection());
  EXPECT_FALSE(this->out_.EndSection());
  EXPECT_TRUE(this->out_.WriteInt(L"last", 5));
  EXPECT_TRUE(this->out_.WriteInt(L"last", 6));

  const auto in = this->store_.Read();
  const auto read = [&](const wchar_t* tag) {
    std::int32_t value = 0;
    in->ReadInt(tag, value, -1);
    return value;
  };
  std::uint32_t stamp = 77;
  EXPECT_EQ(in->ReadChangeStamp(stamp), TypeParam::kIsRegistry);
  EXPECT_EQ(stamp, TypeParam::kIsRegistry ? 0u : 77u);
  EXPECT_FALSE(in->EndSection());
  EXPECT_EQ(read(L"last"), TypeParam::kIsRegistry ? 6 : 5) << "written over, or behind the first";
  EXPECT_EQ(read(L"V"), TypeParam::kIsRegistry ? 0 : -1) << "the case does not matter, or does";
  for (int visit = 0; visit < 2; ++visit) {
    EXPECT_TRUE(in->BeginSection(L"A"));
    EXPECT_EQ(read(L"v"), 1);
    EXPECT_EQ(read(L"last"), -1);
    EXPECT_TRUE(in->BeginSection(L"A"));
    EXPECT_EQ(read(L"v"), 2);
    EXPECT_EQ(read(L"after"), -1);
    EXPECT_TRUE(in->EndSection());
    EXPECT_EQ(read(L"after"), 3);
    EXPECT_TRUE(in->EndSection());
    EXPECT_EQ(read(L"v"), 0);
  }

  EXPECT_FALSE(in->BeginNextSection(L"Missing"));
  // The registry finds out only when something is read.
  EXPECT_EQ(in->BeginSection(L"Missing"), TypeParam::kIsRegistry);
  EXPECT_EQ(read(L"v"), TypeParam::kIsRegistry ? -1 : 0);
  EXPECT_EQ(in->EndSection(), TypeParam::kIsRegistry);
  EXPECT_FALSE(in->EndSection());
}

TYPED_TEST(TaggedFilersTest, WalkingSectionsOfATagEnds) {
  for (int number = 0; number < 3; ++number) {
    EXPECT_TRUE(this->out_.BeginSection(L"Item"));
    EXPECT_TRUE(this->out_.WriteInt(L"Number", number));
    EXPECT_TRUE(this->out_.EndSection());
  }
  EXPECT_TRUE(this->out_.WriteInt(L"behind", 8));
  const auto in = this->store_.Read();
  std::vector<std::int32_t> numbers;
  std::int32_t number = -1;
  while (numbers.size() < 100 && in->BeginNextSection(L"Item")) {
    EXPECT_TRUE(in->ReadInt(L"Number", number, -1));
    numbers.push_back(number);
    EXPECT_FALSE(in->BeginNextSection(L"Item")) << "another level";
    EXPECT_TRUE(in->EndSection());
    // A read in between does not change which section is next.
    EXPECT_TRUE(in->ReadInt(L"behind", number, -1));
  }
  EXPECT_FALSE(in->EndSection());
  // Sections that repeat are several in XML, and one key, written over, in the registry.
  using Numbers = std::vector<std::int32_t>;
  EXPECT_EQ(numbers, (TypeParam::kIsRegistry ? Numbers{2} : Numbers{0, 1, 2}));

  EXPECT_TRUE(in->BeginSection(L"Item")) << "the first one again";
  EXPECT_TRUE(in->ReadInt(L"Number", number, -1));
  EXPECT_EQ(number, numbers.front());
  EXPECT_TRUE(in->EndSection());
  EXPECT_EQ(in->BeginNextSection(L"Item"), !TypeParam::kIsRegistry) << "goes on behind it";
  EXPECT_EQ(in->ReadInt(L"Number", number, -1), !TypeParam::kIsRegistry);
  EXPECT_EQ(number, TypeParam::kIsRegistry ? -1 : 1);
  EXPECT_EQ(in->EndSection(), !TypeParam::kIsRegistry);
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
  if constexpr (!TypeParam::kIsRegistry) {
    EXPECT_EQ(reports([](auto& store) {
                EXPECT_NE(store.out.TakeText(), L"");
                EXPECT_FALSE(store.out.EndSection());
              }),
              0u)
        << "ended, although the text was taken";
  }
  const auto readerReports = [&](const wchar_t* tag) {
    return reports([tag](auto& store) {
      store.out.EndSection();
      std::int32_t value = 0;
      const auto in = store.Read();
      EXPECT_TRUE(in->BeginSection(L"A"));
      EXPECT_EQ(in->ReadInt(tag, value, 0), std::wstring(L"v") == tag);
    });
  };
  EXPECT_EQ(readerReports(L"v"), once);
  EXPECT_EQ(readerReports(L"missing"), 0u);
}

enum class Small : std::int8_t { kLow = -128, kHigh = 127 };
enum class Wide : std::uint64_t { kAll = 0xFFFFFFFFFFFFFFFF };
enum class Letter : char { kNone = 0 };
enum Flag : bool { kOff, kOn };

TYPED_TEST(TaggedFilersTest, ValuesComeBackExactly) {
  using namespace std::chrono;
  using Frames = duration<int, std::ratio<2, 60>>;
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
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
  for (const char character : {'\1', '\t', ' ', '5', 'x', '\x7F', '\x80', '\xFF'})
    comeBack(character);
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
  for (const wchar_t* text : {L"literal", L"view", L"missing"})
    EXPECT_EQ(ReadTagged<std::wstring>(*in, text, L"text"), L"text");
}

/// Whether a text is read as a value; when not, that the default is.
template <class Store, class Value>
bool IsReadAs(std::wstring_view text, const Value& expected) {
  Store store;
  EXPECT_TRUE(WriteTagged(store.out, L"v", text));
  Value value{};
  const bool isRead = ReadTagged(*store.Read(), L"v", value, expected);
  EXPECT_TRUE(value == expected);
  return isRead;
}

TYPED_TEST(TaggedFilersTest, TextsThatAreNoSuchValueAreRefused) {
  using namespace std::chrono;
  const auto isRead = [](std::wstring_view text, const auto& expected) {
    return IsReadAs<TypeParam>(text, expected);
  };
  for (const wchar_t* text : {L"", L"-", L" 1", L"1 ", L"+1", L"1.0", L"0x1", L"1e3", L"\u0661",
                              L"9223372036854775808", L"-9223372036854775809"}) {
    EXPECT_FALSE(isRead(text, std::int64_t{7})) << text;
  }
  EXPECT_FALSE(isRead(L"-1", std::uint64_t{7}));
  EXPECT_FALSE(isRead(L"18446744073709551616", Wide{7}));
  EXPECT_FALSE(isRead(std::wstring(25, L'0'), std::uint64_t{7}));
  EXPECT_TRUE(isRead(L"-42", std::int64_t{-42}));
  EXPECT_TRUE(isRead(L"007", std::uint64_t{7}));

  for (const wchar_t* text : {L"",
                              L"5",
                              L" s",
                              L"5 ",
                              L"5  s",
                              L"5s",
                              L"5 S",
                              L"5 s ",
                              L"5.5 s",
                              L"5 weeks",
                              L"1500 ms",
                              L"5 [1/0]s",
                              L"5 [0/1]s",
                              L"5 [-1/2]s",
                              L"5 [1]s",
                              L"5 [/]s",
                              L"5 [1/2]",
                              L"1 [1/2]s",
                              L"9223372036854775807 h",
                              L"-9223372036854775808 min",
                              L"1 [9223372036854775807/3]s"}) {
    EXPECT_FALSE(isRead(text, seconds(7))) << text;
  }
  EXPECT_TRUE(isRead(L"-2000 ms", seconds(-2)));
  EXPECT_TRUE(isRead(L"1 h", seconds(3600)));
  EXPECT_TRUE(isRead(L"9 [2/6]s", seconds(3)));
  EXPECT_TRUE(isRead(L"0 [1/9223372036854775807]s", 0s));
  EXPECT_TRUE(isRead(L"3 [1/2]s", 1500ms));
  EXPECT_TRUE(isRead(L"6 [1/9000000000000000000]s",
                     duration<int, std::ratio<1, 3'000'000'000'000'000'000>>(2)));
  EXPECT_FALSE(isRead(L"1 h", duration<std::int8_t>(7)));
  EXPECT_FALSE(isRead(L"-1 s", duration<unsigned>(7)));

  const std::vector<std::byte> bytes{std::byte{0xAB}};
  for (const wchar_t* text : {L"a", L"abc", L"0x", L"a ", L"g0", L"\uFF10\uFF11"})
    EXPECT_FALSE(isRead(text, bytes)) << text;
  EXPECT_TRUE(isRead(L"aB", bytes));
  EXPECT_TRUE(WriteTagged(this->out_, L"short", std::int16_t{300}));
  EXPECT_EQ(ReadTagged<std::int8_t>(*this->store_.Read(), L"short", 7), 7);
  EXPECT_FALSE(isRead(L"text", true)) << "also where the registry would give what it found";
}

TYPED_TEST(TaggedFilersTest, SectionObjectsCloseWhatTheyOpened) {
  for (int number = 0; number < 3; ++number) {
    MTaggedSection item(this->out_, L"Item");
    ASSERT_TRUE(item);
    const MTaggedSection inner(this->out_, L"Inner");
    EXPECT_TRUE(inner);
    EXPECT_TRUE(WriteTagged(this->out_, L"Number", number));
  }
  MTaggedSection closed(this->out_, L"Last");
  EXPECT_TRUE(closed);
  EXPECT_TRUE(closed.Close());
  EXPECT_FALSE(closed);
  EXPECT_FALSE(closed.Close());
  EXPECT_FALSE(this->out_.EndSection());
  EXPECT_EQ(static_cast<bool>(MTaggedSection(this->out_, L"a<")), TypeParam::kIsRegistry);

  const auto in = this->store_.Read();
  int sum = 0;
  while (const auto item = MTaggedSection::Next(*in, L"Item")) {
    const MTaggedSection inner(*in, L"Inner");
    sum += 1 + ReadTagged<int>(*in, L"Number", -1);
  }
  EXPECT_EQ(sum, TypeParam::kIsRegistry ? 3 : 1 + 2 + 3);
  EXPECT_FALSE(in->EndSection());
}

/// What operations are given and what they read. None of it allocates while one of them runs.
struct Texts {
  const std::wstring section = std::wstring(100, L's');
  const std::wstring value = std::wstring(100, L'v');
  const std::wstring document = L"<note>" + std::wstring(5000, L'n') + L"</note>";
  std::wstring text;
  std::int32_t number = 0;
  double wide = 0.0;
};

/// Performs operations one after the other, with one allocation failing in them. Which raises is
/// repeated. Returns what they returned and read.
template <class Filer>
std::vector<std::wstring> Perform(Filer& filer, bool (*const (&operations)[9])(Filer&, Texts&),
                                  std::size_t& allocationsUntilFailure, bool& hasFailed) {
  std::vector<std::wstring> log;
  Texts texts;
  for (const auto operation : operations) {
    bool succeeded = false;
    try {
      const Orvel::Testing::FailingAllocation failing(allocationsUntilFailure);
      succeeded = operation(filer, texts);
    } catch (const std::bad_alloc&) {
      hasFailed = true;
      allocationsUntilFailure = (std::numeric_limits<std::size_t>::max)();
      succeeded = operation(filer, texts);
    }
    log.push_back(std::to_wstring(succeeded) + texts.text + std::to_wstring(texts.number) +
                  std::to_wstring(texts.wide));
  }
  return log;
}

constexpr bool (*kWrites[])(Out&, Texts&) = {
    [](Out& out, Texts& texts) { return out.WriteDouble(texts.value, 0.5); },
    [](Out& out, Texts& texts) { return out.BeginSection(texts.section); },
    [](Out& out, Texts& texts) { return out.WriteInt(texts.value, 5); },
    [](Out& out, Texts& texts) { return out.WriteSubDocument(L"d", texts.document); },
    [](Out& out, Texts& texts) { return out.BeginSection(texts.value); },
    [](Out& out, Texts& texts) { return out.WriteString(L"t", texts.document); },
    [](Out& out, Texts&) { return out.EndSection(); },
    [](Out& out, Texts&) { return out.WriteChar(L"c", '5'); },
    [](Out& out, Texts&) { return out.EndSection(); }};

constexpr bool (*kReads[])(In&, Texts&) = {
    [](In& in, Texts& texts) { return in.ReadDouble(texts.value, texts.wide, 0.0); },
    [](In& in, Texts& texts) { return in.BeginNextSection(texts.section); },
    [](In& in, Texts& texts) { return in.ReadInt(texts.value, texts.number, 0); },
    [](In& in, Texts& texts) { return in.ReadSubDocument(L"d", texts.text); },
    [](In& in, Texts& texts) { return in.BeginSection(texts.value); },
    [](In& in, Texts& texts) { return in.ReadString(L"t", texts.text, texts.document); },
    [](In& in, Texts&) { return in.EndSection(); },
    [](In& in, Texts& texts) { return in.BeginNextSection(texts.value); },
    [](In& in, Texts&) { return in.EndSection(); }};

TYPED_TEST(TaggedFilersTest, AnOperationThatRunsOutOfMemoryCanBeRepeated) {
  Orvel::Testing::MisuseRecorder recorder;
  std::vector<std::wstring> expected[2];
  std::size_t failures = 0;
  for (std::size_t skipped = 0; failures == skipped; ++skipped) {
    // The first round, in which nothing fails, says what is to be expected.
    std::size_t allocations =
        skipped == 0 ? (std::numeric_limits<std::size_t>::max)() : skipped - 1;
    bool hasFailed = skipped == 0;
    TypeParam store;
    std::vector<std::wstring> logs[2];
    logs[0] = Perform<Out>(store.out, kWrites, allocations, hasFailed);
    const auto in = store.Read();
    logs[1] = Perform<In>(*in, kReads, allocations, hasFailed);
    for (int i = 0; i < 2; ++i) {
      if (skipped == 0) expected[i] = logs[i];
      EXPECT_EQ(logs[i], expected[i]) << "allocation " << skipped << " failed";
    }
    if (hasFailed) ++failures;
  }
  EXPECT_GT(failures, 10u);
}

TYPED_TEST(TaggedFilersTest, SubDocumentsAreDocuments) {
  const std::wstring document = L"<?xml version=\"1.0\"?><note kind=\"a\">text &lt;</note>";
  EXPECT_TRUE(this->out_.WriteSubDocument(L"doc", document));
  EXPECT_TRUE(this->out_.WriteInt(L"behind", 1));
  for (const wchar_t* broken : {L"", L"plain", L"<a>", L"<a></b></a>", L"<a/><b/>"}) {
    SCOPED_TRACE(broken);
    EXPECT_FALSE(this->out_.WriteSubDocument(L"broken", broken));
    EXPECT_TRUE(this->out_.WriteString(L"string", broken));
    std::wstring text = L"old";
    EXPECT_FALSE(this->store_.Read()->ReadSubDocument(L"broken", text));
    EXPECT_EQ(text, L"");
    EXPECT_EQ(this->store_.Read()->ReadSubDocument(L"string", text), !TypeParam::kIsRegistry)
        << "an element is a document, whatever its text is";
  }
  const auto in = this->store_.Read();
  std::wstring text = L"old";
  EXPECT_TRUE(in->ReadSubDocument(L"doc", text));
  EXPECT_EQ(text, TypeParam::kIsRegistry
                      ? document
                      : L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<MFilerTaggedXml>\n<doc>\n"
                        L"<note kind=\"a\">text &lt;</note>\n</doc>\n</MFilerTaggedXml>\n");
  std::int32_t value = 0;
  EXPECT_TRUE(in->ReadInt(L"behind", value, 0));
}

}  // namespace
