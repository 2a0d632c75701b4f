// SPDX-License-Identifier: MIT
// What writers and readers of tagged values have in common, whatever they write into; where they
// differ is listed in docs/tagged_filers.md and tested here as well.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "orvel/filers/in_filer_tagged_registry.h"
#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_registry.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/foundation/exception.h"
#include "orvel/foundation/filer_pair.h"
#include "tests/support/registry_sandbox.h"

namespace {

using Orvel::Testing::RegistrySandbox;
using In = IInFilerTagged;
using Out = IOutFilerTagged;

class XmlStore {
 public:
  static constexpr bool kIsRegistry = false;
  Out& GetOut() { return out_; }
  /// A reader of what was written so far.
  std::unique_ptr<In> Read() { return std::make_unique<MInFilerTaggedXml>(out_.GetText()); }

 private:
  MOutFilerTaggedXml out_;
};

class RegistryStore {
 public:
  static constexpr bool kIsRegistry = true;
  Out& GetOut() { return out_; }
  std::unique_ptr<In> Read() {
    return std::make_unique<IInFilerTaggedRegistry>(MRegistryRoot::kCurrentUser,
                                                    sandbox_.GetApplicationKey());
  }

 private:
  RegistrySandbox sandbox_;
  IOutFilerTaggedRegistry out_{MRegistryRoot::kCurrentUser, sandbox_.GetApplicationKey()};
};

template <class Store>
class TaggedFilersTest : public testing::Test {
 protected:
  /// Writes each value under a tag of its own and reads all back, twice and from behind. What is
  /// missing leaves the default.
  template <class Value, class Write, class Read>
  static void ExpectToComeBack(Write write, Read read, const std::vector<Value>& values,
                               Value defaultValue) {
    Store store;
    for (std::size_t index = 0; index < values.size(); ++index) {
      EXPECT_TRUE((store.GetOut().*write)(L"v" + std::to_wstring(index), values[index]));
    }
    const auto in = store.Read();
    Value value = defaultValue;
    for (int pass = 0; pass < 2; ++pass) {
      for (std::size_t index = values.size(); index-- > 0;) {
        EXPECT_TRUE((*in.*read)(L"v" + std::to_wstring(index), value, defaultValue));
        EXPECT_EQ(value, values[index]);
      }
    }
    EXPECT_FALSE((*in.*read)(L"missing", value, defaultValue));
    EXPECT_EQ(value, defaultValue);
  }

