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

#include "orvel/foundation/exception.h"
#include "orvel/foundation/system_error.h"
#include "tests/support/flow_dump_reader.h"
#include "tests/support/raised_error.h"

namespace {

using Orvel::Testing::DumpedRecord;
using Orvel::Testing::ErrorOf;
using Orvel::Testing::TakeFlowRecords;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::Key;
using testing::Pair;
using testing::SizeIs;

static_assert(std::is_trivially_destructible_v<MSourceContext>, "errors work to the very end");
static_assert(MClassRecords::kErrorUserEscape.IsKindOf(MClassRecords::kDynObject) &&
              !MClassRecords::kError.IsKindOf(MClassRecords::kErrorBadInput));

TEST(MErrorTest, CodeLeavesOutMissingPartsWithTheirSeparators) {
  struct Case {
    const wchar_t *className, *functionName, *errorName, *code;
  };
  const Case cases[] = {
      {L"MLocale", L"MLocale", L"BadCLocale", L"MLocale.MLocale:BadCLocale"},
      {L"", L"MLocale", L"BadCLocale", L"MLocale:BadCLocale"},
      {nullptr, nullptr, L"BadCLocale", L"BadCLocale"},
      {L"MLocale", L"Open", nullptr, L"MLocale.Open"},
      {nullptr, L"Open", nullptr, L"Open"},
  };
  for (const Case& c : cases) {
    const MSourceContext context(c.className, c.functionName);
    EXPECT_EQ(MError(context, c.errorName).GetCode(), c.code);
  }
  const MSourceContext empty(nullptr, L"");
  EXPECT_EQ(MError(empty, nullptr).GetMessage(), L"Unspecified error");
}

TEST(MErrorTest, ParametersComeInOrderOfTheirCodeUnitsAndKeepTheirFirstValue) {
  MError error;
  for (const wchar_t* name : {L"value1", L"errno", L"\xFFFD", L"Value2", L"Name", L"\x00E9"}) {
    error.AddParameter(name, L"first");
  }
  error.AddParameter(nullptr, L"first");
  error.AddParameter(L"Name", L"later");
  error.AddParameter(L"errno", 5u);
  error.AddErrnoParameter(6);
  EXPECT_THAT(error.GetParameters(),
              ElementsAre(Key(L""), Key(L"Name"), Key(L"Value2"), Key(L"errno"), Key(L"value1"),
                          Key(L"\x00E9"), Key(L"\xFFFD")));
  EXPECT_THAT(error.GetParameters(), Each(Pair(testing::_, L"first")));
  EXPECT_EQ(error.FindParameter(L"name"), nullptr);
}

enum Unscoped { kUnscoped = 7 };
enum class Scoped { kScoped };

TEST(MErrorTest, NumbersLookTheSameInEveryLocale) {
  struct Grouping : std::numpunct<wchar_t> {
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  MError error;
  error.AddParameter(L"winErrorCode", 4294967295u);
  error.AddParameter(L"zero", 0);
  error.AddErrnoParameter(-2147483647L - 1);
  error.AddParameter(L"unsigned long", 4294967295ul);
  error.AddParameter(L"bytes", 1ull << 40);
  error.AddParameter(L"least", (std::numeric_limits<std::int64_t>::min)());
  error.AddParameter(L"negative", -1);
  error.AddParameter(L"octet", std::uint8_t{65});
  error.AddParameter(L"unscoped", kUnscoped);
  error.AddParameter(L"atomic", std::atomic<std::uint32_t>(5));
  error.AddHexParameter(L"hresult", static_cast<std::int32_t>(0x80070005));
  error.AddHexParameter(L"octets", std::int8_t{-1});
  error.AddHexParameter(L"wide", 0xABCDEull);
  std::locale::global(before);
  EXPECT_THAT(
      error.GetParameters(),
      ElementsAre(Pair(L"atomic", L"5"), Pair(L"bytes", L"1099511627776"),
                  Pair(L"errno", L"-2147483648"), Pair(L"hresult", L"0x80070005"),
                  Pair(L"least", L"-9223372036854775808"), Pair(L"negative", L"-1"),
                  Pair(L"octet", L"65"), Pair(L"octets", L"0xFF"), Pair(L"unscoped", L"7"),
                  Pair(L"unsigned long", L"4294967295"), Pair(L"wide", L"0x00000000000ABCDE"),
                  Pair(L"winErrorCode", L"4294967295"), Pair(L"zero", L"0")));
}

template <class Value>
constexpr bool kIsParameter = requires(MError& error, const MRaiseSite& site, Value value) {
  error.AddParameter(L"", value);
  RaiseError(site, L"", L"", value);
};
static_assert(kIsParameter<long> && kIsParameter<unsigned long> && kIsParameter<const wchar_t*> &&
              kIsParameter<Unscoped>);
static_assert(!kIsParameter<double> && !kIsParameter<bool> && !kIsParameter<char> &&
                  !kIsParameter<wchar_t> && !kIsParameter<Scoped>,
              "what is passed is what is written");

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
  EXPECT_EQ(ErrorOf([] { RaiseError(context, L"Short", L"missing", -3LL); }),
            "Importer.Open:Short [missing=-3]");
}

TEST(MErrorTest, EventTellsNameLineAndObjectOfItsOwnRaise) {
  static MSourceContext context(L"Importer", L"Open");
  EXPECT_EQ(context.GetLine(), -1);
  EXPECT_EQ(context.GetObjectValue(), 0u);
  const int objects[2] = {};
  (void)TakeFlowRecords();
  const MRaiseSite first = context.At(1, &objects[0]);
  (void)context.At(2, &objects[1]);  // as another thread may at any moment
  const MError bySite(first, L"NoSuchFile");
  const MError byContext(context, L"Locked");
  const auto raised = [&](const char* name, std::int32_t line) {
    return AllOf(Field(&DumpedRecord::className, "Importer"), Field(&DumpedRecord::point, "Open"),
                 Field(&DumpedRecord::detail, name), Field(&DumpedRecord::arg2, line),
                 Field(&DumpedRecord::object, FlowObject(&objects[line - 1])));
  };
  EXPECT_THAT(TakeFlowRecords(), ElementsAre(raised("NoSuchFile", 1), raised("Locked", 2)));
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
  (void)TakeFlowRecords();
  build();
  inHandlerOf(standard, build);
  inHandlerOf(own, build);
  inHandlerOf(42, build);
  // The innermost handler decides.
  inHandlerOf(own, [&] { inHandlerOf(standard, build); });
  inHandlerOf(standard, [&] { inHandlerOf(own, build); });
  const auto isRoot = Field(&DumpedRecord::event, "Root_error");
  const auto isCascade = Field(&DumpedRecord::event, "Cascade_error");
  EXPECT_THAT(TakeFlowRecords(), ElementsAre(isRoot, isCascade, isRoot, isRoot, isCascade, isRoot));
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
  (void)TakeFlowRecords();
  RecordDismissed(point, &object, exception);
  RecordDismissed(point, &object, MException());
  EXPECT_THAT(TakeFlowRecords(),
              AllOf(SizeIs(2), Each(AllOf(Field(&DumpedRecord::event, "Dismissed_error"),
                                          Field(&DumpedRecord::detail, "Unspecified error"),
                                          Field(&DumpedRecord::object, FlowObject(&object))))));
  RecordDismissed(point, &object, MException(ErrorWithoutMessage()));
  EXPECT_THAT(TakeFlowRecords(), ElementsAre(Field(&DumpedRecord::detail, "NoMessage")));
}

}  // namespace
