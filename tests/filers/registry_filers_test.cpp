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
#include "orvel/filers/tagged_section.h"
#include "orvel/filers/tagged_values.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/handle_count.h"
#include "tests/support/misuse_recorder.h"
#include "tests/support/registry_sandbox.h"

namespace {

using Orvel::Testing::RawRegistryValue;
using Orvel::Testing::RegistrySandbox;
using Orvel::Testing::RegistrySeam;
using testing::Contains;
using testing::ElementsAre;
using testing::Optional;
using Bytes = std::vector<std::uint8_t>;

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
  for (IInFilerTaggedRegistry* in : {&in_, &creating_}) {
    EXPECT_TRUE(in == &in_ ? in->BeginNextSection(L"AXES\\x")
                           : in->BeginSection(L"AXES") && in->BeginSection(L"x"));
    EXPECT_EQ(ReadTagged<int>(*in, L"count\\ALL", 0), 3);
    EXPECT_FALSE(in->BeginNextSection(L"Y"));
    EXPECT_TRUE(in->BeginSection(L"Y"));
    EXPECT_FALSE(sandbox_.HasSection(L"Axes\\X\\Y"));
    EXPECT_EQ(ReadTagged<int>(*in, L"Count", -1), -1);
    EXPECT_EQ(sandbox_.HasSection(L"Axes\\X\\Y"), in == &creating_);
  }
}

TEST(RegistryFilersRootTest, MachineWideValuesAreInTheWow6432NodeBranch) {
  constexpr auto kMachine = MRegistryRoot::kLocalMachine;
  const RegistrySandbox sandbox(kMachine);
  const std::wstring& application = sandbox.GetApplicationKey();
  if (!sandbox.Set(L"", L"probe", Number(1))) GTEST_SKIP() << "needs an administrator's rights";
  EXPECT_TRUE(IOutFilerTaggedRegistry(kMachine, application).WriteInt(L"Count", 3));
  EXPECT_THAT(sandbox.Get(L"", L"Count"), Optional(Number(3)));
  IInFilerTaggedRegistry machine(kMachine, application);
  IInFilerTaggedRegistry user(kUser, application);
  EXPECT_EQ(ReadTagged<int>(machine, L"Count", -1), 3);
  EXPECT_EQ(ReadTagged<int>(user, L"Count", -1), -1);
}

TEST_F(RegistryFilersTest, NamesThatWouldMisleadTheRegistryAreRefused) {
  const std::wstring longest(255, L's');
  IOutFilerTaggedRegistry nested(kUser, application_ + L"\\Part");
  EXPECT_TRUE(nested.BeginSection(longest));
  EXPECT_TRUE(nested.WriteInt(std::wstring(16383, L'v'), 1));
  EXPECT_TRUE(sandbox_.HasSection(L"Part\\" + longest));

  const RegistrySeam seam;
  const std::wstring withZero(L"a\0b", 3);
  for (const std::wstring& key :
       {std::wstring(), L"\\" + application_, application_ + L"\\", application_ + L"\\\\Part",
        application_ + L"\\" + withZero, application_ + L"\\s" + longest}) {
    IInFilerTaggedRegistry in(kUser, key, true);
    EXPECT_EQ(ReadTagged<int>(in, L"a", 5), 5);
    EXPECT_FALSE(IOutFilerTaggedRegistry(kUser, key).WriteInt(L"a", 1));
  }
  for (const std::wstring& tag : {std::wstring(), withZero, L's' + longest, std::wstring(L"\\a"),
                                  std::wstring(L"a\\"), L"a\\" + withZero + L"\\b"}) {
    EXPECT_FALSE(in_.BeginNextSection(tag)) << "no such section exists";
    for (const std::wstring& section : {tag, std::wstring(L"Part")}) {
      EXPECT_TRUE(out_.BeginSection(section));
      EXPECT_TRUE(in_.BeginSection(section));
      EXPECT_FALSE(out_.WriteInt(L"a", 1)) << section;
      EXPECT_FALSE(out_.WriteString(L"", L"text")) << section;
      EXPECT_EQ(ReadTagged<int>(in_, L"a", 5), 5) << section;
      EXPECT_EQ(ReadTagged<std::wstring>(in_, L"", L"default"), L"default") << section;
      EXPECT_FALSE(in_.BeginNextSection(L"Part"));
    }
    for (const bool isOpen : {true, true, false}) {
      EXPECT_EQ(out_.EndSection(), isOpen);
      EXPECT_EQ(in_.EndSection(), isOpen);
    }
  }
  for (const std::wstring& tag : {withZero, std::wstring(16384, L'v')}) {
    EXPECT_FALSE(out_.WriteInt(tag, 1));
    EXPECT_FALSE(out_.WriteString(tag, L"text"));
    EXPECT_EQ(ReadTagged<std::wstring>(in_, tag, L"default"), L"default");
    EXPECT_EQ(ReadTagged<bool>(in_, tag, true), true);
    EXPECT_EQ(ReadTagged<int>(in_, tag, 4), 4);
  }
  EXPECT_TRUE(seam.calls.empty());
  EXPECT_TRUE(out_.WriteInt(L"a", 1)) << "as if nothing had been";
  EXPECT_EQ(ReadTagged<int>(in_, L"a", 5), 1) << "as if nothing had been";
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
  EXPECT_TRUE(out_.WriteInt(L"a", 1));
  EXPECT_EQ(ReadTagged<int>(in_, L"a", 0), 1);
  EXPECT_THAT(seam.calls, testing::Each(testing::SizeIs(testing::Lt(75u))));
  EXPECT_THAT(sandbox_.Get(path, L"a"), Optional(Number(1)));
  EXPECT_TRUE(in_.EndSection());
  EXPECT_EQ(ReadTagged<int>(in_, L"a", 0), 0) << "one level less is another key";
}

