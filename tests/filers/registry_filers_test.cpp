// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "orvel/filers/in_filer_tagged_registry.h"
#include "orvel/filers/out_filer_tagged_registry.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/misuse_recorder.h"
#include "tests/support/registry_sandbox.h"
#include "tests/support/registry_seam.h"

namespace {

using Orvel::Testing::RawRegistryValue;
using Orvel::Testing::RegistrySandbox;
using Orvel::Testing::RegistrySeam;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::FieldsAre;
using testing::Le;
using testing::Lt;
using testing::Optional;
using testing::SizeIs;
using Bytes = std::vector<std::uint8_t>;
using Kind = RegistrySeam::Call::Kind;

constexpr std::uint32_t kRead = 0x20019;
constexpr std::uint32_t kReadWrite = 0x2001F;
constexpr auto kUser = MRegistryRoot::kCurrentUser;

Bytes BytesOf(const void* data, std::size_t size) {
  const auto* const bytes = static_cast<const std::uint8_t*>(data);
  return {bytes, bytes + size};
}

RawRegistryValue Number(std::uint32_t value) { return {REG_DWORD, BytesOf(&value, sizeof value)}; }

Bytes TextBytes(std::wstring_view text) {
  return BytesOf(text.data(), text.size() * sizeof(wchar_t));
}

RawRegistryValue Text(std::wstring_view text) {
  return {REG_SZ, TextBytes(std::wstring(text) + L'\0')};
}

/// A filer of each kind on one sandbox, and what is said of both.
class RegistryFilersTest : public testing::Test {
 protected:
  Orvel::Testing::MisuseRecorder misuse_;  // some tests leave sections open
  RegistrySandbox sandbox_;
  const std::wstring application_ = sandbox_.GetApplicationKey();
  IOutFilerTaggedRegistry out_{kUser, application_};
  IInFilerTaggedRegistry in_{kUser, application_};
  IInFilerTaggedRegistry creating_{kUser, application_, true};
};

TEST_F(RegistryFilersTest, EachKindIsStoredInItsForm) {
  const auto expectStored = [this](bool isWritten, const RawRegistryValue& value) {
    EXPECT_TRUE(isWritten);
    EXPECT_THAT(sandbox_.Get(L"", L"v"), Optional(value));
  };
  const std::wstring document = L"<?xml version=\"1.0\"?>\n<root><a>&amp;</a></root>";
  expectStored(out_.WriteChar(L"v", static_cast<char>(-2)), Number(0xFE));
  expectStored(out_.WriteByte(L"v", 255), Number(0xFF));
  expectStored(out_.WriteShort(L"v", -5), Number(0xFFFB));
  expectStored(out_.WriteUnsignedShort(L"v", 65535), Number(0xFFFF));
  expectStored(out_.WriteInt(L"v", -5), Number(0xFFFFFFFB));
  expectStored(out_.WriteUnsignedInt(L"v", 0xFFFFFFFE), Number(0xFFFFFFFE));
  expectStored(out_.WriteBool(L"v", true), Number(1));
  expectStored(out_.WriteString(L"v", L"a\u00E9"), Text(L"a\u00E9"));
  expectStored(out_.WriteString(L"v", L""), Text(L""));
  expectStored(out_.WriteDouble(L"v", 0.1), Text(L"1.00000000000000e-01"));
  expectStored(out_.WriteFloat(L"v", 0.1f), Text(L"1.000000e-01"));
  expectStored(out_.WriteSubDocument(L"v", document), Text(document));
}

TEST_F(RegistryFilersTest, SectionsAreKeysThatAValueCreates) {
  EXPECT_TRUE(out_.BeginSection(L"Axes"));
  EXPECT_TRUE(out_.BeginSection(L"X"));
  EXPECT_FALSE(sandbox_.HasSection(L""));
  EXPECT_TRUE(out_.WriteInt(L"Count\\All", 3));
  EXPECT_TRUE(out_.EndSection());
  EXPECT_TRUE(out_.WriteInt(L"", 7));
  EXPECT_THAT(sandbox_.Get(L"Axes\\X", L"Count\\All"), Optional(Number(3)));
  EXPECT_THAT(sandbox_.Get(L"Axes", L""), Optional(Number(7))) << "the default value";

  // Reading creates keys only when told, and not when it is asked for a section.
  std::int32_t count = 0;
  for (IInFilerTaggedRegistry* in : {&in_, &creating_}) {
    EXPECT_TRUE(in == &in_ ? in->BeginNextSection(L"AXES\\x")
                           : in->BeginSection(L"AXES") && in->BeginSection(L"x"));
    EXPECT_TRUE(in->ReadInt(L"count\\ALL", count, 0));
    EXPECT_EQ(count, 3);
    EXPECT_FALSE(in->BeginNextSection(L"Y"));
    EXPECT_TRUE(in->BeginSection(L"Y"));
    EXPECT_FALSE(sandbox_.HasSection(L"Axes\\X\\Y"));
    EXPECT_FALSE(in->ReadInt(L"Count", count, 0));
    EXPECT_EQ(sandbox_.HasSection(L"Axes\\X\\Y"), in == &creating_);
  }
}

TEST(RegistryFilersRootTest, MachineWideValuesAreInTheWow6432NodeBranch) {
  constexpr auto kMachine = MRegistryRoot::kLocalMachine;
  const RegistrySandbox sandbox(kMachine);
  const std::wstring& application = sandbox.GetApplicationKey();
  if (!sandbox.Set(L"", L"probe", Number(1))) GTEST_SKIP() << "needs an administrator's rights";
  std::int32_t value = 0;
  EXPECT_TRUE(IOutFilerTaggedRegistry(kMachine, application).WriteInt(L"Count", 3));
  EXPECT_THAT(sandbox.Get(L"", L"Count"), Optional(Number(3)));
  EXPECT_TRUE(IInFilerTaggedRegistry(kMachine, application).ReadInt(L"Count", value, 0));
  EXPECT_EQ(value, 3);
  EXPECT_FALSE(IInFilerTaggedRegistry(kUser, application).ReadInt(L"Count", value, -1));
}

TEST_F(RegistryFilersTest, NamesThatWouldMisleadTheRegistryAreRefused) {
  IOutFilerTaggedRegistry nested(kUser, application_ + L"\\Part");
  EXPECT_TRUE(nested.WriteInt(L"a", 1));
  EXPECT_THAT(sandbox_.Get(L"Part", L"a"), Optional(Number(1)));
  const std::wstring longest(255, L's');
  EXPECT_TRUE(nested.BeginSection(longest));
  EXPECT_TRUE(nested.WriteInt(std::wstring(16383, L'v'), 1));
  EXPECT_TRUE(sandbox_.HasSection(L"Part\\" + longest));

  const RegistrySeam seam;
  const std::wstring withZero(L"a\0b", 3);
  std::wstring text;
  std::int32_t number = 0;
  bool flag = true;
  for (const std::wstring& key :
       {std::wstring(), L"\\" + application_, application_ + L"\\", application_ + L"\\\\Part",
        application_ + L"\\" + withZero, application_ + L"\\s" + longest}) {
    EXPECT_FALSE(IOutFilerTaggedRegistry(kUser, key).WriteInt(L"a", 1));
    EXPECT_FALSE(IInFilerTaggedRegistry(kUser, key, true).ReadInt(L"a", number, 5));
    EXPECT_EQ(number, 5);
  }
  for (const std::wstring& tag : {std::wstring(), withZero, L's' + longest, std::wstring(L"\\a"),
                                  std::wstring(L"a\\"), L"a\\" + withZero + L"\\b"}) {
    EXPECT_FALSE(in_.BeginNextSection(tag)) << "no such section exists";
    EXPECT_TRUE(out_.BeginSection(tag));
    EXPECT_TRUE(in_.BeginSection(tag));
    for (const bool isInside : {false, true}) {
      EXPECT_FALSE(out_.WriteInt(L"a", 1)) << isInside;
      EXPECT_FALSE(out_.WriteString(L"", L"text")) << isInside;
      EXPECT_FALSE(in_.ReadInt(L"a", number, 5));
      EXPECT_FALSE(in_.ReadString(L"", text, L"default"));
      EXPECT_FALSE(in_.BeginNextSection(L"Part"));
      EXPECT_TRUE(isInside || (out_.BeginSection(L"Part") && in_.BeginSection(L"Part")));
    }
    EXPECT_TRUE(out_.EndSection());
    EXPECT_TRUE(in_.EndSection());
    EXPECT_TRUE(out_.EndSection());
    EXPECT_TRUE(in_.EndSection());
    EXPECT_FALSE(out_.EndSection());
    EXPECT_FALSE(in_.EndSection());
  }
  for (const std::wstring& tag : {withZero, std::wstring(16384, L'v')}) {
    EXPECT_FALSE(out_.WriteInt(tag, 1));
    EXPECT_FALSE(out_.WriteString(tag, L"text"));
    EXPECT_FALSE(in_.ReadString(tag, text, L"default"));
    EXPECT_FALSE(in_.ReadBool(tag, flag, false));
    EXPECT_FALSE(in_.ReadInt(tag, number, 4));
    EXPECT_EQ(text, L"default");
    EXPECT_FALSE(flag);
    EXPECT_EQ(number, 4);
  }
  EXPECT_TRUE(seam.calls.empty());
  EXPECT_TRUE(out_.WriteInt(L"a", 1)) << "as if nothing had been";
  EXPECT_TRUE(in_.ReadInt(L"a", number, 5)) << "as if nothing had been";
}

TEST_F(RegistryFilersTest, NestingIsDescendedInStretchesThatOneCallCanCreate) {
  constexpr int kDepth = 70;
  RegistrySeam seam;
  std::wstring path;
  for (int level = 0; level < kDepth; ++level) {
    ASSERT_TRUE(out_.BeginSection(L"s"));
    ASSERT_TRUE(level % 2 == 0 || in_.BeginSection(L"s\\s"));
    path += level == 0 ? L"s" : L"\\s";
  }
  std::int32_t value = 0;
  EXPECT_TRUE(out_.WriteInt(L"a", 1));
  EXPECT_TRUE(in_.ReadInt(L"a", value, 0));
  EXPECT_THAT(seam.calls, Each(Field(&RegistrySeam::Call::name, SizeIs(Lt(2 * 32u)))));
  EXPECT_THAT(sandbox_.Get(path, L"a"), Optional(Number(1)));
  EXPECT_TRUE(in_.EndSection());
  EXPECT_FALSE(in_.ReadInt(L"a", value, 0)) << "one level less is another key";
}

TEST_F(RegistryFilersTest, NumbersAreReadFromUpToFourBytesOfAnyType) {
  const struct {
    const char* what;
    RawRegistryValue stored;
    std::optional<std::uint32_t> number;
    bool isBoolean;
    bool boolean;  // taken in any case
  } cases[] = {
      {"double word", Number(0x80018283), 0x80018283, true, true},
      {"zero", Number(0), 0, true, false},
      {"text of one character", Text(L"A"), 0x41, false, true},
      {"empty text", Text(L""), 0, false, false},
      {"long text", Text(L"no"), {}, false, true},
      {"long text of zeros", {REG_SZ, Bytes(6)}, {}, false, false},
      {"very long text", Text(std::wstring(5000, L'n')), {}, false, true},
      {"three bytes", {REG_BINARY, {1, 2, 3}}, 0x030201, false, true},
      {"no byte", {REG_BINARY, {}}, 0, false, false},
      {"short double word", {REG_DWORD, {7, 0}}, 7, true, true},
      {"long double word", {REG_DWORD, {0, 0, 0, 0, 1}}, {}, true, false},
      {"quad word", {REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}}, {}, false, true},
  };
  for (const auto& [what, stored, expected, isBoolean, expectedBoolean] : cases) {
    SCOPED_TRACE(what);
    ASSERT_TRUE(sandbox_.Set(L"", L"v", stored));
    std::uint32_t number = 0;
    EXPECT_EQ(in_.ReadUnsignedInt(L"v", number, 0x55555555), expected.has_value());
    EXPECT_EQ(number, expected.value_or(0x55555555));
    std::uint8_t byte = 0;
    EXPECT_EQ(in_.ReadByte(L"v", byte, 0x55), expected.has_value());
    EXPECT_EQ(byte, number & 0xFF) << "the low bits count";
    bool boolean = !expectedBoolean;
    EXPECT_EQ(in_.ReadBool(L"v", boolean, !expectedBoolean), isBoolean);
    EXPECT_EQ(boolean, expectedBoolean);
  }
}

