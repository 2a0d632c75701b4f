// SPDX-License-Identifier: MIT
// crashing_program KIND MODE FOLDER: crashes in the way of that name, with a report into FOLDER
// unless that is empty. Ends with 0 when it does not.
#include <signal.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "orvel/commands/command_processor.h"
#include "orvel/commands/function_command.h"
#include "orvel/diagnostics/crash_handler.h"
#include "orvel/diagnostics/crash_reporter.h"
#include "orvel/foundation/exception.h"
#include "orvel/logging/flow_log.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/meeting.h"

extern "C" {
extern void* __imp_WriteFile;  // the slot of this program's import table
}

namespace {

using Orvel::Testing::Latch;

MSourceContext context(L"CrashingProgram", L"Crash");

void WriteNowhere() {
  // Volatile, so that the compiler does not know that nothing is there.
  volatile std::uintptr_t nowhere = 16;
  *reinterpret_cast<volatile int*>(nowhere) = 1;
}

/// Crashes with little stack left, or uses it up. Wine then ends the thread without asking anybody,
/// so what needs a report raises the exception itself.
int UseUpStack(bool leavesSome) {
  ULONG_PTR low = 0;
  ULONG_PTR high = 0;
  ::GetCurrentThreadStackLimits(&low, &high);
  volatile char room[1000] = {};
  const bool isLeft = reinterpret_cast<ULONG_PTR>(&room) - low > 40'000;
  if (isLeft || !leavesSome) return UseUpStack(leavesSome) + room[0];
  ::RaiseException(EXCEPTION_STACK_OVERFLOW, 0, 0, nullptr);
  return 0;
}

/// As the runtime does, where it has such a handler.
void PassInvalidParameter() {
  _invalid_parameter_handler const handler = ::_get_invalid_parameter_handler();
  handler(nullptr, nullptr, nullptr, 0, 0);
}

struct Base {
  Base() { CallIt(); }
  virtual ~Base() = default;
  void CallIt() { Pure(); }
  virtual void Pure() = 0;
};
struct Derived : Base {
  void Pure() override {}
};

[[noreturn]] void RaiseChain() {
  MException exception(MError(context.At(__LINE__, nullptr), L"Cause"));
  MError last(context.At(__LINE__, nullptr), L"Last");
  last.AddParameter(L"file", L"gr\u00FCn");
  exception.Append(last);
  throw exception;
}

void CrashWithTheHeapLocked() {
  ::HeapLock(::GetProcessHeap());
  WriteNowhere();
}

void CrashInTheLoader() {
  using LockLoader = LONG(WINAPI*)(ULONG flags, ULONG * disposition, ULONG_PTR * cookie);
  ULONG_PTR cookie = 0;
  FARPROC const lock = ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "LdrLockLoaderLock");
  reinterpret_cast<LockLoader>(reinterpret_cast<void*>(lock))(0, nullptr, &cookie);
  WriteNowhere();
}

void CrashTwice() {
  static Latch start{2};
  const auto crash = [] {
    start.CountDown();
    start.Wait();
    WriteNowhere();
  };
  std::thread(crash).detach();
  crash();
}

/// Has a thread do `action` when this one, that of `main`, has long ended.
void EndBefore(void (*action)()) {
  const HANDLE self = ::OpenThread(SYNCHRONIZE, FALSE, ::GetCurrentThreadId());
  std::thread([=] {
    ::WaitForSingleObject(self, INFINITE);
    ::Sleep(1500);
    action();
  }).detach();
  ::ExitThread(76);
}

struct Handler final : ICrashHandler {
  explicit Handler(std::function<void(MCrashReportLines&)> onEnd) : end(std::move(onEnd)) {}
  void OnCrash(MCrashReportLines& lines) override {
    lines.AddLine(L"a line\nof the application");
    end(lines);
  }
  const std::function<void(MCrashReportLines&)> end;
  const MCrashHandlerRegistration use{*this};
};

