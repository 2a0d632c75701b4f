// SPDX-License-Identifier: MIT
#include "orvel/foundation/exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/process_flow_log.h"

namespace {

using Orvel::Testing::TakeFlowRecords;
using testing::ElementsAre;
using testing::Pair;
using testing::SizeIs;

MSourceContext context(L"Importer", L"Open");

std::vector<std::wstring> Codes(const MException& exception) {
  std::vector<std::wstring> codes;
  for (const auto& error : exception.GetErrors()) {
    codes.push_back(error != nullptr ? error->GetCode() : L"(null)");
  }
  return codes;
}

/// Copies into something that is no error, and counts what is alive.
class Stranger : public MDynObject {
 public:
  Stranger() { ++alive; }
  Stranger(const Stranger& other) : MDynObject(other) { ++alive; }
  ~Stranger() override { --alive; }
  const MDynClassRecord& GetClass() const noexcept override { return MClassRecords::kDynObject; }
  std::unique_ptr<MDynObject> Clone() const override { return std::make_unique<Stranger>(*this); }

  static inline int alive = 0;
};

class Uncopyable : public MDynObject {
 public:
  const MDynClassRecord& GetClass() const noexcept override { return MClassRecords::kDynObject; }
};

class TranslatedError : public MError {
 public:
  std::unique_ptr<MDynObject> Clone() const override {
    return std::make_unique<TranslatedError>(*this);
  }
  std::wstring GetMessage() const override { return L"DiskFull"; }
};

TEST(MExceptionTest, AppendedObjectThatIsNoErrorLeavesANullEntry) {
  MException exception(MError(L"oldest"));
  exception.Append(Stranger());
  EXPECT_EQ(Stranger::alive, 0) << "its clone is deleted";
  EXPECT_EQ(exception.GetNewestError(), nullptr);
  exception.Append(Uncopyable());
  exception.Append(*exception.GetErrors().front());
  exception.Append(MError(L"newest"));
  EXPECT_THAT(Codes(exception), ElementsAre(L"oldest", L"(null)", L"(null)", L"oldest", L"newest"));

  const MException copy(exception);
  EXPECT_THAT(Codes(copy), ElementsAre(L"oldest", L"oldest", L"newest"));
  EXPECT_EQ(exception.GetChainDescription(), L"oldest\noldest\nnewest\n");
}

TEST(MExceptionTest, CopiesAreDeepAndKeepTheirClass) {
  MError error(L"A.B:C");
  error.AddParameter(L"name", L"value");
  MException exception(error);
  exception.Append(TranslatedError());
  MException copy;
  copy = exception;
  MException moved(std::move(exception));
  EXPECT_THAT(Codes(exception), SizeIs(0));  // NOLINT(bugprone-use-after-move): emptied
  ASSERT_THAT(copy.GetErrors(), SizeIs(2));
  EXPECT_NE(copy.GetErrors()[0], moved.GetErrors()[0]);
  moved = MException();
  copy = static_cast<const MException&>(copy);
  EXPECT_THAT(copy.GetErrors()[0]->GetParameters(), ElementsAre(Pair(L"name", L"value")));
  EXPECT_EQ(copy.GetNewestError()->GetMessage(), L"DiskFull");
}

TEST(MExceptionTest, DescriptionHasALinePerErrorOldestFirst) {
  MError error(L"A.B:C");
  error.AddParameter(L"winErrorCode", 5);
  error.AddParameter(L"name", L"a b");
  MException exception(error);
  exception.Append(MError());
  EXPECT_EQ(exception.GetChainDescription(),
            L"A.B:C (name = a b, winErrorCode = 5)\nUnspecified error\n");
  EXPECT_EQ(MException().GetChainDescription(), L"");
  EXPECT_EQ(MException().GetNewestError(), nullptr);
  const std::exception& standard = exception;
  EXPECT_STREQ(standard.what(), "Unknown exception");
}

TEST(RaiseErrorTest, RaisesOneErrorWithItsParameter) {
  try {
    RaiseError(context.At(10, nullptr), L"AlreadyRunning");
  } catch (const MException& exception) {
    EXPECT_THAT(Codes(exception), ElementsAre(L"Importer.Open:AlreadyRunning"));
    EXPECT_THAT(exception.GetNewestError()->GetParameters(), SizeIs(0));
  }
  try {
    RaiseError(context, L"WaitFailed", L"winErrorCode", 4294967295u);
  } catch (const std::exception& standard) {
    const auto& exception = dynamic_cast<const MException&>(standard);
    EXPECT_THAT(Codes(exception), ElementsAre(L"Importer.Open:WaitFailed"));
    EXPECT_THAT(exception.GetNewestError()->GetParameters(),
                ElementsAre(Pair(L"winErrorCode", L"4294967295")));
  }
}

TEST(RecordDismissedTest, IsLabelledWithTheNewestErrorsMessage) {
  const int object = 0;
  MException translated(MError(L"A.B:C"));
  translated.Append(TranslatedError());
  (void)TakeFlowRecords();
  RecordDismissed(context, &object, MException(MError(L"A.B:C")));
  RecordDismissed(context, &object, translated);
  RecordDismissed(context, &object, MException());
  std::vector<std::string> details;
  for (const auto& record : TakeFlowRecords()) {
    EXPECT_EQ(record.event, "Dismissed_error");
    EXPECT_EQ(record.object, FlowObject(&object));
    details.push_back(record.detail);
  }
  EXPECT_THAT(details, ElementsAre("A.B:C", "DiskFull", "Unspecified error"));
}

}  // namespace