TEST_F(RegistryFilersTest, NumbersAreReadFromUpToFourBytesOfAnyType) {
  const struct {
    const char* what;
    RawRegistryValue stored;
    std::optional<std::uint32_t> number;
    bool boolean;  // taken in any case
  } cases[] = {
      {"double word", Number(0x80018283), 0x80018283, true},
      {"zero", Number(0), 0, false},
      {"text of one character", Text(L"A"), 0x41, true},
      {"long text", Text(L"no"), {}, true},
      {"very long text", Text(std::wstring(5000, L'n')), {}, true},
      {"three bytes", {REG_BINARY, {1, 2, 3}}, 0x030201, true},
      {"no byte", {REG_BINARY, {}}, 0, false},
      {"short double word", {REG_DWORD, {7, 0}}, 7, true},
      {"long double word", {REG_DWORD, {0, 0, 0, 0, 1}}, {}, false},
      {"quad word", {REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}}, {}, true},
  };
  for (const auto& [what, stored, expected, expectedBoolean] : cases) {
    SCOPED_TRACE(what);
    ASSERT_TRUE(sandbox_.Set(L"", L"v", stored));
    const auto number = ReadTagged<std::uint32_t>(in_, L"v", 0x55555555);
    EXPECT_EQ(number, expected.value_or(0x55555555));
    EXPECT_EQ(ReadTagged<std::uint8_t>(in_, L"v", 0x55), number & 0xFF) << "the low bits count";
    bool boolean = !expectedBoolean;
    EXPECT_EQ(in_.ReadBool(L"v", boolean, !expectedBoolean), stored.type == REG_DWORD);
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
      {"without terminator", {REG_SZ, TextBytes(L"abc")}, L"abc"},
      {"filling the first buffer", {REG_SZ, TextBytes(shortText)}, shortText},
      {"odd size", {REG_SZ, {'a', 0, 'b', 0, 'c'}}, L"ab"},
      {"zero size", {REG_SZ, {}}, L""},
      {"embedded zero", Text(std::wstring(L"ab\0cd", 5)), L"ab"},
      {"only zeros", {REG_SZ, Bytes(9)}, L""},
      {"long, without terminator", {REG_SZ, TextBytes(longText)}, longText},
      {"long, odd size", {REG_SZ, oddBytes}, longText},
      {"with a variable", {REG_EXPAND_SZ, TextBytes(L"%PATH%")}, L"%PATH%"},
      {"double word", Number(5), {}},
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
  const auto queries = testing::StartsWith(L"query");
  EXPECT_TRUE(ReadTagged<bool>(in_, L"v", false));
  EXPECT_EQ(ReadTagged<double>(in_, L"text", 0.0), 0.5);
  EXPECT_EQ(ReadTagged<double>(in_, L"v", 7.0), 7.0) << "a number is no text";
  EXPECT_THAT(seam.calls, Contains(queries).Times(3));

  std::size_t length = 0;
  seam.finds = [&] {
    length = (std::min<std::size_t>)(length + 300, 1000);
    return Text(std::wstring(length, L'g'));
  };
  for (const std::int32_t status : {ERROR_MORE_DATA, ERROR_SUCCESS}) {
    length = 0;
    seam.statusOfTooLittleRoom = status;  // which is not to be believed
    EXPECT_EQ(ReadTagged<std::wstring>(in_, L"v", L"default"), std::wstring(1000, L'g'));
  }
  seam.calls.clear();
  seam.finds = [&] { return Text(std::wstring(length += 300, L'g')); };
  EXPECT_EQ(ReadTagged<std::wstring>(in_, L"v", L"default"), L"default");
  EXPECT_THAT(seam.calls, Contains(queries).Times(testing::Le(16u)));

  // A value that shrinks, and one whose type changes, are taken as the last query found them.
  const auto becomes = [&](const RawRegistryValue& last) {
    seam.finds = [last, isFirst = true]() mutable {
      return std::exchange(isFirst, false) ? Text(std::wstring(999, L'g')) : last;
    };
  };
  becomes(Text(L"now short"));
  EXPECT_EQ(ReadTagged<std::wstring>(in_, L"v", L"default"), L"now short");
  becomes({REG_DWORD, {0}});
  EXPECT_FALSE(ReadTagged<bool>(in_, L"v", true));
}

