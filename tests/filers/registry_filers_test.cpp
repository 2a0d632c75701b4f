// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "orvel/filers/in_filer_tagged_registry.h"
#include "orvel/filers/out_filer_tagged_registry.h"
#include "orvel/foundation/exception.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/handle_count.h"
#include "tests/support/registry_sandbox.h"
#include "tests/support/registry_seam.h"

namespace {

using Orvel::Testing::RawRegistryValue;
using Orvel::Testing::RegistrySandbox;
using Orvel::Testing::RegistrySeam;
using testing::ElementsAre;
using testing::Optional;
using Bytes = std::vector<std::uint8_t>;
using Kind = RegistrySeam::Call::Kind;

constexpr std::uint32_t kRead = 0x20019;
constexpr std::uint32_t kReadWrite = 0x2001F;
constexpr auto kUser = MRegistryRoot::kCurrentUser;

RawRegistryValue Number(std::uint32_t value) {
  Bytes bytes;
  for (int shift = 0; shift < 32; shift += 8) {
    bytes.push_back(static_cast<std::uint8_t>(value >> shift));
  }
  return {REG_DWORD, bytes};
}

Bytes TextBytes(std::wstring_view text) {
  Bytes bytes;
  for (const wchar_t unit : text) {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

RawRegistryValue Text(std::wstring_view text) {
  return {REG_SZ, TextBytes(std::wstring(text) + L'\0')};
}

/// A filer of each kind on one sandbox, and what is said of both.
class RegistryFilersTest : public testing::Test {
 protected:
  RegistrySandbox sandbox_;
  IOutFilerTaggedRegistry out_{kUser, sandbox_.GetApplicationKey()};
  IInFilerTaggedRegistry in_{kUser, sandbox_.GetApplicationKey()};
};

TEST_F(RegistryFilersTest, EachKindIsStoredInItsForm) {
  IOutFilerTagged& out = out_;
  EXPECT_TRUE(out.WriteChar(L"char", static_cast<char>(-2)));
  EXPECT_TRUE(out.WriteByte(L"byte", 255));
  EXPECT_TRUE(out.WriteShort(L"short", -5));
  EXPECT_TRUE(out.WriteUnsignedShort(L"ushort", 65535));
  EXPECT_TRUE(out.WriteInt(L"int", -5));
  EXPECT_TRUE(out.WriteUnsignedInt(L"uint", 0xFFFFFFFE));
  EXPECT_TRUE(out.WriteBool(L"bool", true));
  EXPECT_TRUE(out.WriteString(L"string", L"a\u00E9"));
  EXPECT_TRUE(out.WriteString(L"empty", L""));
  EXPECT_TRUE(out.WriteDouble(L"double", 0.1));
  EXPECT_TRUE(out.WriteFloat(L"float", 0.1f));
  EXPECT_TRUE(out.WriteString(L"", L"default"));

  EXPECT_THAT(sandbox_.Get(L"", L"char"), Optional(Number(0xFE)));
  EXPECT_THAT(sandbox_.Get(L"", L"byte"), Optional(Number(0xFF)));
  EXPECT_THAT(sandbox_.Get(L"", L"short"), Optional(Number(0xFFFB)));
  EXPECT_THAT(sandbox_.Get(L"", L"ushort"), Optional(Number(0xFFFF)));
  EXPECT_THAT(sandbox_.Get(L"", L"int"), Optional(Number(0xFFFFFFFB)));
  EXPECT_THAT(sandbox_.Get(L"", L"uint"), Optional(Number(0xFFFFFFFE)));
  EXPECT_THAT(sandbox_.Get(L"", L"bool"), Optional(Number(1)));
  EXPECT_THAT(sandbox_.Get(L"", L"string"), Optional(Text(L"a\u00E9")));
  EXPECT_THAT(sandbox_.Get(L"", L"empty"), Optional(Text(L"")));
  EXPECT_THAT(sandbox_.Get(L"", L"double"), Optional(Text(L"1.00000000000000e-01")));
  EXPECT_THAT(sandbox_.Get(L"", L"float"), Optional(Text(L"1.000000e-01")));
  EXPECT_THAT(sandbox_.Get(L"", L""), Optional(Text(L"default")));
}

TEST_F(RegistryFilersTest, SectionsAreKeysAndAValueReplacesAnother) {
  EXPECT_TRUE(out_.BeginSection(L"Axes"));
  EXPECT_FALSE(sandbox_.HasSection(L""));
  EXPECT_TRUE(out_.BeginSection(L"X"));
  EXPECT_TRUE(out_.WriteInt(L"Count\\All", 3));
  EXPECT_TRUE(out_.EndSection());
  EXPECT_TRUE(out_.WriteString(L"Name", L"first"));
  EXPECT_TRUE(out_.WriteInt(L"Name", 7));
  EXPECT_TRUE(out_.EndSection());
  EXPECT_TRUE(out_.WriteInt(L"Count", 1));

  EXPECT_THAT(sandbox_.Get(L"Axes\\X", L"Count\\All"), Optional(Number(3)));
  EXPECT_THAT(sandbox_.Get(L"Axes", L"Name"), Optional(Number(7)));
  EXPECT_THAT(sandbox_.Get(L"", L"Count"), Optional(Number(1)));

  std::int32_t count = 0;
  EXPECT_TRUE(in_.BeginSection(L"AXES"));
  EXPECT_TRUE(in_.BeginSection(L"x"));
  EXPECT_TRUE(in_.ReadInt(L"count\\ALL", count, 0));
  EXPECT_EQ(count, 3);
}

TEST(RegistryFilersRootTest, MachineWideValuesAreInTheWow6432NodeBranch) {
  RegistrySandbox sandbox(MRegistryRoot::kLocalMachine);
  if (!sandbox.Set(L"", L"probe", Number(1))) GTEST_SKIP() << "needs an administrator's rights";
  RegistrySandbox user;

  IOutFilerTaggedRegistry out(MRegistryRoot::kLocalMachine, sandbox.GetApplicationKey());
  IInFilerTaggedRegistry in(MRegistryRoot::kLocalMachine, sandbox.GetApplicationKey());
  std::int32_t value = 0;
  EXPECT_TRUE(out.BeginSection(L"Axes"));
  EXPECT_TRUE(out.WriteInt(L"Count", 3));
  EXPECT_THAT(sandbox.Get(L"Axes", L"Count"), Optional(Number(3)));
  EXPECT_TRUE(in.BeginSection(L"Axes"));
  EXPECT_TRUE(in.ReadInt(L"Count", value, 0));
  EXPECT_EQ(value, 3);

  IInFilerTaggedRegistry elsewhere(kUser, sandbox.GetApplicationKey());
  EXPECT_TRUE(elsewhere.BeginSection(L"Axes"));
  EXPECT_FALSE(elsewhere.ReadInt(L"Count", value, -1));
  EXPECT_EQ(value, -1);
}

TEST(RegistryFilersRootTest, ApplicationKeyMayBeAPathOfUsableNames) {
  RegistrySandbox sandbox;
  const std::wstring& top = sandbox.GetApplicationKey();
  IOutFilerTaggedRegistry nested(kUser, top + L"\\Part");
  EXPECT_TRUE(nested.WriteInt(L"a", 1));
  EXPECT_THAT(sandbox.Get(L"Part", L"a"), Optional(Number(1)));

  RegistrySeam seam;
  for (const std::wstring& key : {std::wstring(), L"\\" + top, top + L"\\", top + L"\\\\Part",
                                  top + L'\0' + L"Part", top + L"\\" + std::wstring(256, L'k')}) {
    IOutFilerTaggedRegistry out(kUser, key);
    IInFilerTaggedRegistry in(kUser, key, true);
    std::int32_t value = 0;
    EXPECT_FALSE(out.WriteInt(L"a", 1));
    EXPECT_FALSE(in.ReadInt(L"a", value, 5));
    EXPECT_EQ(value, 5);
  }
  EXPECT_TRUE(seam.calls.empty());
}

TEST_F(RegistryFilersTest, TagsThatWouldMisleadTheRegistryAreRefused) {
  const std::wstring withZero = std::wstring(L"a") + L'\0' + L"b";
  for (const std::wstring& tag : {std::wstring(), std::wstring(L"a\\b"), std::wstring(L"\\"),
                                  withZero, std::wstring(256, L's')}) {
    EXPECT_FALSE(out_.BeginSection(tag));
    EXPECT_FALSE(in_.BeginSection(tag));
    EXPECT_FALSE(in_.BeginNextSection(tag));
    EXPECT_FALSE(out_.EndSection()) << "nothing was opened";
    EXPECT_FALSE(in_.EndSection()) << "nothing was opened";
  }
  for (const std::wstring& tag : {withZero, std::wstring(16384, L'v')}) {
    std::wstring text;
    bool flag = true;
    std::int32_t number = 0;
    EXPECT_FALSE(out_.WriteInt(tag, 1));
    EXPECT_FALSE(out_.WriteString(tag, L"text"));
    EXPECT_FALSE(in_.ReadString(tag, text, L"default"));
    EXPECT_FALSE(in_.ReadBool(tag, flag, false));
    EXPECT_FALSE(in_.ReadInt(tag, number, 4));
    EXPECT_EQ(text, L"default");
    EXPECT_FALSE(flag);
    EXPECT_EQ(number, 4);
  }
  EXPECT_FALSE(sandbox_.HasSection(L""));

  const std::wstring longest(255, L's');
  EXPECT_TRUE(out_.BeginSection(longest));
  EXPECT_TRUE(out_.WriteInt(L"a", 1));
  EXPECT_TRUE(sandbox_.HasSection(longest));
}

TEST_F(RegistryFilersTest, NestingIsDescendedInStretchesThatOneCallCanCreate) {
  constexpr int kDepth = 70;
  RegistrySeam seam;
  for (int level = 0; level < kDepth; ++level) {
    ASSERT_TRUE(out_.BeginSection(L"s"));
    ASSERT_TRUE(in_.BeginSection(L"s"));
  }
  std::int32_t value = 0;
  EXPECT_TRUE(out_.WriteInt(L"a", 1));
  EXPECT_TRUE(in_.ReadInt(L"a", value, 0));
  EXPECT_EQ(value, 1);
  for (const auto& call : seam.calls) EXPECT_LT(call.name.size(), 2 * 32u) << call.name.size();

  // One level less is another key.
  EXPECT_TRUE(in_.EndSection());
  EXPECT_FALSE(in_.ReadInt(L"a", value, 0));
  std::wstring path = L"s";
  for (int level = 1; level < kDepth; ++level) path += L"\\s";
  EXPECT_THAT(sandbox_.Get(path, L"a"), Optional(Number(1)));
}

TEST_F(RegistryFilersTest, MissingValuesLeaveTheDefaultAndCreateOnlyWhenTold) {
  const auto readAll = [](IInFilerTagged& in) {
    std::wstring text;
    char character = 0;
    double wide = 0;
    float narrow = 0;
    bool flag = false;
    std::uint16_t number = 0;
    EXPECT_FALSE(in.ReadString(L"v", text, L"default"));
    EXPECT_FALSE(in.ReadChar(L"v", character, 'd'));
    EXPECT_FALSE(in.ReadDouble(L"v", wide, 2.5));
    EXPECT_FALSE(in.ReadFloat(L"v", narrow, 1.5f));
    EXPECT_FALSE(in.ReadBool(L"v", flag, true));
    EXPECT_FALSE(in.ReadUnsignedShort(L"v", number, 9));
    EXPECT_EQ(text, L"default");
    EXPECT_EQ(character, 'd');
    EXPECT_EQ(wide, 2.5);
    EXPECT_EQ(narrow, 1.5f);
    EXPECT_TRUE(flag);
    EXPECT_EQ(number, 9);
    // A destination that is the tag or the default is no trap.
    std::wstring same = L"v";
    EXPECT_FALSE(in.ReadString(same, same, same));
    EXPECT_EQ(same, L"v");
  };
  EXPECT_TRUE(in_.BeginSection(L"A"));
  readAll(in_);
  EXPECT_FALSE(sandbox_.HasSection(L""));

  IInFilerTaggedRegistry creating(kUser, sandbox_.GetApplicationKey(), true);
  EXPECT_FALSE(creating.BeginNextSection(L"A"));
  EXPECT_FALSE(sandbox_.HasSection(L"")) << "asking for a section creates none";
  EXPECT_TRUE(creating.BeginSection(L"A"));
  readAll(creating);
  EXPECT_TRUE(sandbox_.HasSection(L"A"));
  readAll(creating);
}

TEST_F(RegistryFilersTest, NumbersAreReadFromUpToFourBytesOfAnyType) {
  struct Case {
    const char* what;
    RawRegistryValue stored;
    bool isNumber;
    std::uint32_t number;
    bool isBoolean;
    bool boolean;
  };
  const Case cases[] = {
      {"double word", Number(0x80018283), true, 0x80018283, true, true},
      {"zero", Number(0), true, 0, true, false},
      {"text of one character", Text(L"A"), true, 0x41, false, true},
      {"empty text", Text(L""), true, 0, false, false},
      {"long text", Text(L"no"), false, 0, false, true},
      {"long text of zeros", {REG_SZ, Bytes(6)}, false, 0, false, false},
      {"very long text", Text(std::wstring(5000, L'n')), false, 0, false, true},
      {"three bytes", {REG_BINARY, {1, 2, 3}}, true, 0x030201, false, true},
      {"no byte", {REG_BINARY, {}}, true, 0, false, false},
      {"short double word", {REG_DWORD, {7, 0}}, true, 7, true, true},
      {"long double word", {REG_DWORD, {0, 0, 0, 0, 1}}, false, 0, true, false},
      {"quad word", {REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}}, false, 0, false, true},
  };
  RegistrySeam seam;
  ASSERT_TRUE(sandbox_.Set(L"", L"v", Number(0)));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    seam.finds = [&] { return c.stored; };
    std::uint32_t number = 0;
    bool boolean = !c.boolean;
    EXPECT_EQ(in_.ReadUnsignedInt(L"v", number, 0x55555555), c.isNumber);
    EXPECT_EQ(number, c.isNumber ? c.number : 0x55555555);
    EXPECT_EQ(in_.ReadBool(L"v", boolean, !c.boolean), c.isBoolean);
    EXPECT_EQ(boolean, c.boolean) << "taken in any case";

    // And what the registry itself makes of it.
    seam.finds = nullptr;
    ASSERT_TRUE(sandbox_.Set(L"", L"v", c.stored));
    EXPECT_EQ(in_.ReadUnsignedInt(L"v", number, 0x55555555), c.isNumber);
    EXPECT_EQ(number, c.isNumber ? c.number : 0x55555555);
  }
}

TEST_F(RegistryFilersTest, NumbersAreNarrowedToTheirLowBits) {
  ASSERT_TRUE(sandbox_.Set(L"", L"v", Number(0x80018283)));
  IInFilerTagged& in = in_;
  char character = 0;
  std::uint8_t byte = 0;
  std::int16_t shortNumber = 0;
  std::uint16_t unsignedShort = 0;
  std::int32_t number = 0;
  EXPECT_TRUE(in.ReadChar(L"v", character, 0));
  EXPECT_TRUE(in.ReadByte(L"v", byte, 0));
  EXPECT_TRUE(in.ReadShort(L"v", shortNumber, 0));
  EXPECT_TRUE(in.ReadUnsignedShort(L"v", unsignedShort, 0));
  EXPECT_TRUE(in.ReadInt(L"v", number, 0));
  EXPECT_EQ(static_cast<unsigned char>(character), 0x83);
  EXPECT_EQ(byte, 0x83);
  EXPECT_EQ(shortNumber, static_cast<std::int16_t>(-0x7D7D));
  EXPECT_EQ(unsignedShort, 0x8283);
  EXPECT_EQ(number, static_cast<std::int32_t>(0x80018283));
}

TEST_F(RegistryFilersTest, StringsAreBoundedByWhatTheRegistryReturned) {
  const Bytes oddBytes = {'a', 0, 'b', 0, 'c'};
  const std::wstring longText(3000, L'l');
  RegistrySeam seam;
  ASSERT_TRUE(sandbox_.Set(L"", L"v", Number(0)));
  const auto check = [&](const char* what, const RawRegistryValue& stored, bool isRead,
                         const std::wstring& readable) {
    SCOPED_TRACE(what);
    const std::wstring expected = isRead ? readable : L"default";
    std::wstring text;
    seam.finds = [&] { return stored; };
    EXPECT_EQ(in_.ReadString(L"v", text, L"default"), isRead);
    EXPECT_EQ(text, expected);

    seam.finds = nullptr;
    ASSERT_TRUE(sandbox_.Set(L"", L"v", stored));
    EXPECT_EQ(in_.ReadString(L"v", text, L"default"), isRead);
    EXPECT_EQ(text, expected);
  };
  check("terminated", Text(L"abc"), true, L"abc");
  check("without terminator", {REG_SZ, TextBytes(L"abc")}, true, L"abc");
  check("without terminator, as long as the first buffer",
        {REG_SZ, TextBytes(std::wstring(256, L'a'))}, true, std::wstring(256, L'a'));
  check("odd size", {REG_SZ, oddBytes}, true, L"ab");
  check("one byte", {REG_SZ, {'a'}}, true, L"");
  check("zero size", {REG_SZ, {}}, true, L"");
  check("embedded zero", Text(std::wstring(L"ab") + L'\0' + L"cd"), true, L"ab");
  check("only zeros", {REG_SZ, Bytes(9)}, true, L"");
  check("long", Text(longText), true, longText);
  check("long, without terminator", {REG_SZ, TextBytes(longText)}, true, longText);
  check("with a variable", {REG_EXPAND_SZ, TextBytes(L"%PATH%")}, true, L"%PATH%");
  check("list", {REG_MULTI_SZ, TextBytes(L"ab")}, false, {});
  check("binary", {REG_BINARY, TextBytes(L"ab")}, false, {});
  check("long binary", {REG_BINARY, Bytes(4000, 'b')}, false, {});
  check("number", Number(0x410041), false, {});
  check("unknown type", {4711, TextBytes(L"ab")}, false, {});
}

TEST_F(RegistryFilersTest, AValueThatGrowsIsAskedAgainABoundedNumberOfTimes) {
  ASSERT_TRUE(sandbox_.Set(L"", L"v", Number(0)));
  RegistrySeam seam;
  std::size_t length = 0;
  std::size_t limit = 0;
  seam.finds = [&] {
    length = std::min(length + 300, limit);
    return Text(std::wstring(length, L'g'));
  };
  const auto read = [&](std::wstring& text) {
    seam.calls.clear();
    length = 0;
    return in_.ReadString(L"v", text, L"default");
  };
  const auto countQueries = [&] {
    return std::count_if(seam.calls.begin(), seam.calls.end(),
                         [](const auto& call) { return call.kind == Kind::kQuery; });
  };

  std::wstring text;
  limit = 1000;
  EXPECT_TRUE(read(text));
  EXPECT_EQ(text, std::wstring(1000, L'g'));

  limit = std::numeric_limits<std::size_t>::max();
  EXPECT_FALSE(read(text));
  EXPECT_EQ(text, L"default");
  EXPECT_LE(countQueries(), 16);
  EXPECT_EQ(seam.opened, seam.closed);

  // A value that shrinks, and one whose type changes, are taken as the last query found them.
  int queries = 0;
  seam.finds = [&] { return ++queries == 1 ? Text(std::wstring(999, L'g')) : Text(L"now short"); };
  EXPECT_TRUE(read(text));
  EXPECT_EQ(text, L"now short");
  bool flag = true;
  queries = 0;
  seam.finds = [&] { return ++queries == 1 ? Text(L"long") : RawRegistryValue{REG_DWORD, {0}}; };
  EXPECT_TRUE(in_.ReadBool(L"v", flag, true));
  EXPECT_FALSE(flag);
}

TEST_F(RegistryFilersTest, FloatingNumbersAreReadFromText) {
  struct Case {
    std::wstring stored;
    bool isRead;
    double number;
  };
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const Case cases[] = {
      {L"1.00000000000000e-01", true, 0.1}, {L"  -2.5 mm", true, -2.5}, {L"1e999", true, kInfinity},
      {L"-1.#INF", true, -kInfinity},       {L"", false, 7.0},          {L"mm", false, 7.0},
  };
  for (const Case& c : cases) {
    ASSERT_TRUE(sandbox_.Set(L"", L"v", Text(c.stored)));
    double wide = 0.0;
    float narrow = 0.0f;
    EXPECT_EQ(in_.ReadDouble(L"v", wide, 7.0), c.isRead);
    EXPECT_EQ(in_.ReadFloat(L"v", narrow, 7.0f), c.isRead);
    EXPECT_EQ(wide, c.number);
    EXPECT_EQ(narrow, static_cast<float>(c.number));
  }
  // A double stored as a number, or a number stored as a double, is of a foreign type.
  double wide = 0.0;
  ASSERT_TRUE(out_.WriteInt(L"v", 1));
  EXPECT_FALSE(in_.ReadDouble(L"v", wide, 7.0));
  std::int32_t number = 0;
  ASSERT_TRUE(out_.WriteDouble(L"v", 1.0));
  EXPECT_FALSE(in_.ReadInt(L"v", number, 7));
  EXPECT_EQ(number, 7);
  // 14 digits after the point come back, a float beyond its range is an infinity.
  ASSERT_TRUE(out_.WriteDouble(L"v", 1.0 / 3.0));
  EXPECT_TRUE(in_.ReadDouble(L"v", wide, 7.0));
  EXPECT_EQ(wide, 3.33333333333333e-01);
  float narrow = 0.0f;
  ASSERT_TRUE(out_.WriteDouble(L"v", 1e300));
  EXPECT_TRUE(in_.ReadFloat(L"v", narrow, 7.0f));
  EXPECT_TRUE(std::isinf(narrow));
}

TEST_F(RegistryFilersTest, EndingASectionTakesTheNextStampOfTheProcess) {
  std::uint32_t stamp = 77;
  EXPECT_TRUE(in_.ReadChangeStamp(stamp));
  EXPECT_EQ(stamp, 0u);
  EXPECT_FALSE(in_.EndSection());
  EXPECT_EQ(in_.GetChangeStamp(), 0u);

  const auto visit = [](auto& filer) {
    EXPECT_TRUE(filer.BeginSection(L"A"));
    EXPECT_TRUE(filer.EndSection());
    EXPECT_FALSE(filer.EndSection());
    return filer.GetChangeStamp();
  };
  const std::uint32_t first = visit(out_);
  EXPECT_EQ(visit(in_), first + 1);
  EXPECT_EQ(visit(out_), first + 2);
  EXPECT_TRUE(in_.ReadChangeStamp(stamp));
  EXPECT_EQ(stamp, first + 1);

  EXPECT_FALSE(in_.BeginNextSection(L"missing"));
  EXPECT_EQ(in_.GetChangeStamp(), first + 1) << "a section that was not opened does not end";
}

TEST_F(RegistryFilersTest, AnExistingSectionIsWalkedOncePerLevel) {
  for (const wchar_t* outer : {L"A", L"B"}) {
    ASSERT_TRUE(out_.BeginSection(outer));
    ASSERT_TRUE(out_.BeginSection(L"Inner"));
    ASSERT_TRUE(out_.WriteInt(L"v", 1));
    ASSERT_TRUE(out_.EndSection());
    ASSERT_TRUE(out_.EndSection());
  }
  int visits = 0;
  while ((in_.BeginNextSection(L"A") || in_.BeginNextSection(L"B")) && visits < 10) {
    ++visits;
    EXPECT_TRUE(in_.BeginNextSection(L"Inner"));
    EXPECT_TRUE(in_.EndSection());
    EXPECT_FALSE(in_.BeginNextSection(L"INNER")) << "the same key";
    EXPECT_FALSE(in_.BeginNextSection(L"Other"));
    EXPECT_TRUE(in_.EndSection());
  }
  EXPECT_EQ(visits, 2);

  // From its start again, by tag: as often as one likes, and then not as the next one.
  EXPECT_TRUE(in_.BeginSection(L"A"));
  EXPECT_TRUE(in_.BeginNextSection(L"Inner")) << "a level opened anew is walked anew";
  EXPECT_TRUE(in_.EndSection());
  EXPECT_TRUE(in_.BeginSection(L"Inner"));
  EXPECT_TRUE(in_.EndSection());
  EXPECT_FALSE(in_.BeginNextSection(L"Inner"));
}

TEST_F(RegistryFilersTest, SubDocumentsAreTextThatIsADocument) {
  const std::wstring document = L"<?xml version=\"1.0\"?>\n<root><a>&amp;</a></root>";
  EXPECT_TRUE(out_.WriteSubDocument(L"doc", document));
  EXPECT_THAT(sandbox_.Get(L"", L"doc"), Optional(Text(document)));
  std::wstring text = L"old";
  EXPECT_TRUE(in_.ReadSubDocument(L"doc", text));
  EXPECT_EQ(text, document);

  // The form in which a chain of errors is kept where sections do not repeat.
  MException chain(MError(L"Reader.Open:NoSuchFile"));
  chain.Append(MError(L"Importer.Run:Failed"));
  MException readChain;
  EXPECT_TRUE(out_.WriteSubDocument(L"chain", chain.GetChainXml()));
  EXPECT_TRUE(in_.ReadSubDocument(L"chain", text));
  EXPECT_TRUE(readChain.AppendChainXml(text));
  EXPECT_EQ(readChain.GetChainDescription(), chain.GetChainDescription());

  for (const wchar_t* broken : {L"", L"text", L"<a>", L"<a/><b/>", L"<a></b>"}) {
    text = L"old";
    EXPECT_FALSE(out_.WriteSubDocument(L"broken", broken)) << broken;
    EXPECT_FALSE(in_.ReadSubDocument(L"broken", text));
    EXPECT_EQ(text, L"");
    ASSERT_TRUE(out_.WriteString(L"string", broken));
    text = L"old";
    EXPECT_FALSE(in_.ReadSubDocument(L"string", text)) << broken;
    EXPECT_EQ(text, L"");
  }
}

RegistrySeam::Call KeyCall(Kind kind, const std::wstring& path, std::uint32_t access) {
  return {kind, path, access};
}

MATCHER_P(IsCall, expected, "") {
  return arg.kind == expected.kind && arg.name == expected.name && arg.access == expected.access;
}

TEST_F(RegistryFilersTest, KeysAreOpenedWithTheAccessThatIsNeeded) {
  const std::wstring& app = sandbox_.GetApplicationKey();
  ASSERT_TRUE(sandbox_.Set(L"A\\B", L"v", Number(5)));
  for (const wchar_t* tag : {L"A", L"B"}) {
    ASSERT_TRUE(out_.BeginSection(tag));
    ASSERT_TRUE(in_.BeginSection(tag));
  }
  IInFilerTaggedRegistry creating(kUser, app, true);
  std::int32_t value = 0;

  RegistrySeam seam;
  EXPECT_TRUE(out_.WriteInt(L"v", 5));
  EXPECT_THAT(seam.calls, ElementsAre(IsCall(KeyCall(Kind::kOpen, L"Software", kReadWrite)),
                                      IsCall(KeyCall(Kind::kCreate, L"Orvel", kReadWrite)),
                                      IsCall(KeyCall(Kind::kCreate, app, kReadWrite)),
                                      IsCall(KeyCall(Kind::kCreate, L"A\\B", kReadWrite)),
                                      IsCall(KeyCall(Kind::kSet, L"v", 0))));
  seam.calls.clear();
  EXPECT_TRUE(in_.ReadInt(L"v", value, 0));
  EXPECT_THAT(seam.calls, ElementsAre(IsCall(KeyCall(Kind::kOpen, L"Software", kReadWrite)),
                                      IsCall(KeyCall(Kind::kOpen, L"Orvel", kRead)),
                                      IsCall(KeyCall(Kind::kOpen, app, kRead)),
                                      IsCall(KeyCall(Kind::kOpen, L"A\\B", kRead)),
                                      IsCall(KeyCall(Kind::kQuery, L"v", 0))));

  // Where writing is refused everywhere, reading goes on, and creating falls back to reading.
  seam.refuses = [](const RegistrySeam::Call& call) { return call.access == kReadWrite; };
  seam.calls.clear();
  EXPECT_TRUE(in_.ReadInt(L"v", value, 0));
  EXPECT_FALSE(creating.ReadInt(L"v", value, 0)) << "the value is two levels deeper";
  EXPECT_TRUE(creating.BeginSection(L"A"));
  EXPECT_TRUE(creating.BeginSection(L"B"));
  EXPECT_TRUE(creating.ReadInt(L"v", value, 0));
  EXPECT_EQ(value, 5);

  seam.calls.clear();
  EXPECT_FALSE(out_.WriteInt(L"v", 6));
  EXPECT_THAT(seam.calls, ElementsAre(IsCall(KeyCall(Kind::kOpen, L"Software", kReadWrite)),
                                      IsCall(KeyCall(Kind::kOpen, L"Software", kRead)),
                                      IsCall(KeyCall(Kind::kCreate, L"Orvel", kReadWrite)),
                                      IsCall(KeyCall(Kind::kCreate, L"Orvel", kRead)),
                                      IsCall(KeyCall(Kind::kCreate, app, kReadWrite))));
  EXPECT_EQ(seam.opened, seam.closed);
}

TEST_F(RegistryFilersTest, KeysAreClosedWhicheverCallFails) {
  const std::wstring longText = std::wstring(2000, L'n');
  ASSERT_TRUE(sandbox_.Set(L"A", L"text", Text(longText)));
  ASSERT_TRUE(sandbox_.Set(L"A", L"number", Number(5)));
  IInFilerTaggedRegistry creating(kUser, sandbox_.GetApplicationKey(), true);
  const auto operations = [&](RegistrySeam& seam) {
    const auto check = [&] { EXPECT_EQ(seam.opened, seam.closed); };
    for (IInFilerTagged* in :
         {static_cast<IInFilerTagged*>(&in_), static_cast<IInFilerTagged*>(&creating)}) {
      std::wstring text;
      std::int32_t number = 0;
      bool flag = false;
      double wide = 0.0;
      EXPECT_TRUE(in->BeginSection(L"A"));
      EXPECT_EQ(in->ReadString(L"text", text, L"d") ? longText : L"d", text);
      check();
      EXPECT_EQ(in->ReadInt(L"number", number, 6) ? 5 : 6, number);
      check();
      EXPECT_FALSE(in->ReadBool(L"text", flag, false)) << "no boolean, whatever it holds";
      check();
      EXPECT_FALSE(in->ReadDouble(L"text", wide, 1.0));
      check();
      EXPECT_TRUE(in->EndSection());
    }
    IInFilerTaggedRegistry walking(kUser, sandbox_.GetApplicationKey());
    const bool isOpen = walking.BeginNextSection(L"A");
    EXPECT_EQ(walking.EndSection(), isOpen);
    check();
    EXPECT_TRUE(out_.BeginSection(L"A"));
    out_.WriteInt(L"number", 5);
    check();
    out_.WriteString(L"text", longText);
    check();
    EXPECT_TRUE(out_.EndSection());
  };

  std::size_t callCount = 0;
  {
    RegistrySeam seam;
    operations(seam);
    callCount = seam.calls.size();
  }
  ASSERT_GT(callCount, 40u);
  const std::size_t handles = Orvel::Testing::CountOpenHandles();
  for (std::size_t failing = 1; failing <= callCount; ++failing) {
    SCOPED_TRACE(failing);
    RegistrySeam seam;
    std::size_t calls = 0;
    seam.refuses = [&](const RegistrySeam::Call&) { return ++calls == failing; };
    operations(seam);
    EXPECT_GE(calls, failing);
    EXPECT_GT(seam.opened, 0u);
  }
  EXPECT_EQ(Orvel::Testing::CountOpenHandles(), handles);
}

TEST_F(RegistryFilersTest, ShortValuesTakeOneQuery) {
  ASSERT_TRUE(out_.WriteInt(L"number", 5));
  ASSERT_TRUE(out_.WriteDouble(L"double", 0.5));
  RegistrySeam seam;
  const auto queriesOf = [&](const std::function<void()>& read) {
    seam.calls.clear();
    read();
    return std::count_if(seam.calls.begin(), seam.calls.end(),
                         [](const auto& call) { return call.kind == Kind::kQuery; });
  };
  EXPECT_EQ(queriesOf([&] {
              std::int32_t number = 0;
              EXPECT_TRUE(in_.ReadInt(L"number", number, 0));
            }),
            1);
  EXPECT_EQ(queriesOf([&] {
              bool flag = false;
              EXPECT_TRUE(in_.ReadBool(L"number", flag, false));
            }),
            1);
  EXPECT_EQ(queriesOf([&] {
              double number = 0.0;
              EXPECT_TRUE(in_.ReadDouble(L"double", number, 0.0));
            }),
            1);
}

}  // namespace
