// SPDX-License-Identifier: MIT
#include "orvel/foundation/error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <locale>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/foundation/exception.h"
#include "orvel/foundation/system_error.h"
#include "tests/support/flow_log.h"
#include "tests/support/raised_error.h"

/// A constant without a definition: errors have to take numbers by value.
struct ErrorCodes {
  static const std::int64_t kShort = -3;
};

namespace {

using Orvel::Testing::ErrorOf;
using Orvel::Testing::ErrorText;
using Orvel::Testing::FlowEventsWith;
using Orvel::Testing::ForObject;
using Orvel::Testing::TakeFlowLog;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::IsNull;
using testing::NotNull;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;

static_assert(std::is_trivially_destructible_v<MSourceContext>, "errors work to the very end");

TEST(MErrorTest, CodeLeavesOutMissingPartsWithTheirSeparators) {
  const auto error = [](const wchar_t* className, const wchar_t* function, const wchar_t* name) {
    const MSourceContext context(className, function);
    return MError(context, name);
  };
  EXPECT_EQ(error(L"MLocale", L"Open", L"Bad").GetCode(), L"MLocale.Open:Bad");
  EXPECT_EQ(error(L"", L"Open", L"Bad").GetCode(), L"Open:Bad");
  EXPECT_EQ(error(nullptr, nullptr, L"Bad").GetCode(), L"Bad");
  EXPECT_EQ(error(L"MLocale", L"Open", nullptr).GetCode(), L"MLocale.Open");
  EXPECT_EQ(error(nullptr, L"Open", nullptr).GetCode(), L"Open");
  EXPECT_EQ(error(nullptr, L"", nullptr).GetMessage(), L"Unspecified error");
}

enum Unscoped { kUnscoped = 7 };
enum class Scoped { kScoped };

TEST(MErrorTest, ParametersComeInOrderOfTheirCodeUnitsWithTheirFirstValuesInEveryLocale) {
  struct Grouping : std::numpunct<wchar_t> {
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  MError error;
  for (const wchar_t* name : {L"value", L"\xFFFD", L"Value", L"\x00E9", L""}) {
    error.AddParameter(name, L"first");
  }
  error.AddParameter(nullptr, L"later");
  error.AddErrnoParameter(-2147483647L - 1);
  error.AddParameter(L"errno", 5u);
  error.AddParameter(L"zero", 0);
  error.AddParameter(L"most", 4294967295ul);
  error.AddParameter(L"bytes", 1ull << 40);
  error.AddParameter(L"least", (std::numeric_limits<std::int64_t>::min)());
  error.AddParameter(L"octet", std::uint8_t{65});
  error.AddParameter(L"character", '\xE4');
  error.AddParameter(L"unscoped", kUnscoped);
  error.AddParameter(L"atomic", std::atomic<std::uint32_t>(5));
  error.AddHexParameter(L"hresult", static_cast<std::int32_t>(0x80070005));
  error.AddHexParameter(L"octets", std::int8_t{-1});
  error.AddHexParameter(L"wide", 0xABCDEull);
  std::locale::global(before);
  EXPECT_EQ(ErrorText(MException(error)),
            "Unspecified error [=first, Value=first, atomic=5, bytes=1099511627776, "
            "character=228, errno=-2147483648, hresult=0x80070005, least=-9223372036854775808, "
            "most=4294967295, octet=65, octets=0xFF, unscoped=7, value=first, "
            "wide=0x00000000000ABCDE, zero=0, \xE9=first, \xFD=first]");
  EXPECT_EQ(error.FindParameter(L"VALUE"), nullptr);
}

template <class Value>
constexpr bool kIsParameter = requires(MError& error, const MRaiseSite& site, Value value) {
  error.AddParameter(L"", value);
  RaiseError(site, L"", L"", value);
};
static_assert(kIsParameter<long> && kIsParameter<wchar_t> && !kIsParameter<double> &&
                  !kIsParameter<bool> && !kIsParameter<Scoped>,
              "what is passed is what is written");

#if defined(_WIN32)
static_assert(MClassRecords::kErrorUserEscape.IsKindOf(MClassRecords::kDynObject) &&
              !MClassRecords::kError.IsKindOf(MClassRecords::kErrorBadInput));

TEST(SystemErrorTest, SaysTheSystemsWordsWithoutWhatEndsThem) {
  const std::wstring denied = SystemErrorText(5L);
  ASSERT_NE(denied, L"");
  EXPECT_EQ(denied.find_first_of(L"\r\n"), std::wstring::npos);
  EXPECT_EQ(denied.find_last_not_of(L" ."), denied.size() - 1);
  EXPECT_EQ(SystemErrorText(0x800703E9u), SystemErrorText(1001)) << "in an HRESULT";
  EXPECT_NE(SystemErrorText(2u), denied);
  EXPECT_EQ(SystemErrorText(0xFFF0), L"Unknown system error 65520");
  EXPECT_EQ(SystemErrorText(0x8765ABCDu), L"Unknown system error 0x8765ABCD");
  static MSourceContext context(L"Importer", L"Open");
  EXPECT_EQ(ErrorOf([] { RaiseSystemError(context, L"Locked", 32ul); }),
            "Importer.Open:Locked [winErrorCode=32]");
  EXPECT_EQ(ErrorOf([] { RaiseError(context, L"Short", L"missing", ErrorCodes::kShort); }),
            "Importer.Open:Short [missing=-3]");
}
#endif

TEST(MErrorTest, EventTellsNameLineAndObjectOfItsOwnRaise) {
  static MSourceContext context(L"Importer", L"Open");
  const int objects[2] = {};
  (void)TakeFlowLog();
  const MRaiseSite first = context.At(17, &objects[0]);
  (void)context.At(18, &objects[1]);  // as another thread may at any moment
  const MError bySite(first, L"NoSuchFile");
  const MError byContext(context, L"Locked");
  const std::string log = TakeFlowLog();
  const auto eventsOf = [&](const int& object) {
    return FlowEventsWith(log, {" in_class Importer at Open ", ForObject(&object)});
  };
  EXPECT_THAT(eventsOf(objects[0]), ElementsAre("Root_error NoSuchFile"));
  EXPECT_THAT(eventsOf(objects[1]), ElementsAre("Root_error Locked"));
  EXPECT_THAT(log, ContainsRegex("NoSuchFile .*\n.*, 17, .*\n.*Locked .*\n.*, 18, "));
}

TEST(MErrorTest, CascadeErrorIsOneBuiltWhileAStandardExceptionIsHandled) {
  static MSourceContext context(L"Importer", L"Close");
  const auto build = [] { MError(context, L"Failed"); };
  const auto inHandlerOf = [](auto exception, const std::function<void()>& action) {
    try {
      throw exception;
    } catch (...) {
      action();
    }
  };
  const std::runtime_error standard("standard");
  const MException own;
  (void)TakeFlowLog();
  build();
  inHandlerOf(standard, build);
  inHandlerOf(own, build);
  inHandlerOf(42, build);
  // The innermost handler decides.
  inHandlerOf(own, [&] { inHandlerOf(standard, build); });
  inHandlerOf(standard, [&] { inHandlerOf(own, build); });
  const char* const root = "Root_error Failed";
  const char* const cascade = "Cascade_error Failed";
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Importer"}),
              ElementsAre(root, cascade, root, root, cascade, root));
}

class ErrorWithoutMessage : public MError {
 public:
  [[nodiscard]] std::wstring GetMessage() const override { throw std::runtime_error("none"); }
  [[nodiscard]] std::unique_ptr<MDynObject> Clone() const override {
    return std::make_unique<ErrorWithoutMessage>(*this);
  }
};

TEST(RecordDismissedTest, IsLabelledWithTheNewestErrorsMessage) {
  static const MFlowPoint point(L"Importer", L"Open");
  const int object = 0;
  MException exception(MError(L"Oldest"));
  exception.Append(MError());
  (void)TakeFlowLog();
  RecordDismissed(point, &object, exception);
  RecordDismissed(point, &object, MException());
  RecordDismissed(point, &object, MException(ErrorWithoutMessage()));
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"in_class Importer at Open " + ForObject(&object)}),
              ElementsAre("Dismissed_error Unspecified error", "Dismissed_error Unspecified error",
                          "Dismissed_error NoMessage"));
}

