// SPDX-License-Identifier: MIT
#include "orvel/commands/run_on_processor.h"

#include <stdexcept>

#include "tests/commands/tallied_work.h"

namespace Orvel::Testing {
namespace {

MSourceContext context(L"Owner", L"Work");

class RunOnProcessorTest : public testing::Test {
 protected:
  const HangWatchdog watchdog_;
  MCommandProcessor processor_;
};

TEST_F(RunOnProcessorTest, ReturnsWhatTheFunctionReturnsAndBorrowsWhatItNeeds) {
  const auto run = [&](auto&& call) -> decltype(auto) {
    return RunSynchronously(processor_, call);
  };
  std::future<int> early = RunAsync(processor_, [] { return 6; });
  EXPECT_EQ(early.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  processor_.Start();
  EXPECT_EQ(early.get(), 6);

  auto owned = std::make_unique<int>(7);
  std::thread::id thread;
  run([&] { thread = std::this_thread::get_id(); });
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_EQ(*run([&] { return std::move(owned); }), 7);
  EXPECT_EQ(&run([&]() -> std::thread::id& { return thread; }), &thread);
  auto future = RunAsync(processor_,
                         [moved = std::make_unique<int>(8)]() mutable { return std::move(moved); });
  EXPECT_EQ(*future.get(), 8);
  EXPECT_EQ(&RunAsync(processor_, [&]() -> std::thread::id& { return thread; }).get(), &thread);
}

TEST_F(RunOnProcessorTest, RaisesOnTheCallerWhatTheFunctionRaised) {
  processor_.Start();
  const auto check = [&](const std::string& name, auto&& run) {
    // The chain as it was, with what the error class adds.
    try {
      run([] {
        MException chain(MError(L"Oldest.Cause:First"));
        chain.Append(MError(context, L"Second"));
        throw chain;
      });
      ADD_FAILURE() << name;
    } catch (const MException& exception) {
      EXPECT_EQ(exception.GetChainDescription(), L"Oldest.Cause:First\nOwner.Work:Second\n");
    }
    const std::string code = "MCommandProcessor." + name + ":StandardException [errorMessage=";
    const auto fail = [&](const std::string& text) {
      return ErrorOf([&] { run([&] { throw std::runtime_error(text); }); });
    };
    EXPECT_EQ(fail("caf\xC3\xA9"), code + "caf\xE9]") << "UTF-8";
    EXPECT_EQ(fail("caf\xE9"), code + "caf\xE9]") << "some code page";
    EXPECT_THROW(run([] { throw 5; }), int);
  };
  check("RunSynchronously", [&](auto call) { RunSynchronously(processor_, call); });
  check("RunAsync", [&](auto call) { RunAsync(processor_, call).get(); });
  EXPECT_FALSE(processor_.IsAborted()) << "the worker failed";
}

TEST_F(RunOnProcessorTest, AFunctionThatIsNotRunIsNoSuccessAndNoHang) {
  const auto owned = std::make_shared<int>();
  const auto function = [owned] { return *owned; };
  const auto runAsync = [&] { static_cast<void>(RunAsync(processor_, function)); };
  EXPECT_EQ(ErrorUnder({SystemCall::kSetEvent, 0, {0, 6}}, runAsync),
            "MThreadSafeFifo.Push:ErrorAccessingEvent [winErrorCode=6]");
  processor_.Start();
  processor_.Stop();
  std::future<int> dropped = RunAsync(processor_, function);
  EXPECT_THROW(dropped.get(), std::future_error);
  EXPECT_EQ(ErrorOf([&] { RunSynchronously(processor_, function); }),
            "MCommandProcessor.ExecuteSynchronously:ProcessorStopped");
  EXPECT_EQ(owned.use_count(), 2) << "a function was not destroyed";
}

}  // namespace
}  // namespace Orvel::Testing
