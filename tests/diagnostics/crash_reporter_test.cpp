// SPDX-License-Identifier: MIT
// Reports of a program that crashes, and what can be seen without.
#include "orvel/diagnostics/crash_reporter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <regex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/raised_error.h"

#include <dbghelp.h>

namespace Orvel::Testing {
namespace {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class CrashReporterTest : public testing::Test {
 protected:
  CrashReporterTest()
      : folder_(std::filesystem::temp_directory_path() /
                ("orvel-" + std::to_string(std::random_device()()))) {}
  ~CrashReporterTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  /// The exit code of the program that crashes; fails when it does not end.
  static DWORD Crash(const std::string& kind, const std::string& mode = "",
                     const std::filesystem::path& folder = {}) {
    std::string command = '"' + std::filesystem::absolute(CRASHING_PROGRAM_EXE).string() + "\" \"" +
                          kind + "\" \"" + mode + "\" \"" + folder.string() + '"';
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;  // what the runtime has to say goes nowhere
    PROCESS_INFORMATION process{};
    if (::CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                         &startup, &process) == FALSE) {
      ADD_FAILURE() << "not started: " << command;
      return 0;
    }
    const Detail::KernelHandle handle(process.hProcess);
    const Detail::KernelHandle thread(process.hThread);
    if (::WaitForSingleObject(handle.Get(), 100'000) != WAIT_OBJECT_0) {
      ADD_FAILURE() << command << " hangs";
      ::TerminateProcess(handle.Get(), 0);
    }
    DWORD code = 0;
    ::GetExitCodeProcess(handle.Get(), &code);
    return code;
  }

  /// The contents of the files with an ending.
  [[nodiscard]] std::vector<std::string> Read(const std::string& ending) const {
    std::vector<std::string> contents;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
      if (!entry.path().filename().string().ends_with(ending)) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      contents.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return contents;
  }

  /// The text of the only report, which is whole and whose minidump and flow log are.
  std::string ReadReport() const {
    const auto texts = Read(".txt");
    const auto dumps = Read(".dmp");
    const auto logs = Read(".flow.log");
    EXPECT_EQ(texts.size(), 1u);
    EXPECT_EQ(dumps.size(), 1u);
    EXPECT_EQ(logs.size(), 1u);
    if (texts.size() != 1 || dumps.size() != 1 || logs.size() != 1) return {};
    EXPECT_THAT(texts[0], EndsWith("\nEnd of the report\n"));
    EXPECT_THAT(texts[0], ContainsRegex("\nMinidump: crash-.*\\.dmp\n"));
    EXPECT_THAT(logs[0], StartsWith("%% Reference time: "));
    EXPECT_THAT(logs[0], EndsWith("\n"));
    CheckDump(dumps[0], texts[0]);
    return texts[0];
  }

  static std::string_view FindStream(std::string& dump, ULONG number) {
    void* stream = nullptr;
    MINIDUMP_DIRECTORY* directory = nullptr;
    ULONG size = 0;
    if (::MiniDumpReadDumpStream(dump.data(), number, &directory, &stream, &size) == FALSE) {
      return {};
    }
    return {static_cast<const char*>(stream), size};
  }

  /// Takes a structure from the front; in a file it may lie anywhere.
  template <class Structure>
  static Structure Take(std::string_view& bytes) {
    Structure structure{};
    std::memcpy(&structure, bytes.data(), (std::min)(bytes.size(), sizeof structure));
    bytes.remove_prefix((std::min)(bytes.size(), sizeof structure));
    return structure;
  }