TEST_F(RegistryFilersTest, StringsAreBoundedByWhatTheRegistryReturned) {
  ASSERT_TRUE(sandbox_.Set(L"", L"v", Number(0)));
  RegistrySeam seam;  // the system may put a zero behind the text; here garbage stands there
  const std::wstring longText(3000, L'l');
  const std::wstring shortText(256, L'a');
  Bytes oddBytes = TextBytes(longText);
  oddBytes.push_back('o');
  const struct {
    const char* what;
    RawRegistryValue stored;
    std::optional<std::wstring> text;
  } cases[] = {
      {"terminated", Text(L"abc"), L"abc"},
      {"without terminator", {REG_SZ, TextBytes(L"abc")}, L"abc"},
      {"without terminator, as long as the first buffer",
       {REG_SZ, TextBytes(shortText)},
       shortText},
      {"odd size", {REG_SZ, {'a', 0, 'b', 0, 'c'}}, L"ab"},
      {"one byte", {REG_SZ, {'a'}}, L""},
      {"zero size", {REG_SZ, {}}, L""},
      {"embedded zero", Text(std::wstring(L"ab\0cd", 5)), L"ab"},
      {"only zeros", {REG_SZ, Bytes(9)}, L""},
      {"long, without terminator", {REG_SZ, TextBytes(longText)}, longText},
      {"long, odd size", {REG_SZ, oddBytes}, longText},
      {"with a variable", {REG_EXPAND_SZ, TextBytes(L"%PATH%")}, L"%PATH%"},
      {"double word", Number(5), {}},
      {"list", {REG_MULTI_SZ, TextBytes(L"ab")}, {}},
      {"long binary", {REG_BINARY, Bytes(4000, 'b')}, {}},
      {"unknown type", {4711, TextBytes(L"ab")}, {}},
  };
  for (const auto& [what, stored, expected] : cases) {
    SCOPED_TRACE(what);
    seam.finds = [&value = stored] { return value; };
    std::wstring text = L"v";
    EXPECT_EQ(in_.ReadString(text, text, text), expected.has_value()) << "into its tag and default";
    EXPECT_EQ(text, expected.value_or(L"v"));
  }
}