  Store store_;
  Out& out_ = store_.GetOut();
};

using Stores = testing::Types<XmlStore, RegistryStore>;
TYPED_TEST_SUITE(TaggedFilersTest, Stores);

TYPED_TEST(TaggedFilersTest, IntegersAndStringsComeBackExactly) {
  constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
  std::vector<char> characters;
  for (int code = 1; code < 256; ++code) characters.push_back(static_cast<char>(code));
  this->template ExpectToComeBack<char>(&Out::WriteChar, &In::ReadChar, characters, 'd');
  this->template ExpectToComeBack<bool>(&Out::WriteBool, &In::ReadBool, {false, true}, true);
  this->template ExpectToComeBack<std::uint8_t>(&Out::WriteByte, &In::ReadByte,
                                                {0, 1, 127, 128, 255}, 9);
  this->template ExpectToComeBack<std::int16_t>(&Out::WriteShort, &In::ReadShort,
                                                {-32768, -5, -1, 0, 32767}, 9);
  this->template ExpectToComeBack<std::uint16_t>(&Out::WriteUnsignedShort, &In::ReadUnsignedShort,
                                                 {0, 32768, 65535}, 9);
  this->template ExpectToComeBack<std::int32_t>(&Out::WriteInt, &In::ReadInt, {kMin, -1, 0, kMax},
                                                9);
  this->template ExpectToComeBack<std::uint32_t>(&Out::WriteUnsignedInt, &In::ReadUnsignedInt,
                                                 {0, 0x80000000, 0xFFFFFFFF}, 9);
  this->template ExpectToComeBack<std::wstring>(
      &Out::WriteString, &In::ReadString,
      {L"", L"  blanks \t around  ", L"<a href=\"x\">'&amp;'&#65;</a> ]]> --> \\ / %PATH%",
       L"]]> <![CDATA[ -->", L"line\nline\r\nline\r", L"\u00E4\u4E2D\xD83D\xDE00",
       std::wstring(100'000, L'&')},
      L"default");
}

TYPED_TEST(TaggedFilersTest, FloatingNumbersComeBackToTheDigitsWritten) {
  double wide = 7.0;
  float narrow = 7.0f;
  for (const double written : {0.0, -0.0, 0.5, 0.1, -1.0 / 3.0, 3.4e38, 1.2e-38}) {
    TypeParam store;
    EXPECT_TRUE(store.GetOut().WriteDouble(L"wide", written));
    EXPECT_TRUE(store.GetOut().WriteFloat(L"narrow", static_cast<float>(written)));
    const auto in = store.Read();
    EXPECT_TRUE(in->ReadDouble(L"wide", wide, 7.0));
    EXPECT_TRUE(in->ReadFloat(L"narrow", narrow, 7.0f));
    // The last digit written is worth 1e-14 of the first in the registry, 1e-15 in XML.
    EXPECT_NEAR(wide, written, std::fabs(written) * 1e-14);
    EXPECT_EQ(std::signbit(wide), std::signbit(written));
    EXPECT_NEAR(narrow, static_cast<float>(written),
                TypeParam::kIsRegistry ? std::fabs(written) * 1e-6 : 0.0);
  }
  // Either width reads what the other wrote.
  EXPECT_TRUE(this->out_.WriteDouble(L"wide", -1e300));
  EXPECT_TRUE(this->out_.WriteFloat(L"narrow", std::numeric_limits<float>::quiet_NaN()));
  const auto in = this->store_.Read();
  EXPECT_TRUE(in->ReadFloat(L"wide", narrow, 7.0f));
  EXPECT_EQ(narrow, -std::numeric_limits<float>::infinity());
  EXPECT_TRUE(in->ReadDouble(L"narrow", wide, 7.0));
  EXPECT_TRUE(std::isnan(wide));
  EXPECT_FALSE(in->ReadDouble(L"missing", wide, 7.0));
  EXPECT_EQ(wide, 7.0);
  EXPECT_FALSE(in->ReadFloat(L"missing", narrow, 7.0f));
  EXPECT_EQ(narrow, 7.0f);
}

TYPED_TEST(TaggedFilersTest, NumbersAreNoStringsAndStringsNoFloatingNumbers) {
  EXPECT_TRUE(this->out_.WriteInt(L"number", 5));
  EXPECT_TRUE(this->out_.WriteBool(L"flag", true));
  EXPECT_TRUE(this->out_.WriteString(L"text", L"no number"));
  const auto in = this->store_.Read();
  std::wstring text;
  double wide = 0.0;
  bool flag = false;
  EXPECT_FALSE(in->ReadString(L"number", text, L"default"));
  EXPECT_EQ(text, L"default");
  EXPECT_FALSE(in->ReadDouble(L"text", wide, 7.0));
  EXPECT_EQ(wide, 7.0);
  EXPECT_FALSE(in->ReadDouble(L"flag", wide, 7.0));
  EXPECT_FALSE(in->ReadBool(L"text", flag, false));
}

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
  if (TypeParam::kIsRegistry) {
    EXPECT_EQ(read(L"v"), -1);
    EXPECT_TRUE(in->EndSection());
  }
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
  while (numbers.size() < 100 && in->BeginNextSection(L"Item")) {
    std::int32_t number = -1;
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

TYPED_TEST(TaggedFilersTest, ErrorsComeBack) {
  MError oldest(L"Reader.Open:NoSuchFile");
  oldest.AddParameter(L"path", L"C:\\a & b <c>");
  MException chain(oldest);
  chain.Append(MError(L"Importer.Run:Failed"));
  EXPECT_TRUE(oldest.Write({nullptr, &this->out_}, L"Error"));
  EXPECT_TRUE(this->out_.WriteString(L"Text", chain.GetChainXml()));
  EXPECT_TRUE(chain.WriteChain({nullptr, &this->out_}, L"Sections"));
  const auto in = this->store_.Read();

  MError error;
  EXPECT_FALSE(error.Read({in.get(), nullptr}, L"Missing"));
  EXPECT_TRUE(error.Read({in.get(), nullptr}, L"Error"));
  EXPECT_EQ(error.GetCode(), oldest.GetCode());
  EXPECT_EQ(error.GetParameters(), oldest.GetParameters());

  std::wstring text;
  MException fromText;
  EXPECT_TRUE(in->ReadString(L"Text", text, L""));
  EXPECT_TRUE(fromText.AppendChainXml(text));
  EXPECT_EQ(fromText.GetChainDescription(), chain.GetChainDescription());

  MException fromSections;
  EXPECT_TRUE(in->BeginSection(L"Sections"));
  EXPECT_TRUE(fromSections.ReadChain({in.get(), nullptr}));
  EXPECT_TRUE(in->EndSection());
  // In the registry the errors are written over one another, and so are their parameters.
  ASSERT_EQ(fromSections.GetErrors().size(), TypeParam::kIsRegistry ? 1u : 2u);
  EXPECT_EQ(fromSections.GetNewestError()->GetCode(), L"Importer.Run:Failed");
}

}  // namespace