  static void CheckDump(std::string dump, const std::string& text) {
    std::string_view stream = FindStream(dump, ExceptionStream);
    const auto exception = Take<MINIDUMP_EXCEPTION_STREAM>(stream);
    EXPECT_NE(exception.ExceptionRecord.ExceptionCode, 0u) << "a minidump of " << dump.size();
    EXPECT_NE(exception.ThreadContext.DataSize, 0u);
    EXPECT_THAT(text, HasSubstr("\nThread: " + std::to_string(exception.ThreadId)));
    std::string_view threads = FindStream(dump, ThreadListStream);
    bool isListed = false;
    for (ULONG32 left = Take<ULONG32>(threads); left > 0; --left) {
      const auto thread = Take<MINIDUMP_THREAD>(threads);
      isListed =
          isListed || (thread.ThreadId == exception.ThreadId && thread.Stack.Memory.DataSize != 0);
    }
    EXPECT_TRUE(isListed);
  }

  const std::filesystem::path folder_;
};

struct Death {
  const char* kind;
  const char* mode;
  std::vector<const char*> lines;  // regular expressions for what the text holds
};

TEST_F(CrashReporterTest, EveryDeathLeavesAReportAndTheExitCodeThatItHasWithout) {
  const Death deaths[] = {
      {"access",
       "",
       {"What: unhandled exception, 0xC0000005 .access violation. writing 0x0000000000000010 at "
        "crashing_program.exe.0x[0-9A-F]*\nWhere: crashing_program.exe.0x[0-9A-F]*\nStack:\n",
        "Thread: [0-9]*, The main thread\nThread in the flow log: The main thread\n",
        "Being handled: no exception\n"}},
      {"access on a thread", "", {"What: unhandled exception, 0xC0000005"}},
      {"access while handling",
       "",
       {"Being handled: an error, oldest cause first\n  CrashingProgram.Crash:Cause\n  "
        "CrashingProgram.Crash:Last .file = gr\xC3\xBCn.\n"}},
      {"stack", "", {"0xC00000FD .stack overflow.", "there was no stack left"}},
      {"access after the main thread", "", {"What: unhandled exception, 0xC0000005"}},
      {"terminate",
       "",
       {"What: std::terminate\nWhere: [a-z]", "  CrashingProgram.Crash:Last .file"}},
      {"terminate on a worker",
       "",
       {"What: std::terminate\n", "a standard exception, no MException\n",
        "Thread in the flow log: Command processor thread\n"}},
      {"abort", "", {"What: abort\nWhere: [a-z]"}},
      {"signal on a thread", "", {"What: abort\n"}},
      {"pure call", "", {"What: (std::terminate|call of a pure|unhandled exception)"}},
      {"parameter", "own handlers", {"What: invalid parameter"}},
      {"access", "own handlers", {"What: unhandled exception"}},
      {"terminate", "own handlers", {"What: std::terminate"}},
      {"abort", "own handlers", {"What: abort"}},
      {"dump", "", {"without what another dump has taken"}},
      {"twice", "", {"What: unhandled exception"}},
      {"access",
       "failing handlers",
       {"Added by the application:\n  a line of the application\n  .raised:\n",
        "report crashed here: 0xC0000005 .*\n  a line of the application\n\n"
        "  .the report crashed here: 0x40000015 .*\n  a line of the application\n"
        "End of the report\n"}},
  };
  for (const Death& death : deaths) {
    SCOPED_TRACE(std::string(death.kind) + ", " + death.mode);
    const DWORD code = Crash(death.kind, death.mode);
    EXPECT_NE(code, 0u);
    EXPECT_EQ(Crash(death.kind, death.mode, folder_), code);
    const std::string text = ReadReport();
    for (const char* line : death.lines) {
      EXPECT_TRUE(std::regex_search(text, std::regex(line))) << line << " in\n" << text;
    }
    std::filesystem::remove_all(folder_);
  }
}

TEST_F(CrashReporterTest, WhatKeepsAReportFromTheDiskKeepsNoProcessAlive) {
  const DWORD code = Crash("access");
  const DWORD start = ::GetTickCount();
  const std::pair<const char*, const char*> crashes[] = {{"access", "full"},
                                                         {"access", "refused"},
                                                         {"access", "removed"},
                                                         {"access", "stuck"},
                                                         {"heap", "stuck"}};
  for (const auto& [kind, mode] : crashes) {
    SCOPED_TRACE(std::string(kind) + ", " + mode);
    EXPECT_EQ(Crash(kind, mode, folder_), code);
    if (std::filesystem::is_directory(folder_)) {
      EXPECT_THAT(Read(".txt"), testing::Each(Not(HasSubstr("End of the report"))));
    }
    std::filesystem::remove_all(folder_);
  }
  EXPECT_LT(::GetTickCount() - start, 30'000u);
  EXPECT_EQ(Crash("nothing after the main thread", "", folder_),
            Crash("nothing after the main thread"));
  EXPECT_EQ(Crash("access", "gone", folder_), code);
  EXPECT_THAT(ReadReport(), Not(IsEmpty())) << "the folder is made anew";
}

TEST_F(CrashReporterTest, ReportsACrashAlsoAfterOneThatTheProcessSurvived) {
  Crash("parameter, then access", "lenient", folder_);
  std::vector<std::string> texts = Read(".txt");
  std::sort(texts.begin(), texts.end());
  EXPECT_THAT(texts, ElementsAre(HasSubstr("What: invalid parameter"), HasSubstr("0xC0000005")));
  EXPECT_THAT(texts, testing::Each(EndsWith("End of the report\n")));
}

TEST_F(CrashReporterTest, KeepsTheNewestReportsOfItsProgramAndNothingElsesFiles) {
  std::filesystem::create_directories(folder_);
  const auto touch = [&](const char* name) { std::ofstream(folder_ / name) << name; };
  for (const char* name :
       {"crash-20260101-000000-7.txt", "crash-20260101-000000-7.dmp", "crash-20251231-235959-9.txt",
        "crash-20251231-235959-9.flow.log", "crash-20260102-000000-1.txt",
        "crash-20260102-000000-1-2.txt", "crash-notes.txt", "crash-x-20200101-000000-1.txt"}) {
    touch(name);
  }
  MCrashReporterOptions options;
  options.folder = folder_.wstring();
  options.programName = L"crash";
  options.reportsKept = 2;
  {
    const MCrashReporter reporter(options);
    EXPECT_TRUE(reporter.IsReporting());
    EXPECT_EQ(ErrorOf([&] { const MCrashReporter second(options); }),
              "MCrashReporter.MCrashReporter:AlreadyReporting");
  }
  std::vector<std::string> contents = Read("");
  std::sort(contents.begin(), contents.end());
  EXPECT_THAT(contents, ElementsAre("crash-20260102-000000-1-2.txt", "crash-20260102-000000-1.txt",
                                    "crash-notes.txt", "crash-x-20200101-000000-1.txt"));

  // Another module's reporter.
  const std::wstring mark =
      L"Local\\Orvel.MCrashReporter." + std::to_wstring(::GetCurrentProcessId());
  const Detail::KernelHandle marker(::CreateMutexW(nullptr, FALSE, mark.c_str()));
  EXPECT_FALSE(MCrashReporter(options).IsReporting());
}

TEST_F(CrashReporterTest, RefusesNamesThatMakeNoFiles) {
  MCrashReporterOptions options;
  const auto error = [&] { return ErrorOf([&] { const MCrashReporter reporter(options); }); };
  EXPECT_THAT(error(), HasSubstr(":BadFolder"));
  options.folder = folder_.wstring();
  options.programName = L"a\\b";
  EXPECT_THAT(error(), HasSubstr(":BadName"));
  options.programName.assign(200, L'n');
  EXPECT_THAT(error(), HasSubstr(":NameTooLong"));
  options.programName.clear();
  options.folder = std::filesystem::absolute(CRASHING_PROGRAM_EXE).wstring();
  EXPECT_THAT(error(), HasSubstr(":CannotCreateFolder"));
}

}  // namespace
}  // namespace Orvel::Testing
