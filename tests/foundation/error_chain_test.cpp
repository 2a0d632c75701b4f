// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/foundation/exception.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::NotNull;
using testing::Pair;

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

class Uncopyable : public MDynObject {
 public:
  const MDynClassRecord& GetClass() const noexcept override { return MClassRecords::kDynObject; }
};

/// Copies into something that is no error.
class Stranger : public Uncopyable {
 public:
  std::unique_ptr<MDynObject> Clone() const override { return std::make_unique<Stranger>(*this); }
};

TEST(MErrorTest, IsReadBackAsItWasWritten) {
  const MError original = MakeError(L"Class.Function:Name", 300);
  MOutFilerTaggedXml out;
  ASSERT_TRUE(original.Write({nullptr, &out}, L"Failure"));
  MInFilerTaggedXml in(out.GetText());
  MError back = MakeError(L"old", 301);
  EXPECT_TRUE(back.Read({&in, nullptr}, L"Failure"));
  EXPECT_EQ(back.GetCode(), original.GetCode());
  EXPECT_EQ(back.GetParameters(), original.GetParameters());
}

TEST(MErrorTest, WhatIsMissingGivesFalse) {
  MError error = MakeError(L"kept", 1);
  EXPECT_FALSE(error.Read({}, L"Failure"));
  EXPECT_FALSE(error.Write({}, L"Failure"));
  MInFilerTaggedXml in(
      L"<ExceptionChain><NoCode><Parameter><Name type=\"string\">n</Name>"
      L"<Value type=\"string\">v</Value></Parameter></NoCode>"
      L"<NoValue><Code type=\"string\">c</Code><Parameter><Name type=\"string\">n</Name>"
      L"</Parameter><Parameter><Name type=\"string\">n</Name><Value type=\"string\">later</Value>"
      L"</Parameter></NoValue></ExceptionChain>");
  EXPECT_FALSE(error.Read({&in, nullptr}, L"Missing"));
  EXPECT_EQ(error.GetCode(), L"kept");
  EXPECT_FALSE(error.Read({&in, nullptr}, L"NoCode"));
  EXPECT_EQ(error.GetCode(), L"");
  EXPECT_TRUE(error.GetParameters().empty());
  EXPECT_FALSE(error.Read({&in, nullptr}, L"NoValue"));
  EXPECT_EQ(error.GetCode(), L"c");
  ASSERT_NE(error.FindParameter(L"n"), nullptr);
  EXPECT_EQ(*error.FindParameter(L"n"), L"") << "a repeated name keeps its first value";
  EXPECT_FALSE(in.EndSection()) << "sections were left open";

  // What is written to a reader that refuses leaves the writer's sections balanced.
  MOutFilerTaggedXml out;
  EXPECT_FALSE(error.Write({&in, &out}, L"Missing"));
  EXPECT_FALSE(out.EndSection());
}

TEST(MExceptionTest, AppendedObjectThatIsNoErrorLeavesANullEntry) {
  MException exception(MError(L"oldest"));
  exception.Append(Stranger());
  EXPECT_EQ(exception.GetNewestError(), nullptr);
  exception.Append(Uncopyable());
  exception.Append(*exception.GetErrors().front());
  exception.Append(MError(L"newest"));
  EXPECT_THAT(exception.GetErrors(),
              ElementsAre(NotNull(), IsNull(), IsNull(), NotNull(), NotNull()));
  EXPECT_EQ(exception.GetChainDescription(), L"oldest\noldest\nnewest\n");
  const MException copy(exception);
  EXPECT_THAT(copy.GetErrors(), ElementsAre(NotNull(), NotNull(), NotNull()));
  EXPECT_EQ(MException().GetNewestError(), nullptr);
}

TEST(MExceptionTest, CopiesAreDeepAndKeepTheirClass) {
  MError error(L"A.B:C");
  error.AddParameter(L"name", L"value");
  MException exception(error);
  exception.Append(ChainedError(L"Newest", L"inner chain"));
  MException copy;
  copy = exception;
  MException moved(std::move(exception));
  EXPECT_THAT(exception.GetErrors(), IsEmpty());  // NOLINT(bugprone-use-after-move): emptied
  ASSERT_EQ(copy.GetErrors().size(), 2u);
  EXPECT_NE(copy.GetErrors()[0], moved.GetErrors()[0]);
  moved = MException();
  copy = static_cast<const MException&>(copy);
  EXPECT_THAT(copy.GetErrors()[0]->GetParameters(), ElementsAre(Pair(L"name", L"value")));
  EXPECT_EQ(copy.GetNewestError()->GetChainText(), L"inner chain");
  EXPECT_STREQ(copy.GetErrors()[0]->GetClass().GetName(), L"MError");
  const std::unique_ptr<MDynObject> fresh = copy.GetErrors()[0]->CreateEmpty();
  EXPECT_TRUE(dynamic_cast<MError&>(*fresh).GetParameters().empty());
}

TEST(MExceptionTest, ChainsOfAnyLengthComeBackWhole) {
  MException chain;
  for (int index = 0; index < 200; ++index) {
    chain.Append(MakeError((L"Error" + std::to_wstring(index)).c_str(), index % 4));
  }
  const std::wstring text = chain.GetChainXml();
  EXPECT_TRUE(text.starts_with(
      L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ExceptionChain>\n<Exception>\n"
      L"<Error>\n<Code type=\"string\">Error0</Code>\n</Error>\n<Error>\n"))
      << text.substr(0, 300);
  MException back;
  ASSERT_TRUE(back.AppendChainXml(text));
  EXPECT_FALSE(back.ReadChain({}));
  EXPECT_FALSE(back.WriteChain({}, L"Exception"));
  EXPECT_EQ(back.GetErrors().size(), 200u);
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
    EXPECT_EQ(alone.GetErrors().size(), 1u) << text;
  }
}

TEST(MExceptionTest, DescribesItsChainForPeople) {
  MException chain;
  chain.Append(MError());
  MError second{std::wstring(L"Second")};
  second.AddParameter(L"winErrorCode", 5u);
  second.AddParameter(L"file", L"\x20AC\xD83D");
  chain.Append(second);
  EXPECT_EQ(chain.GetChainDescription(),
            L"Unspecified error\nSecond (file = \x20AC\xD83D, winErrorCode = 5)\n");
  EXPECT_EQ(chain.GetChainDescriptionUtf8(),
            "Unspecified error\nSecond (file = \xE2\x82\xAC\xEF\xBF\xBD, winErrorCode = 5)\n");
  const std::exception& standard = chain;
  EXPECT_STREQ(standard.what(), "Unknown exception");
}

}  // namespace
