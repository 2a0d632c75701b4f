// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/foundation/exception.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::IsNull;
using testing::NotNull;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;

MError MakeError(const wchar_t* code, int parameters) {
  MError error{std::wstring(code)};
  for (int index = 0; index < parameters; ++index) {
    error.AddParameter((L"name" + std::to_wstring(index)).c_str(),
                       L"<value & " + std::to_wstring(index));
  }
  return error;
}

/// An error that carries the chain that led to it.
class ChainedError final : public MError {
 public:
  ChainedError(const wchar_t* code, std::wstring chainText)
      : MError(std::wstring(code)), chainText_(std::move(chainText)) {}
  std::unique_ptr<MDynObject> Clone() const override {
    return std::make_unique<ChainedError>(*this);
  }
  std::wstring GetChainText() const override { return chainText_; }

 private:
  std::wstring chainText_;
};

/// Copies into something that is no error, or not at all.
class Stranger : public MDynObject {
 public:
  explicit Stranger(bool isCopied) : isCopied_(isCopied) {}
  const MDynClassRecord& GetClass() const noexcept override { return MClassRecords::kDynObject; }
  std::unique_ptr<MDynObject> Clone() const override {
    return isCopied_ ? std::make_unique<Stranger>(true) : MDynObject::Clone();
  }

 private:
  const bool isCopied_;
};

TEST(MErrorTest, ReadingReplacesAllThatItHeldAndWhatIsMissingGivesFalse) {
  MError error = MakeError(L"kept", 1);
  EXPECT_FALSE(error.Read({}, L"Failure"));
  EXPECT_FALSE(error.Write({}, L"Failure"));
  MInFilerTaggedXml in(
      L"<ExceptionChain><NoCode><Parameter><Name type=\"string\">n</Name>"
      L"<Value type=\"string\">v</Value></Parameter></NoCode>"
      L"<NoValue><Code type=\"string\">c</Code><Parameter><Name type=\"string\">n</Name>"
      L"</Parameter><Parameter><Name type=\"string\">n</Name><Value type=\"string\">later</Value>"
      L"</Parameter></NoValue><Whole><Code type=\"string\">c</Code></Whole></ExceptionChain>");
  EXPECT_FALSE(error.Read({&in, nullptr}, L"Missing"));
  EXPECT_EQ(error.GetCode(), L"kept");
  EXPECT_FALSE(error.Read({&in, nullptr}, L"NoCode"));
  EXPECT_EQ(error.GetCode(), L"");
  EXPECT_THAT(error.GetParameters(), IsEmpty());
  EXPECT_FALSE(error.Read({&in, nullptr}, L"NoValue"));
  EXPECT_EQ(error.GetCode(), L"c");
  EXPECT_THAT(error.GetParameters(), ElementsAre(Pair(L"n", L""))) << "the first of its values";
  EXPECT_TRUE(error.Read({&in, nullptr}, L"Whole"));
  EXPECT_THAT(error.GetParameters(), IsEmpty());
  EXPECT_FALSE(in.EndSection()) << "sections were left open";

  // Where one of the two refuses, the other one's sections stay balanced.
  MOutFilerTaggedXml out;
  EXPECT_FALSE(error.Write({&in, &out}, L"Missing"));
  EXPECT_FALSE(out.EndSection());
  (void)out.TakeText();
  EXPECT_FALSE(error.Write({&in, &out}, L"Whole"));
  EXPECT_FALSE(in.EndSection());
}

TEST(MExceptionTest, CopiesAreDeepKeepTheirClassAndLeaveOutWhatIsNoError) {
  MException exception(MakeError(L"oldest", 1));
  exception.Append(Stranger(true));
  EXPECT_EQ(exception.GetNewestError(), nullptr);
  exception.Append(Stranger(false));
  exception.Append(ChainedError(L"newest", L"inner chain"));
  EXPECT_THAT(exception.GetErrors(), ElementsAre(NotNull(), IsNull(), IsNull(), NotNull()));
  EXPECT_EQ(exception.GetChainDescription(), L"oldest (name0 = <value & 0)\nnewest\n");
  MException copy;
  copy = exception;
  EXPECT_THAT(copy.GetErrors(), ElementsAre(NotNull(), NotNull()));
  MException moved(std::move(exception));
  EXPECT_THAT(exception.GetErrors(), IsEmpty());  // NOLINT(bugprone-use-after-move): emptied
  EXPECT_NE(copy.GetErrors()[0], moved.GetErrors()[0]);
  moved = MException();
  copy = static_cast<const MException&>(copy);
  EXPECT_EQ(copy.GetChainDescription(), L"oldest (name0 = <value & 0)\nnewest\n");
  EXPECT_EQ(copy.GetNewestError()->GetChainText(), L"inner chain");
  EXPECT_STREQ(copy.GetErrors()[0]->GetClass().GetName(), L"MError");
  const std::unique_ptr<MDynObject> fresh = copy.GetErrors()[0]->CreateEmpty();
  EXPECT_TRUE(dynamic_cast<MError&>(*fresh).GetParameters().empty());
}

TEST(MExceptionTest, ChainsOfAnyLengthComeBackWhole) {
  MException chain;
  for (int index = 0; index < 200; ++index) {
    chain.Append(MakeError(L"Error", index == 100 ? 300 : index % 4));
  }
  const std::wstring text = chain.GetChainXml();
  EXPECT_THAT(text, StartsWith(L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ExceptionChain>\n"
                               L"<Exception>\n<Error>\n<Code type=\"string\">Error</Code>\n"
                               L"</Error>\n<Error>\n"));
  MException back;
  ASSERT_TRUE(back.AppendChainXml(text));
  EXPECT_FALSE(back.ReadChain({}));
  EXPECT_FALSE(back.WriteChain({}, L"Exception"));
  EXPECT_EQ(back.GetChainDescription(), chain.GetChainDescription());
}

TEST(MExceptionTest, IsBuiltWithTheInnerChainOfItsError) {
  MException inner;
  inner.Append(MakeError(L"Oldest", 1));
  inner.Append(MakeError(L"Middle", 0));
  const MException whole(ChainedError(L"Newest", inner.GetChainXml()));
  EXPECT_EQ(whole.GetChainDescription(), L"Oldest (name0 = <value & 0)\nMiddle\nNewest\n");
  for (const wchar_t* text : {L"no XML", L"<Other><Exception/></Other>", L"<ExceptionChain/>",
                              L"<ExceptionChain><Exception></ExceptionChain></Exception>"}) {
    const MException alone(ChainedError(L"Newest", text));
    EXPECT_THAT(alone.GetErrors(), SizeIs(1)) << text;
  }
}

TEST(MExceptionTest, DescribesItsChainForPeople) {
  MException chain;
  chain.Append(MError());
  EXPECT_STREQ(chain.what(), "Unknown exception");
  // Many minutes' work for an encoder that starts afresh behind each of them.
  MError second(L"Second" + std::wstring(400'000, L'\xD83D'));
  second.AddParameter(L"winErrorCode", 5u);
  second.AddParameter(L"file", L"\x20AC");
  chain.Append(second);
  const std::string text = chain.GetChainDescriptionUtf8();
  EXPECT_THAT(text, StartsWith("Unspecified error\nSecond\xEF\xBF\xBD\xEF\xBF\xBD"));
  EXPECT_THAT(text, EndsWith("\xBF\xBD (file = \xE2\x82\xAC, winErrorCode = 5)\n"));
}

}  // namespace
