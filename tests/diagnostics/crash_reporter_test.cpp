// SPDX-License-Identifier: MIT
// Reports of a program that crashes, and what can be seen without.
#include "orvel/diagnostics/crash_reporter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <regex>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/raised_error.h"

#include <dbghelp.h>
#include <process.h>

namespace Orvel::Testing {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
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

  /// The exit code of the program that crashes.
  static std::intptr_t Crash(const std::string& kind, const std::string& mode = "",
                             const std::filesystem::path& folder = {}) {
    const auto quoted = [](const std::string& text) { return '"' + text + '"'; };
    const std::string program = std::filesystem::absolute(CRASHING_PROGRAM_EXE).string();
    return ::_spawnl(_P_WAIT, program.c_str(), quoted(program).c_str(), quoted(kind).c_str(),
                     quoted(mode).c_str(), quoted(folder.string()).c_str(), nullptr);
  }

  /// The contents of the files with an ending.
  [[nodiscard]] std::vector<std::string> Read(const std::string& ending) const {
    std::vector<std::string> contents;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(folder_, none)) {
      if (!entry.path().filename().string().ends_with(ending)) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      contents.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return contents;
  }

  /// The text of the only report, which is whole, and so are its flow log and its minidump.
  std::string ReadReport(bool hasDump) const {
    EXPECT_THAT(Read(".flow.log"),
                ElementsAre(AllOf(StartsWith("%% Reference time: "), EndsWith("\n"))));
    const auto texts = Read(".txt");
    EXPECT_THAT(texts, ElementsAre(EndsWith("\nEnd of the report\n")));
    auto dumps = Read(".dmp");
    EXPECT_THAT(dumps, SizeIs(hasDump ? 1u : 0u));
    if (texts.empty()) return {};
    for (std::string& dump : dumps) {
      EXPECT_THAT(texts[0], ContainsRegex("\nMinidump: crash-.*\\.dmp\n"));
      void* stream = nullptr;
      MINIDUMP_EXCEPTION_STREAM exception{};
      if (::MiniDumpReadDumpStream(dump.data(), ExceptionStream, nullptr, &stream, nullptr)) {
        std::memcpy(&exception, stream, sizeof exception);  // it may lie anywhere
      }
      EXPECT_EQ(exception.ExceptionRecord.ExceptionCode, EXCEPTION_ACCESS_VIOLATION);
      EXPECT_NE(exception.ThreadContext.DataSize, 0u);
      EXPECT_THAT(texts[0], HasSubstr("\nThread: " + std::to_string(exception.ThreadId)));
    }
    return texts[0];
  }

  const std::filesystem::path folder_;
};

