// SPDX-License-Identifier: MIT
// What writers and readers of tagged values have in common, whatever they write into; where they
// differ is listed in docs/tagged_filers.md and tested here as well.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "orvel/filers/in_filer_tagged_registry.h"
#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_registry.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/filers/xml_document.h"
#include "orvel/foundation/exception.h"
#include "orvel/foundation/filer_pair.h"
#include "tests/support/registry_sandbox.h"

namespace {

using Orvel::Testing::RegistrySandbox;

class XmlStore {
 public:
  static constexpr bool kIsRegistry = false;
  IOutFilerTagged& Out() { return out_; }
  /// A reader of what was written so far.
  std::unique_ptr<IInFilerTagged> Read() {
    return std::make_unique<MInFilerTaggedXml>(out_.GetText());
  }

 private:
  MOutFilerTaggedXml out_;
};

class RegistryStore {
 public:
  static constexpr bool kIsRegistry = true;
  IOutFilerTagged& Out() { return out_; }
  std::unique_ptr<IInFilerTagged> Read() {
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
  Store store_;
};

class StoreNames {
 public:
  template <class Store>
  static std::string GetName(int) {
    return Store::kIsRegistry ? "Registry" : "Xml";
  }
};

using Stores = testing::Types<XmlStore, RegistryStore>;
TYPED_TEST_SUITE(TaggedFilersTest, Stores, StoreNames);

/// Writes each value under a tag of its own and reads all back, twice and from behind.
template <class Value, class Store>
void ExpectToComeBack(Store& store, bool (IOutFilerTagged::*write)(const std::wstring&, Value),
                      bool (IInFilerTagged::*read)(const std::wstring&, Value&, Value),
                      const std::vector<Value>& values, Value defaultValue) {
  for (std::size_t index = 0; index < values.size(); ++index) {
    EXPECT_TRUE((store.Out().*write)(L"v" + std::to_wstring(index), values[index]));
  }
  const auto in = store.Read();
  for (int pass = 0; pass < 2; ++pass) {
    for (std::size_t index = values.size(); index-- > 0;) {
      Value value = defaultValue;
      EXPECT_TRUE(((*in).*read)(L"v" + std::to_wstring(index), value, defaultValue));
      EXPECT_EQ(value, values[index]);
    }
  }
  Value value{};
  EXPECT_FALSE(((*in).*read)(L"missing", value, defaultValue));
  EXPECT_EQ(value, defaultValue);
}

TYPED_TEST(TaggedFilersTest, IntegersAndBooleansComeBackExactly) {
  using Out = IOutFilerTagged;
  using In = IInFilerTagged;
  const auto fresh = [](auto check) {
    TypeParam store;
    check(store);
  };
  fresh([](TypeParam& store) {
    std::vector<char> printable;
    for (int code = 0x20; code < 0x7F; ++code) printable.push_back(static_cast<char>(code));
    ExpectToComeBack<char>(store, &Out::WriteChar, &In::ReadChar, printable, 'd');
  });
  fresh([](TypeParam& store) {
    ExpectToComeBack<bool>(store, &Out::WriteBool, &In::ReadBool, {false, true}, true);
  });
  fresh([](TypeParam& store) {
    ExpectToComeBack<std::uint8_t>(store, &Out::WriteByte, &In::ReadByte, {0, 1, 127, 128, 255}, 9);
  });
  fresh([](TypeParam& store) {
    ExpectToComeBack<std::int16_t>(store, &Out::WriteShort, &In::ReadShort,
                                   {-32768, -5, -1, 0, 32767}, 9);
  });
  fresh([](TypeParam& store) {
    ExpectToComeBack<std::uint16_t>(store, &Out::WriteUnsignedShort, &In::ReadUnsignedShort,
                                    {0, 32768, 65535}, 9);
  });
  fresh([](TypeParam& store) {
    ExpectToComeBack<std::int32_t>(
        store, &Out::WriteInt, &In::ReadInt,
        {std::numeric_limits<std::int32_t>::min(), -1, 0, std::numeric_limits<std::int32_t>::max()},
        9);
  });
  fresh([](TypeParam& store) {
    ExpectToComeBack<std::uint32_t>(store, &Out::WriteUnsignedInt, &In::ReadUnsignedInt,
                                    {0, 0x80000000, 0xFFFFFFFF}, 9);
  });
}

TYPED_TEST(TaggedFilersTest, FloatingNumbersComeBackToTheDigitsWritten) {
  const double doubles[] = {0.0, -0.0, 0.5, 0.1, -1.0 / 3.0, 6.02214076e23, 5e-324, 1.7e308};
  const float floats[] = {0.0f, 0.5f, 0.1f, -1.0f / 3.0f, 3.4e38f, 1e-45f};
  IOutFilerTagged& out = this->store_.Out();
  const double infinity = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (std::size_t index = 0; index < std::size(doubles); ++index) {
    EXPECT_TRUE(out.WriteDouble(L"d" + std::to_wstring(index), doubles[index]));
  }
  for (std::size_t index = 0; index < std::size(floats); ++index) {
    EXPECT_TRUE(out.WriteFloat(L"f" + std::to_wstring(index), floats[index]));
  }
  EXPECT_TRUE(out.WriteDouble(L"inf", -infinity));
  EXPECT_TRUE(out.WriteFloat(L"nan", static_cast<float>(nan)));

  const auto in = this->store_.Read();
  double wide = 7.0;
  float narrow = 7.0f;
  for (std::size_t index = 0; index < std::size(doubles); ++index) {
    EXPECT_TRUE(in->ReadDouble(L"d" + std::to_wstring(index), wide, 7.0));
    // The last digit written is worth 1e-14 of the first in the registry, 1e-15 in XML.
    EXPECT_NEAR(wide, doubles[index], std::fabs(doubles[index]) * 1e-14);
    EXPECT_EQ(std::signbit(wide), std::signbit(doubles[index]));
  }
  for (std::size_t index = 0; index < std::size(floats); ++index) {
    EXPECT_TRUE(in->ReadFloat(L"f" + std::to_wstring(index), narrow, 7.0f));
    if constexpr (TypeParam::kIsRegistry) {
      EXPECT_NEAR(narrow, floats[index], std::fabs(floats[index]) * 1e-6f);
    } else {
      EXPECT_EQ(narrow, floats[index]);
    }
  }
  // Either width reads what the other wrote.
  EXPECT_TRUE(in->ReadFloat(L"inf", narrow, 7.0f));
  EXPECT_EQ(narrow, -std::numeric_limits<float>::infinity());
  EXPECT_TRUE(in->ReadDouble(L"nan", wide, 7.0));
  EXPECT_TRUE(std::isnan(wide));
  EXPECT_FALSE(in->ReadDouble(L"missing", wide, 7.0));
  EXPECT_EQ(wide, 7.0);
  EXPECT_FALSE(in->ReadFloat(L"missing", narrow, 7.0f));
  EXPECT_EQ(narrow, 7.0f);
}

TYPED_TEST(TaggedFilersTest, StringsComeBackExactly) {
  const std::wstring strings[] = {
      L"",
      L"text",
      L"  blanks \t around  ",
      L"<a href=\"x\">'&amp;'</a> ]]> --> \\ / %PATH%",
      L"line\nline\r\nline\r",
      L"\u00E4\u4E2D\xD83D\xDE00",
      std::wstring(100'000, L'l'),
  };
  for (std::size_t index = 0; index < std::size(strings); ++index) {
    EXPECT_TRUE(this->store_.Out().WriteString(L"s" + std::to_wstring(index), strings[index]));
  }
  const auto in = this->store_.Read();
  std::wstring text;
  for (std::size_t index = 0; index < std::size(strings); ++index) {
    text = L"old";
    EXPECT_TRUE(in->ReadString(L"s" + std::to_wstring(index), text, L"default"));
    EXPECT_EQ(text, strings[index]);
  }
  EXPECT_FALSE(in->ReadString(L"missing", text, L"default"));
  EXPECT_EQ(text, L"default");
}

TYPED_TEST(TaggedFilersTest, NumbersAreNoStringsAndStringsNoFloatingNumbers) {
  IOutFilerTagged& out = this->store_.Out();
  EXPECT_TRUE(out.WriteInt(L"number", 5));
  EXPECT_TRUE(out.WriteBool(L"flag", true));
  EXPECT_TRUE(out.WriteString(L"text", L"no number"));
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
  IOutFilerTagged& out = this->store_.Out();
  EXPECT_FALSE(out.EndSection());
  EXPECT_TRUE(out.WriteInt(L"v", 0));
  EXPECT_TRUE(out.BeginSection(L"A"));
  EXPECT_TRUE(out.WriteInt(L"v", 1));
  EXPECT_TRUE(out.BeginSection(L"A"));
  EXPECT_TRUE(out.WriteInt(L"v", 2));
  EXPECT_TRUE(out.EndSection());
  EXPECT_TRUE(out.WriteInt(L"after", 3));
  EXPECT_TRUE(out.EndSection());
  EXPECT_TRUE(out.BeginSection(L"B"));
  EXPECT_TRUE(out.WriteInt(L"v", 4));
  EXPECT_TRUE(out.EndSection());
  EXPECT_FALSE(out.EndSection());
  EXPECT_TRUE(out.WriteInt(L"last", 5));

  const auto in = this->store_.Read();
  const auto read = [&](const wchar_t* tag) {
    std::int32_t value = 0;
    in->ReadInt(tag, value, -1);
    return value;
  };
  EXPECT_FALSE(in->EndSection());
  EXPECT_TRUE(in->BeginSection(L"B"));
  EXPECT_EQ(read(L"v"), 4);
  EXPECT_TRUE(in->EndSection());
  EXPECT_EQ(read(L"last"), 5);
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
  EXPECT_FALSE(in->EndSection());
}

TYPED_TEST(TaggedFilersTest, WalkingSectionsOfATagEnds) {
  constexpr int kWritten = 3;
  IOutFilerTagged& out = this->store_.Out();
  for (int number = 0; number < kWritten; ++number) {
    EXPECT_TRUE(out.BeginSection(L"Item"));
    EXPECT_TRUE(out.WriteInt(L"Number", number));
    EXPECT_TRUE(out.EndSection());
  }
  const auto in = this->store_.Read();
  EXPECT_FALSE(in->BeginNextSection(L"Missing"));
  std::vector<std::int32_t> numbers;
  while (numbers.size() < 100 && in->BeginNextSection(L"Item")) {
    std::int32_t number = -1;
    EXPECT_TRUE(in->ReadInt(L"Number", number, -1));
    EXPECT_FALSE(in->BeginNextSection(L"Item")) << "another level";
    numbers.push_back(number);
    EXPECT_TRUE(in->EndSection());
  }
  EXPECT_FALSE(in->EndSection());
  // Sections that repeat are several in XML, and one key, written over, in the registry.
  if constexpr (TypeParam::kIsRegistry) {
    EXPECT_THAT(numbers, testing::ElementsAre(2));
  } else {
    EXPECT_THAT(numbers, testing::ElementsAre(0, 1, 2));
  }
}

TYPED_TEST(TaggedFilersTest, ASectionThatIsMissingHasNoValues) {
  EXPECT_TRUE(this->store_.Out().WriteInt(L"v", 1));
  const auto in = this->store_.Read();
  EXPECT_FALSE(in->BeginNextSection(L"Missing"));
  // The registry finds out only when something is read.
  EXPECT_EQ(in->BeginSection(L"Missing"), TypeParam::kIsRegistry);
  if (TypeParam::kIsRegistry) {
    std::int32_t value = 0;
    EXPECT_FALSE(in->ReadInt(L"v", value, 9));
    EXPECT_EQ(value, 9);
    EXPECT_TRUE(in->EndSection());
  }
  EXPECT_FALSE(in->EndSection());
}

TYPED_TEST(TaggedFilersTest, TheSecondValueOfATag) {
  IOutFilerTagged& out = this->store_.Out();
  EXPECT_TRUE(out.WriteInt(L"v", 1));
  EXPECT_TRUE(out.WriteInt(L"v", 2));
  const auto in = this->store_.Read();
  std::int32_t value = 0;
  EXPECT_TRUE(in->ReadInt(L"v", value, 0));
  EXPECT_EQ(value, TypeParam::kIsRegistry ? 2 : 1) << "written over, or behind the first";
  EXPECT_EQ(in->ReadInt(L"V", value, 0), TypeParam::kIsRegistry) << "case matters, or not";
}

TYPED_TEST(TaggedFilersTest, OnlyTheRegistryHasAChangeStamp) {
  const auto in = this->store_.Read();
  std::uint32_t stamp = 77;
  EXPECT_EQ(in->ReadChangeStamp(stamp), TypeParam::kIsRegistry);
  EXPECT_EQ(stamp, TypeParam::kIsRegistry ? 0u : 77u);
}

TYPED_TEST(TaggedFilersTest, SubDocumentsAreDocuments) {
  IOutFilerTagged& out = this->store_.Out();
  const std::wstring document = L"<?xml version=\"1.0\"?><note kind=\"a\">text &lt;</note>";
  EXPECT_FALSE(out.WriteSubDocument(L"broken", L"<note>"));
  EXPECT_FALSE(out.WriteSubDocument(L"broken", L"text"));
  EXPECT_TRUE(out.WriteSubDocument(L"doc", document));
  EXPECT_TRUE(out.WriteInt(L"behind", 1));

  const auto in = this->store_.Read();
  std::wstring text = L"old";
  EXPECT_FALSE(in->ReadSubDocument(L"broken", text));
  EXPECT_EQ(text, L"");
  ASSERT_TRUE(in->ReadSubDocument(L"doc", text));
  MXmlDocument parsed;
  ASSERT_TRUE(parsed.SetDocument(text));
  if (!TypeParam::kIsRegistry) {
    // XML gives the element of the tag, in a document of its own.
    EXPECT_TRUE(parsed.FindElement(L"MFilerTaggedXml") && parsed.IntoElement());
    EXPECT_TRUE(parsed.FindElement(L"doc") && parsed.IntoElement());
  }
  ASSERT_TRUE(parsed.FindElement(L"note"));
  EXPECT_EQ(parsed.GetSubDocument(), L"<note kind=\"a\">text &lt;</note>");
  std::int32_t value = 0;
  EXPECT_TRUE(in->ReadInt(L"behind", value, 0));
}

MException Chain() {
  MError oldest(L"Reader.Open:NoSuchFile");
  oldest.AddParameter(L"path", L"C:\\a & b <c>");
  oldest.AddParameter(L"winErrorCode", 2u);
  MException chain(oldest);
  chain.Append(MError(L"Importer.Run:Failed"));
  return chain;
}

TYPED_TEST(TaggedFilersTest, AnErrorWithOneParameterComesBack) {
  MError error(L"Reader.Open:NoSuchFile");
  error.AddParameter(L"path", L"C:\\a & b <c>");
  EXPECT_TRUE(error.Write({nullptr, &this->store_.Out()}, L"Last"));
  const auto in = this->store_.Read();
  MError read;
  EXPECT_TRUE(read.Read({in.get(), nullptr}, L"Last"));
  EXPECT_EQ(read.GetCode(), error.GetCode());
  EXPECT_EQ(read.GetParameters(), error.GetParameters());
  EXPECT_FALSE(read.Read({in.get(), nullptr}, L"Missing"));
}

TYPED_TEST(TaggedFilersTest, AChainComesBackAsXmlText) {
  const MException chain = Chain();
  EXPECT_TRUE(this->store_.Out().WriteString(L"Chain", chain.GetChainXml()));
  const auto in = this->store_.Read();
  std::wstring text;
  EXPECT_TRUE(in->ReadString(L"Chain", text, L""));
  MException read;
  EXPECT_TRUE(read.AppendChainXml(text));
  EXPECT_EQ(read.GetChainDescription(), chain.GetChainDescription());
}

TYPED_TEST(TaggedFilersTest, ReadingAChainOfSectionsEnds) {
  const MException chain = Chain();
  EXPECT_TRUE(chain.WriteChain({nullptr, &this->store_.Out()}, L"Exception"));
  const auto in = this->store_.Read();
  MException read;
  EXPECT_TRUE(in->BeginSection(L"Exception"));
  EXPECT_TRUE(read.ReadChain({in.get(), nullptr}));
  EXPECT_TRUE(in->EndSection());
  // In the registry the errors are written over one another, and so are their parameters.
  if constexpr (TypeParam::kIsRegistry) {
    ASSERT_EQ(read.GetErrors().size(), 1u);
    EXPECT_EQ(read.GetNewestError()->GetCode(), L"Importer.Run:Failed");
  } else {
    EXPECT_EQ(read.GetChainDescription(), chain.GetChainDescription());
  }
}

}  // namespace