TEST_F(RegistryFilersTest, EndingASectionTakesTheNextStampOfTheProcess) {
  const auto visit = [](auto& filer) {
    EXPECT_TRUE(filer.BeginSection(L"A"));
    EXPECT_TRUE(filer.EndSection());
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
  visit(out_);
  EXPECT_EQ(out_.GetChangeStamp(), first + 3) << "an inner section's end counts";
}

TEST_F(RegistryFilersTest, AnExistingSectionIsWalkedOncePerLevel) {
  for (const wchar_t* const path : {L"A\\Inner", L"B\\Inner"})
    ASSERT_TRUE(sandbox_.Set(path, L"v", Number(1)));
  for (const wchar_t* const tag : {L"A", L"B"}) {
    EXPECT_TRUE(in_.BeginNextSection(tag));
    EXPECT_TRUE(in_.BeginNextSection(L"Inner")) << "a level opened anew is walked anew";
    EXPECT_TRUE(in_.EndSection());
    EXPECT_FALSE(in_.BeginNextSection(L"INNER")) << "the same key";
    EXPECT_FALSE(in_.BeginNextSection(L"Other"));
    EXPECT_TRUE(in_.EndSection());
    EXPECT_FALSE(in_.BeginNextSection(tag));
  }
  // By tag as often as one likes, and then not as the next one.
  EXPECT_TRUE(in_.BeginSection(L"A"));
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
  RegistrySeam seam;
  EXPECT_TRUE(out_.WriteInt(L"v", 5));
  EXPECT_THAT(seam.calls, ElementsAre(L"open rw Software", L"create rw Orvel",
                                      L"create rw " + application_, L"create rw A\\B", L"set v"));
  seam.calls.clear();
  EXPECT_EQ(ReadTagged<int>(in_, L"v", 0), 5);
  EXPECT_THAT(seam.calls, ElementsAre(L"open rw Software", L"open r Orvel",
                                      L"open r " + application_, L"open r A\\B", L"query v"));

  // Where writing is refused everywhere, reading goes on, and creating falls back to reading.
  seam.refuses = [](const std::wstring& call) { return call.find(L" rw ") != call.npos; };
  EXPECT_EQ(ReadTagged<int>(in_, L"v", 0), 5);
  EXPECT_EQ(ReadTagged<int>(creating_, L"v", 0), 5);
  seam.calls.clear();
  EXPECT_FALSE(out_.WriteInt(L"v", 6));
  EXPECT_THAT(seam.calls, ElementsAre(L"open rw Software", L"open r Software", L"create rw Orvel",
                                      L"create r Orvel", L"create rw " + application_));
}

TEST_F(RegistryFilersTest, KeysAreClosedWhicheverCallFails) {
  const std::wstring longText(2000, L'n');
  ASSERT_TRUE(sandbox_.Set(L"A", L"text", Text(longText)));
  ASSERT_TRUE(sandbox_.Set(L"A", L"number", Number(5)));
  const auto operate = [&] {
    std::wstring text;
    std::int32_t number = 0;
    for (IInFilerTaggedRegistry* in : {&in_, &creating_}) {
      const MTaggedSection section(*in, L"A");
      EXPECT_TRUE(section);
      EXPECT_EQ(in->ReadString(L"text", text, L"d") ? longText : L"d", text);
      EXPECT_EQ(in->ReadInt(L"number", number, 6) ? 5 : 6, number);
      EXPECT_FALSE(ReadTagged<bool>(*in, L"text", false)) << "no boolean, whatever it holds";
    }
    IInFilerTaggedRegistry walking(kUser, application_);
    const bool isOpen = walking.BeginNextSection(L"A");
    EXPECT_EQ(walking.EndSection(), isOpen);
    const MTaggedSection section(out_, L"A");
    out_.WriteInt(L"number", 5);
    out_.WriteString(L"text", longText);
  };
  operate();
  const std::size_t handles = Orvel::Testing::CountOpenHandles();
  std::size_t calls = 0;
  for (std::size_t failing = 1; failing <= calls + 1; ++failing) {
    SCOPED_TRACE(failing);
    RegistrySeam seam;
    calls = 0;
    seam.refuses = [&](const std::wstring&) { return ++calls == failing; };
    operate();
  }
  EXPECT_EQ(Orvel::Testing::CountOpenHandles(), handles);
  EXPECT_GT(calls, 40u);
}

}  // namespace