TEST_F(CrashReporterTest, EveryDeathHasTheExitCodeThatItHasWithoutAndLeavesAReportIfItCan) {
  // With regular expressions for what the text of the report holds; without, no report is whole.
  const std::tuple<std::string, std::string, std::vector<const char*>> deaths[] = {
      {"access",
       "",
       {"What: unhandled exception, 0xC0000005 .access violation. writing 0x0000000000000010 at "
        "crashing_program.exe.0x[0-9A-F]*\nWhere: crashing_program.exe.0x[0-9A-F]*\nStack:\n",
        "Thread: [0-9]*, The main thread\nThread in the flow log: The main thread\n",
        "Being handled: no exception\n"}},
      {"access", "gone", {"What: unhandled exception"}},
      {"stack", "", {"0xC00000FD .stack overflow.", "there was no stack left"}},
      {"access after the main thread", "", {"What: unhandled exception, 0xC0000005"}},
      {"nothing after the main thread", "", {}},
      {"terminate",
       "",
       {"What: std::terminate\nWhere: [a-z]",
        "Being handled: an error, oldest cause first\n  CrashingProgram.Crash:Cause\n  "
        "CrashingProgram.Crash:Last .file = gr\xC3\xBCn.\n"}},
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
      {"twice", "", {"What: unhandled exception"}},
      {"access on a thread",
       "failing handlers",
       {"Added by the application:\n  a line of the application\n  .raised:\n",
        "report crashed here: 0xC0000005 .*\n  a line of the application\n\n"
        "  .the report crashed here: 0x40000015 .*\n  a line of the application\n  x"}},
      {"access", "full", {}},
      {"access", "refused", {}},
      {"access", "removed", {}},
      {"access", "stuck", {}},
      {"heap", "stuck", {}},
  };
  for (const auto& [kind, mode, lines] : deaths) {
    SCOPED_TRACE(kind + ", " + mode);
    const std::intptr_t code = Crash(kind, mode);
    EXPECT_NE(code, 0);
    EXPECT_EQ(Crash(kind, mode, folder_), code);
    if (lines.empty()) {
      EXPECT_THAT(Read(".txt"), testing::Each(Not(HasSubstr("End of the report"))));
    } else {
      const std::string text = ReadReport(kind == "access");
      for (const char* line : lines) {
        EXPECT_TRUE(std::regex_search(text, std::regex(line))) << line << " in\n" << text;
      }
      if (mode == "failing handlers") {
        EXPECT_THAT(text, HasSubstr("\n  " + std::string(20'000, 'x') + "\n")) << "a long line";
      }
    }
    std::filesystem::remove_all(folder_);
  }
}

TEST_F(CrashReporterTest, SaysWhatIsIncompleteAndEndsWhatWineWouldShowAsASuccess) {
  EXPECT_NE(Crash("all of the stack", "", folder_), 0) << "Wine shows other programs 0 without";
  EXPECT_EQ(Crash("the main thread's end", "", folder_), 0);
  std::filesystem::remove_all(folder_);
  Crash("loader", "stuck", folder_);
  EXPECT_THAT(Read(".txt"), ElementsAre(HasSubstr("\nMinidump: incomplete, system error 33\n")));
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
  for (const char* name :
       {"crash-20260101-000000-7.txt", "crash-20260101-000000-7.dmp", "crash-20251231-235959-9.txt",
        "crash-20251231-235959-9.flow.log", "crash-20260102-000000-1.txt",
        "crash-20260102-000000-1-2.txt", "crash-20200101-000000-1a.txt", "crash-notes.txt",
        "crash-x-20200101-000000-1.txt"}) {
    std::ofstream(folder_ / name) << name;
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
  EXPECT_THAT(contents, ElementsAre("crash-20200101-000000-1a.txt", "crash-20260102-000000-1-2.txt",
                                    "crash-20260102-000000-1.txt", "crash-notes.txt",
                                    "crash-x-20200101-000000-1.txt"));

  // Another module's reporter.
  const std::wstring mark =
      L"Local\\Orvel.MCrashReporter." + std::to_wstring(::GetCurrentProcessId());
  const Detail::KernelHandle marker(::CreateMutexW(nullptr, FALSE, mark.c_str()));
  EXPECT_FALSE(MCrashReporter(options).IsReporting());
}

TEST_F(CrashReporterTest, RefusesNamesThatMakeNoFiles) {
  const auto errorOf = [](std::wstring_view folder, std::wstring_view name) {
    MCrashReporterOptions options;
    options.folder = folder;
    options.programName = name;
    return ErrorOf([&] { const MCrashReporter reporter(options); });
  };
  EXPECT_THAT(errorOf(L"", L"a"), HasSubstr(":BadFolder"));
  EXPECT_THAT(errorOf(folder_.wstring(), L"a\\b"), HasSubstr(":BadName"));
  EXPECT_THAT(errorOf(folder_.wstring(), std::wstring(200, L'n')), HasSubstr(":NameTooLong"));
  EXPECT_THAT(errorOf(std::filesystem::absolute(CRASHING_PROGRAM_EXE).wstring(), L""),
              HasSubstr(":CannotCreateFolder"));
}

}  // namespace
}  // namespace Orvel::Testing