TEST_F(RegistryFilersTest, QueriesAreOneForShortValuesAndBoundedForThoseThatGrow) {
  ASSERT_TRUE(sandbox_.Set(L"", L"v", Number(1)));
  ASSERT_TRUE(sandbox_.Set(L"", L"text", Text(L"0.5")));
  RegistrySeam seam;
  const auto queries = Field(&RegistrySeam::Call::kind, Kind::kQuery);
  bool flag = false;
  double wide = 0.0;
  EXPECT_TRUE(in_.ReadBool(L"v", flag, false));
  EXPECT_TRUE(in_.ReadDouble(L"text", wide, 0.0));
  EXPECT_FALSE(in_.ReadDouble(L"v", wide, 7.0)) << "a number is no text";
  EXPECT_EQ(wide, 7.0);
  EXPECT_THAT(seam.calls, Contains(queries).Times(3));

  std::wstring text;
  std::size_t length = 0;
  seam.finds = [&] {
    length = (std::min<std::size_t>)(length + 300, 1000);
    return Text(std::wstring(length, L'g'));
  };
  for (const std::int32_t status : {ERROR_MORE_DATA, ERROR_SUCCESS}) {
    length = 0;
    seam.statusOfTooLittleRoom = status;  // which is not to be believed
    EXPECT_TRUE(in_.ReadString(L"v", text, L"default"));
    EXPECT_EQ(text, std::wstring(1000, L'g'));
  }

  seam.calls.clear();
  seam.finds = [&] { return Text(std::wstring(length += 300, L'g')); };
  EXPECT_FALSE(in_.ReadString(L"v", text, L"default"));
  EXPECT_EQ(text, L"default");
  EXPECT_THAT(seam.calls, Contains(queries).Times(Le(16u)));

  // A value that shrinks, and one whose type changes, are taken as the last query found them.
  const auto becomes = [&](const RawRegistryValue& last) {
    seam.finds = [last, isFirst = true]() mutable {
      return std::exchange(isFirst, false) ? Text(std::wstring(999, L'g')) : last;
    };
  };
  becomes(Text(L"now short"));
  EXPECT_TRUE(in_.ReadString(L"v", text, L"default"));
  EXPECT_EQ(text, L"now short");
  becomes({REG_DWORD, {0}});
  EXPECT_TRUE(in_.ReadBool(L"v", flag, true));
  EXPECT_FALSE(flag);
}

