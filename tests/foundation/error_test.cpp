// SPDX-License-Identifier: MIT
#include "orvel/foundation/error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <functional>
#include <locale>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "orvel/foundation/exception.h"
#include "orvel/logging/label_id.h"
#include "tests/support/process_flow_log.h"

namespace {

using Orvel::Testing::TakeFlowRecords;
using testing::Each;
using testing::ElementsAre;
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

TEST(MErrorTest, NumbersLookTheSameInEveryLocale) {
  struct Grouping : std::numpunct<wchar_t> {
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  std::setlocale(LC_ALL, "");
  MError error;
  error.AddParameter(L"winErrorCode", 4294967295u);
  error.AddParameter(L"zero", 0);
  error.AddErrnoParameter(-2147483647L - 1);
  std::setlocale(LC_ALL, "C");
  std::locale::global(before);
  EXPECT_THAT(error.GetParameters(),
              ElementsAre(Pair(L"errno", L"-2147483648"), Pair(L"winErrorCode", L"4294967295"),
                          Pair(L"zero", L"0")));
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
  const auto records = TakeFlowRecords();
  ASSERT_THAT(records, SizeIs(2));
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(records[i].className + '.' + records[i].point, "Importer.Open");
    EXPECT_EQ(records[i].arg2, static_cast<std::int32_t>(i) + 1);
    EXPECT_EQ(records[i].object, FlowObject(&objects[i]));
  }
  EXPECT_EQ(records[0].detail, "NoSuchFile");
  EXPECT_EQ(records[0].arg1, FlowLabelId("NoSuchFile"));
  EXPECT_EQ(records[1].detail, "Locked");
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
  const MException own(MError(L"own"));
  (void)TakeFlowRecords();
  build();
  inHandlerOf(standard, build);
  inHandlerOf(own, build);
  inHandlerOf(42, build);
  // The innermost handler decides.
  inHandlerOf(own, [&] { inHandlerOf(standard, build); });
  inHandlerOf(standard, [&] { inHandlerOf(own, build); });
  std::vector<std::string> events;
  for (const auto& record : TakeFlowRecords()) events.push_back(record.event);
  EXPECT_THAT(events, ElementsAre("Root_error", "Cascade_error", "Root_error", "Root_error",
                                  "Cascade_error", "Root_error"));
}

TEST(RecordDismissedTest, IsLabelledWithTheNewestErrorsMessage) {
  static const MFlowPoint point(L"Importer", L"Open");
  const int object = 0;
  MException exception(MError(L"Oldest"));
  exception.Append(MError());
  (void)TakeFlowRecords();
  RecordDismissed(point, &object, exception);
  RecordDismissed(point, &object, MException());
  const auto records = TakeFlowRecords();
  ASSERT_THAT(records, SizeIs(2));
  for (const auto& record : records) {
    EXPECT_EQ(record.event, "Dismissed_error");
    EXPECT_EQ(record.detail, "Unspecified error");
    EXPECT_EQ(record.object, FlowObject(&object));
  }
}

}  // namespace
