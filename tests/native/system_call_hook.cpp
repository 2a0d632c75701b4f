// SPDX-License-Identifier: MIT
#include "tests/support/system_call_hook.h"

#include <utility>
#include <vector>

namespace Orvel::Testing {
namespace {

// The stand-in asks on the calling thread, so the hooks of a thread are that thread's own affair.
thread_local std::vector<SystemCallHook*> hooks;

}  // namespace

SystemCallHook::SystemCallHook(SystemCall call, int skipped, std::function<void()> before,
                               std::optional<SystemAnswer> answer)
    : call_(call), skipped_(skipped), before_(std::move(before)), answer_(answer), slot_(0) {
  hooks.push_back(this);
}

SystemCallHook::~SystemCallHook() { std::erase(hooks, this); }

std::optional<SystemAnswer> SystemCallHook::OnCall(SystemCall call) {
  for (SystemCallHook* const hook : hooks) {
    if (hook->call_ != call || hook->reached_ || hook->skipped_-- > 0) continue;
    hook->reached_ = true;
    if (hook->before_) hook->before_();
    return hook->answer_;
  }
  return std::nullopt;
}

}  // namespace Orvel::Testing