TEST_F(RegistryFilersTest, EndingASectionTakesTheNextStampOfTheProcess) {
  const auto visit = [](auto& filer) {
    EXPECT_TRUE(filer.BeginSection(L"A"));
    EXPECT_TRUE(filer.EndSection());
    EXPECT_FALSE(filer.EndSection());
    return filer.GetChangeStamp();
  };
  EXPECT_EQ(in_.GetChangeStamp(), 0u);
  const std::uint32_t first = visit(out_);
  EXPECT_EQ(visit(in_), first + 1);
  EXPECT_EQ(visit(out_), first + 2);
  EXPECT_FALSE(in_.BeginNextSection(L"missing"));
  std::uint32_t stamp = 0;
  EXPECT_TRUE(in_.ReadChangeStamp(stamp));
  EXPECT_EQ(stamp, first + 1) << "a section that was not opened does not end";
  EXPECT_TRUE(out_.BeginSection(L"A"));
  EXPECT_TRUE(out_.BeginSection(L"Inner"));
  EXPECT_TRUE(out_.EndSection());
  EXPECT_EQ(out_.GetChangeStamp(), first + 3) << "an inner section's end counts";
}

TEST_F(RegistryFilersTest, AnExistingSectionIsWalkedOncePerLevel) {
  for (const wchar_t* const path : {L"A\\Inner", L"B\\Inner"})
    ASSERT_TRUE(sandbox_.Set(path, L"v", Number(1)));
  for (const wchar_t* const tag : {L"A", L"B"}) {
    EXPECT_TRUE(in_.BeginNextSection(tag));
    EXPECT_TRUE(in_.BeginNextSection(L"Inner"));
    EXPECT_TRUE(in_.EndSection());
    EXPECT_FALSE(in_.BeginNextSection(L"INNER")) << "the same key";
    EXPECT_FALSE(in_.BeginNextSection(L"Other"));
    EXPECT_TRUE(in_.EndSection());
  }
  EXPECT_FALSE(in_.BeginNextSection(L"A"));
  EXPECT_FALSE(in_.BeginNextSection(L"B"));

  // From its start again, by tag: as often as one likes, and then not as the next one.
  EXPECT_TRUE(in_.BeginSection(L"A"));
  EXPECT_TRUE(in_.BeginNextSection(L"Inner")) << "a level opened anew is walked anew";
  EXPECT_TRUE(in_.EndSection());
  EXPECT_TRUE(in_.BeginSection(L"Inner"));
  EXPECT_TRUE(in_.EndSection());
  EXPECT_FALSE(in_.BeginNextSection(L"Inner"));
}

