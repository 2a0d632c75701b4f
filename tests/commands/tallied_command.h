// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

#include "orvel/commands/command_processor.h"
#include "orvel/commands/command_synchronous.h"
#include "orvel/commands/function_command.h"
#include "tests/support/meeting.h"

namespace Orvel::Testing {

/// What became of one command.
struct Tally {
  std::atomic<int> executed{0};
  std::atomic<int> deleted{0};

  [[nodiscard]] bool RanOnce() const { return executed == 1 && deleted == 1; }
  [[nodiscard]] bool DeletedUnexecuted() const { return executed == 0 && deleted == 1; }
};

/// A command, plain or synchronous, that tells its tally and then does `work`.
template <class Base>
class TalliedWork : public Base {
 protected:
  explicit TalliedWork(Tally& tally, std::function<void()> work, auto&&... baseArguments)
      : Base(std::forward<decltype(baseArguments)>(baseArguments)...),
        tally_(tally),
        work_(std::move(work)) {}
  ~TalliedWork() override { ++tally_.deleted; }
  void Work() {
    ++tally_.executed;
    if (work_) work_();
  }

 private:
  Tally& tally_;
  const std::function<void()> work_;
};

class TalliedCommand final : public TalliedWork<MCommand> {
 public:
  explicit TalliedCommand(Tally& tally, std::function<void()> work = nullptr)
      : TalliedWork(tally, std::move(work)) {}
  void Execute() override { Work(); }
};

class TalliedSynchronous final : public TalliedWork<MCommandSynchronous> {
 public:
  explicit TalliedSynchronous(Tally& tally, std::function<void()> work = nullptr,
                              std::shared_ptr<MException> slot = nullptr)
      : TalliedWork(tally, std::move(work), std::move(slot)) {}

 private:
  void ExecuteCommand() override { Work(); }
};

/// Keeps a processor's worker busy from construction to Release, so that a test can queue behind
/// it. Holds a started processor only.
class BusyWorker {
 public:
  explicit BusyWorker(MCommandProcessor& processor) {
    processor.QueueCommand(MakeCommand([this] {
      entered_.CountDown();
      release_.Wait();
    }));
    entered_.Wait();
  }
  void Release() { release_.CountDown(); }

 private:
  Latch entered_{1};
  Latch release_{1};
};

}  // namespace Orvel::Testing
