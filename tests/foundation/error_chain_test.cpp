// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/foundation/exception.h"

namespace {

MError MakeError(const wchar_t* code, int parameters) {
  MError error{std::wstring(code)};
  for (int index = 0; index < parameters; ++index) {
    error.AddParameter((L"name" + std::to_wstring(index)).c_str(),
                       L"<value & " + std::to_wstring(index));
  }
  return error;
}

void ExpectSameErrors(const MException& actual, const MException& expected) {
  ASSERT_EQ(actual.GetErrors().size(), expected.GetErrors().size());
  for (std::size_t index = 0; index < actual.GetErrors().size(); ++index) {
    EXPECT_EQ(actual.GetErrors()[index]->GetCode(), expected.GetErrors()[index]->GetCode());
    EXPECT_EQ(actual.GetErrors()[index]->GetParameters(),
              expected.GetErrors()[index]->GetParameters());
  }
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

TEST(MErrorTest, IsReadBackAsItWasWritten) {
  const MError original = MakeError(L"Class.Function:Name", 300);
  MOutFilerTaggedXml out;
  ASSERT_TRUE(original.Write({nullptr, &out}, L"Failure"));
  ASSERT_TRUE(MakeError(L"", 0).Write({nullptr, &out}, L"Empty"));
  MInFilerTaggedXml in(out.GetText());
  MError back = MakeError(L"old", 2);
  EXPECT_TRUE(back.Read({&in, nullptr}, L"Failure"));
  EXPECT_EQ(back.GetCode(), original.GetCode());
  EXPECT_EQ(back.GetParameters(), original.GetParameters());
  EXPECT_TRUE(back.Read({&in, nullptr}, L"Empty"));
  EXPECT_EQ(back.GetMessage(), L"Unspecified error");
  EXPECT_TRUE(back.GetParameters().empty());
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

TEST(MExceptionTest, ChainsOfAnyLengthComeBackWhole) {
  MException chain;
  for (int index = 0; index < 200; ++index) {
    chain.Append(MakeError((L"Error" + std::to_wstring(index)).c_str(), index % 4));
  }
  const std::wstring text = chain.GetChainXml();
  EXPECT_EQ(
      text.rfind(L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ExceptionChain>\n<Exception>\n"
                 L"<Error>\n<Code type=\"string\">Error0</Code>\n</Error>\n<Error>\n",
                 0),
      0u)
      << text.substr(0, 300);
  MException back;
  ASSERT_TRUE(back.AppendChainXml(text));
  ExpectSameErrors(back, chain);
  EXPECT_FALSE(back.ReadChain({}));
  EXPECT_FALSE(back.WriteChain({}, L"Exception"));
  ExpectSameErrors(back, chain);
}

TEST(MExceptionTest, IsBuiltWithTheInnerChainOfItsError) {
  MException inner;
  inner.Append(MakeError(L"Oldest", 1));
  inner.Append(MakeError(L"Middle", 0));
  const MException whole(ChainedError(L"Newest", inner.GetChainXml()));
  const MException copy(whole);
  ASSERT_EQ(copy.GetErrors().size(), 3u);
  EXPECT_EQ(copy.GetErrors()[0]->GetCode(), L"Oldest");
  EXPECT_EQ(copy.GetErrors()[1]->GetCode(), L"Middle");
  EXPECT_EQ(copy.GetErrors()[2]->GetCode(), L"Newest");
  std::set<const MError*> distinct;
  for (const MException* exception : {&whole, &copy}) {
    for (const auto& error : exception->GetErrors()) distinct.insert(error.get());
  }
  EXPECT_EQ(distinct.size(), 6u);

  for (const wchar_t* text : {L"no XML", L"<Other><Exception/></Other>", L"<ExceptionChain/>",
                              L"<ExceptionChain><Exception></ExceptionChain></Exception>"}) {
    const MException alone(ChainedError(L"Newest", text));
    EXPECT_EQ(alone.GetErrors().size(), 1u) << text;
  }
}

TEST(MExceptionTest, DescribesItsChainForPeople) {
  MException chain;
  chain.Append(MakeError(L"First", 0));
  MError second{std::wstring(L"Second")};
  second.AddParameter(L"file", L"\x20AC\xD83D");
  second.AddParameter(L"winErrorCode", 5u);
  chain.Append(second);
  EXPECT_EQ(chain.GetChainDescription(),
            L"First\nSecond (file = \x20AC\xD83D, winErrorCode = 5)\n");
  EXPECT_EQ(chain.GetChainDescriptionUtf8(),
            "First\nSecond (file = \xE2\x82\xAC\xEF\xBF\xBD, winErrorCode = 5)\n");
}

}  // namespace