TEST_F(RegistryFilersTest, KeysAreOpenedWithTheAccessThatIsNeeded) {
  ASSERT_TRUE(sandbox_.Set(L"A\\B", L"v", Number(5)));
  for (const wchar_t* tag : {L"A", L"B"}) {
    ASSERT_TRUE(out_.BeginSection(tag));
    ASSERT_TRUE(in_.BeginSection(tag));
    ASSERT_TRUE(creating_.BeginSection(tag));
  }
  std::int32_t value = 0;
  RegistrySeam seam;
  EXPECT_TRUE(out_.WriteInt(L"v", 5));
  EXPECT_THAT(seam.calls, ElementsAre(FieldsAre(Kind::kOpen, L"Software", kReadWrite),
                                      FieldsAre(Kind::kCreate, L"Orvel", kReadWrite),
                                      FieldsAre(Kind::kCreate, application_, kReadWrite),
                                      FieldsAre(Kind::kCreate, L"A\\B", kReadWrite),
                                      FieldsAre(Kind::kSet, L"v", 0u)));
  seam.calls.clear();
  EXPECT_TRUE(in_.ReadInt(L"v", value, 0));
  EXPECT_THAT(seam.calls, ElementsAre(FieldsAre(Kind::kOpen, L"Software", kReadWrite),
                                      FieldsAre(Kind::kOpen, L"Orvel", kRead),
                                      FieldsAre(Kind::kOpen, application_, kRead),
                                      FieldsAre(Kind::kOpen, L"A\\B", kRead),
                                      FieldsAre(Kind::kQuery, L"v", 0u)));

  // Where writing is refused everywhere, reading goes on, and creating falls back to reading.
  seam.refuses = [](const RegistrySeam::Call& call) { return call.access == kReadWrite; };
  EXPECT_TRUE(in_.ReadInt(L"v", value, 0));
  EXPECT_TRUE(creating_.ReadInt(L"v", value, 0));
  seam.calls.clear();
  EXPECT_FALSE(out_.WriteInt(L"v", 6));
  EXPECT_THAT(seam.calls, ElementsAre(FieldsAre(Kind::kOpen, L"Software", kReadWrite),
                                      FieldsAre(Kind::kOpen, L"Software", kRead),
                                      FieldsAre(Kind::kCreate, L"Orvel", kReadWrite),
                                      FieldsAre(Kind::kCreate, L"Orvel", kRead),
                                      FieldsAre(Kind::kCreate, application_, kReadWrite)));
}

