// SPDX-License-Identifier: MIT
#pragma once

#include "orvel/commands/command_processor.h"
#include "orvel/commands/function_command.h"
#include "tests/threads/staging.h"

namespace Orvel::Testing {

/// What became of one command or event.
struct Tally {
  std::atomic<int> executed{0};
  std::atomic<int> deleted{0};

  [[nodiscard]] bool RanOnce() const { return executed == 1 && deleted == 1; }
  [[nodiscard]] bool DeletedUnexecuted() const { return executed == 0 && deleted == 1; }
};

/// A function for a command or an event that tells `tally` of its run, does `work` then, and tells
/// of its end with whatever owns it.
[[nodiscard]] inline auto Tallied(Tally& tally, std::function<void()> work = nullptr) {
  const auto tellDeletion = [](Tally* told) { ++told->deleted; };
  return [told = std::shared_ptr<Tally>(&tally, tellDeletion), work = std::move(work)] {
    ++told->executed;
    if (work) work();
  };
}

}  // namespace Orvel::Testing
