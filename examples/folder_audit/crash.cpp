// SPDX-License-Identifier: MIT
#include "folder_audit/crash.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <thread>

#include "orvel/foundation/exception.h"

namespace FolderAudit {
namespace {

// Volatile throughout, so that no compiler sees what is wrong.

void WriteNowhere() {
  volatile std::uintptr_t nowhere = 16;
  *reinterpret_cast<volatile int*>(nowhere) = 1;
}

void LetAnErrorEscape() {
  static MSourceContext context(L"Crash", L"LetAnErrorEscape");
  std::thread([] { RaiseError(context.At(__LINE__, nullptr), L"NobodyCatches"); }).join();
}

class Unfinished {
 public:
  Unfinished() { CallFinish(); }
  virtual ~Unfinished() = default;

 protected:
  virtual void Finish() = 0;

 private:
  void CallFinish() { Finish(); }
};

class Finished final : public Unfinished {
  void Finish() override {}
};

void CallPureFunction() { const Finished finished; }

int Recurse(volatile int& depth) {
  volatile char room[1024] = {};
  depth = depth + 1;
  if (depth < 0) return 0;
  return Recurse(depth) + room[0];
}

void UseUpStack() {
  volatile int depth = 0;
  static_cast<void>(Recurse(depth));
}

struct Kind {
  std::wstring_view name;
  void (*crash)();
};
constexpr Kind kKinds[] = {{L"access", WriteNowhere},
                           {L"error", LetAnErrorEscape},
                           {L"abort", [] { std::abort(); }},
                           {L"pure-call", CallPureFunction},
                           {L"stack", UseUpStack}};

}  // namespace

bool IsCrashKind(std::wstring_view kind) noexcept {
  return std::any_of(std::begin(kKinds), std::end(kKinds),
                     [=](const Kind& known) { return known.name == kind; });
}

void Crash(std::wstring_view kind) {
  for (const Kind& known : kKinds) {
    if (known.name == kind) known.crash();
  }
}

}  // namespace FolderAudit