TEST_F(RegistryFilersTest, KeysAreClosedWhicheverCallFails) {
  const std::wstring longText(2000, L'n');
  ASSERT_TRUE(sandbox_.Set(L"A", L"text", Text(longText)));
  ASSERT_TRUE(sandbox_.Set(L"A", L"number", Number(5)));
  const auto operate = [&] {
    std::wstring text;
    std::int32_t number = 0;
    bool flag = false;
    for (IInFilerTaggedRegistry* in : {&in_, &creating_}) {
      EXPECT_TRUE(in->BeginSection(L"A"));
      EXPECT_EQ(in->ReadString(L"text", text, L"d") ? longText : L"d", text);
      EXPECT_EQ(in->ReadInt(L"number", number, 6) ? 5 : 6, number);
      EXPECT_FALSE(in->ReadBool(L"text", flag, false)) << "no boolean, whatever it holds";
      EXPECT_TRUE(in->EndSection());
    }
    IInFilerTaggedRegistry walking(kUser, application_);
    const bool isOpen = walking.BeginNextSection(L"A");
    EXPECT_EQ(walking.EndSection(), isOpen);
    EXPECT_TRUE(out_.BeginSection(L"A"));
    out_.WriteInt(L"number", 5);
    out_.WriteString(L"text", longText);
    EXPECT_TRUE(out_.EndSection());
  };
  std::size_t calls = 0;
  for (std::size_t failing = 1; failing <= calls + 1; ++failing) {
    SCOPED_TRACE(failing);
    RegistrySeam seam;
    calls = 0;
    seam.refuses = [&](const RegistrySeam::Call&) { return ++calls == failing; };
    operate();
    EXPECT_EQ(seam.opened, seam.closed);
  }
  EXPECT_GT(calls, 40u);
}

}  // namespace