MError MakeError(const wchar_t* code, int parameters) {
  MError error{std::wstring(code)};
  for (int index = 0; index < parameters; ++index) {
    error.AddParameter((L"name" + std::to_wstring(index)).c_str(),
                       L"<value & " + std::to_wstring(index));
  }
  return error;
}

/// An error that carries the chain that led to it.
class ChainCarrier : public MError {
 public:
  using MError::MError;
  std::wstring GetChainText() const override { return chainText; }

  std::wstring chainText;
};

/// Leaves the bases of its bases to the language, as users do.
class ChainedError final : public ChainCarrier {
 public:
  using ChainCarrier::ChainCarrier;
  ChainedError(const ChainedError& other) : ChainCarrier(other) {}
  std::unique_ptr<MDynObject> Clone() const override {
    return std::make_unique<ChainedError>(*this);
  }
};

ChainedError MakeChained(const wchar_t* code, std::wstring chainText) {
  ChainedError error{std::wstring(code)};
  error.chainText = std::move(chainText);
  return error;
}

/// Copies into something that is no error, or not at all.
template <bool kIsCopied>
struct Stranger final : MDynObject {
  const MDynClassRecord& GetClass() const noexcept override { return MClassRecords::kDynObject; }
  std::unique_ptr<MDynObject> Clone() const override {
    return kIsCopied ? std::make_unique<Stranger>() : MDynObject::Clone();
  }
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
  exception.Append(Stranger<true>());
  EXPECT_EQ(exception.GetNewestError(), nullptr);
  exception.Append(Stranger<false>());
  exception.Append(MakeChained(L"newest", L"inner chain"));
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
  ChainedError newest = MakeChained(L"", inner.GetChainXml());
  static_cast<MError&>(newest) = MError(L"Newest");  // which carries no chain
  const MException whole(newest);
  EXPECT_EQ(whole.GetChainDescription(), L"Oldest (name0 = <value & 0)\nMiddle\nNewest\n");
  for (const wchar_t* text : {L"no XML", L"<Other><Exception/></Other>", L"<ExceptionChain/>",
                              L"<ExceptionChain><Exception></ExceptionChain></Exception>"}) {
    const MException alone(MakeChained(L"Newest", text));
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
