// SPDX-License-Identifier: MIT
#include "orvel/foundation/error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <functional>
#include <locale>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "orvel/foundation/exception.h"
#include "orvel/logging/event_codes.h"
#include "orvel/logging/label_id.h"
#include "tests/support/process_flow_log.h"

namespace {

using Orvel::Testing::DumpedRecord;
using Orvel::Testing::TakeFlowRecords;
using testing::ElementsAre;
using testing::Pair;
using testing::SizeIs;
namespace EventCode = Orvel::Detail::EventCode;

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
  EXPECT_EQ(MError(L"As. passed:").GetMessage(), L"As. passed:");
}

TEST(MErrorTest, ParametersComeInOrderOfTheirCodeUnitsAndKeepTheirFirstValue) {
  MError error;
  for (const wchar_t* name : {L"value1", L"errno", L"\xFFFD", L"Value2", L"Name", L"\x00E9"}) {
    error.AddParameter(name, std::wstring(L"of ") + name);
  }
  error.AddParameter(L"Name", L"later");
  error.AddParameter(L"errno", 5u);
  error.AddErrnoParameter(6);
  error.AddParameter(nullptr, L"nameless");
  std::vector<std::wstring> names;
  for (const auto& [name, value] : error.GetParameters()) names.push_back(name);
  EXPECT_THAT(names,
              ElementsAre(L"", L"Name", L"Value2", L"errno", L"value1", L"\x00E9", L"\xFFFD"));
  EXPECT_EQ(*error.FindParameter(L"Name"), L"of Name");
  EXPECT_EQ(*error.FindParameter(L"errno"), L"of errno");
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

TEST(MErrorTest, CopiesAndClonesAreWholeAndSeparate) {
  MError error(L"A.B:C");
  error.AddParameter(L"name", L"first");
  const std::unique_ptr<MDynObject> object = error.Clone();
  error.AddParameter(L"other", L"second");
  auto* const clone = dynamic_cast<MError*>(object.get());
  ASSERT_NE(clone, nullptr);
  EXPECT_EQ(clone->GetCode(), L"A.B:C");
  EXPECT_THAT(clone->GetParameters(), ElementsAre(Pair(L"name", L"first")));
  EXPECT_EQ(&clone->GetClass(), &MClassRecords::kError);
  EXPECT_STREQ(clone->GetClass().GetName(), L"MError");

  const auto fresh = clone->CreateEmpty();
  EXPECT_EQ(dynamic_cast<MError&>(*fresh).GetMessage(), L"Unspecified error");
  EXPECT_THAT(dynamic_cast<MError&>(*fresh).GetParameters(), SizeIs(0));
}

TEST(MErrorTest, EventTellsNameLineAndObject) {
  static MSourceContext context(L"Importer", L"Open");
  EXPECT_EQ(context.GetLine(), -1);
  EXPECT_EQ(context.GetObjectValue(), 0u);
  const int object = 0;
  (void)TakeFlowRecords();
  const MError bySite(context.At(321, &object), L"NoSuchFile");
  const MError byContext(context, L"Locked");
  const auto records = TakeFlowRecords();
  ASSERT_THAT(records, SizeIs(2));
  for (const DumpedRecord& record : records) {
    EXPECT_EQ(record.event, "Root_error");
    EXPECT_EQ(record.className + '.' + record.point, "Importer.Open");
    EXPECT_EQ(record.arg2, 321);
    EXPECT_EQ(record.object, FlowObject(&object));
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
  struct Case {
    std::function<void()> action;
    std::int32_t kind;
  };
  const std::runtime_error standard("standard");
  const MException own(MError(L"own"));
  const Case cases[] = {
      {build, EventCode::kRootError},
      {[&] { inHandlerOf(standard, build); }, EventCode::kCascadeError},
      {[&] { inHandlerOf(own, build); }, EventCode::kRootError},
      {[&] { inHandlerOf(42, build); }, EventCode::kRootError},
      // The innermost handler decides.
      {[&] { inHandlerOf(own, [&] { inHandlerOf(standard, build); }); }, EventCode::kCascadeError},
      {[&] { inHandlerOf(standard, [&] { inHandlerOf(own, build); }); }, EventCode::kRootError},
  };
  for (const Case& c : cases) {
    (void)TakeFlowRecords();
    c.action();
    const auto records = TakeFlowRecords();
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].kind, c.kind) << "case " << &c - cases;
  }
}

TEST(MErrorTest, RaiseKeepsItsLineAndObjectWhenAnotherComesBetween) {
  static MSourceContext context(L"Importer", L"Read");
  const int objects[2] = {};
  (void)TakeFlowRecords();
  const MRaiseSite first = context.At(1, &objects[0]);
  const MRaiseSite second = context.At(2, &objects[1]);  // as another thread may at any moment
  const MError firstError(first, L"Failed");
  const MError secondError(second, L"Failed");
  const auto records = TakeFlowRecords();
  ASSERT_THAT(records, SizeIs(2));
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(records[i].arg2, static_cast<std::int32_t>(i) + 1);
    EXPECT_EQ(records[i].object, FlowObject(&objects[i]));
  }
}

}  // namespace