const std::wstring longLine(20'000, L'x');  // longer than what is written at once

/// Handlers that fail in each way, and one behind them.
struct FailingHandlers {
  Handler raises{[](auto&) { RaiseChain(); }};
  Handler crashes{[](auto&) { WriteNowhere(); }};
  Handler aborts{[](auto&) { ::abort(); }};
  Handler succeeds{[](auto& lines) { lines.AddLine(longLine); }};
};

BOOL WINAPI RefuseToWrite(HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) {
  ::SetLastError(ERROR_DISK_FULL);
  return FALSE;
}

void FillDisk() {
  DWORD protection = 0;
  ::VirtualProtect(&__imp_WriteFile, sizeof __imp_WriteFile, PAGE_READWRITE, &protection);
  __imp_WriteFile = reinterpret_cast<void*>(&RefuseToWrite);
}

void InstallOwnHandlers() {
  ::SetUnhandledExceptionFilter([](EXCEPTION_POINTERS*) -> LONG { ::ExitProcess(77); });
  std::set_terminate([] { ::_exit(78); });
  ::signal(SIGABRT, [](int) { ::_exit(79); });
  ::_set_invalid_parameter_handler([](const wchar_t*, const wchar_t*, const wchar_t*, unsigned,
                                      std::uintptr_t) { ::_exit(80); });
}

const std::map<std::string, std::function<void()>> kCrashes = {
    {"access", WriteNowhere},
    {"access on a thread", [] { std::thread(WriteNowhere).join(); }},
    {"stack", [] { UseUpStack(true); }},
    {"all of the stack", [] { UseUpStack(false); }},
    {"terminate", RaiseChain},
    {"terminate on a worker",
     [] {
       MCommandProcessor processor;
       processor.Start();
       processor.QueueCommand(MakeCommand([] { throw std::runtime_error("no MException"); }));
       processor.Flush();
     }},
    {"abort", [] { ::abort(); }},
    {"signal on a thread", [] { std::thread([] { ::raise(SIGABRT); }).join(); }},
    {"pure call", [] { Derived derived; }},
    {"parameter", PassInvalidParameter},
    {"twice", CrashTwice},
    {"heap", CrashWithTheHeapLocked},
    {"loader", CrashInTheLoader},
    {"nothing after the main thread", [] { EndBefore([] { ::ExitThread(76); }); }},
    {"the main thread's end", [] { ::ExitThread(0); }},
    {"access after the main thread", [] { EndBefore(WriteNowhere); }},
    {"parameter, then access",
     [] {
       {
         const Handler raises([](auto&) { RaiseChain(); });
         PassInvalidParameter();
       }
       PassInvalidParameter();
       const Handler slow([](auto&) { ::Sleep(500); });  // nobody may go on meanwhile
       WriteNowhere();
     }},
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 1;
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  flowLogger().nameCurrentThread(L"The main thread");
  const std::string kind = argv[1];
  const std::string mode = argv[2];
  const std::filesystem::path folder = argv[3];
  if (mode == "own handlers") InstallOwnHandlers();
  if (mode == "lenient") {
    ::_set_invalid_parameter_handler(
        [](const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t) {});
  }
  std::optional<MCrashReporter> reporter;
  std::optional<FailingHandlers> handlers;
  std::optional<Handler> waiting;
  if (!folder.empty()) {
    MCrashReporterOptions options;
    options.folder = folder.wstring();
    options.programName = L"crash";
    // Wine takes seconds for each.
    options.writesMiniDump = kind == "access" || kind == "loader";
    // Where a report has to be whole, a machine that is busy is to make no difference.
    options.timeLimit = std::chrono::seconds(mode == "stuck" ? 1 : 120);
    reporter.emplace(options);
    if (mode == "failing handlers") handlers.emplace();
    if (mode == "stuck") waiting.emplace([](auto&) { ::Sleep(INFINITE); });
    if (mode == "gone" || mode == "refused") std::filesystem::remove_all(folder);
    if (mode == "refused") std::ofstream(folder) << "a file";
    if (mode == "full") FillDisk();
    if (mode == "removed") reporter.reset();
  }
  kCrashes.at(kind)();
  return 0;
}
