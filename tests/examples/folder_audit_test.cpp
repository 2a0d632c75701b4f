// SPDX-License-Identifier: MIT
// Runs the program on folders of known content.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <sstream>

#include "child_process.h"
#include "orvel/platform/windows_api.h"
#include "temporary_folder.h"
#include "tests/support/registry_sandbox.h"

namespace {

using Orvel::Detail::KernelHandle;
using Orvel::Testing::ChildProcess;
using Orvel::Testing::ProgramRun;
using Orvel::Testing::ReadWholeFile;
using Orvel::Testing::RegistrySandbox;
using Orvel::Testing::RunProgram;
using Orvel::Testing::TemporaryFolder;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kHashOfNothing =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr const char* kHashOfAbc =
    "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
constexpr const char* kHashOfAMillionA =
    "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0";

/// Runs the program with settings that are not the user's own.
ProgramRun RunAudit(std::vector<std::wstring> arguments, const std::wstring& settingsKey = {}) {
  static const RegistrySandbox sandbox;
  const std::wstring& key = settingsKey.empty() ? sandbox.GetApplicationKey() : settingsKey;
  arguments.insert(arguments.begin(), {L"--settings-key", key});
  return RunProgram(FOLDER_AUDIT_EXE, arguments);
}

/// Opens a file or folder so that nobody else can.
KernelHandle LockAway(const std::wstring& path) {
  const HANDLE handle = ::CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  EXPECT_NE(handle, INVALID_HANDLE_VALUE);
  return KernelHandle(handle);
}

/// What stands behind `label` in a summary, to the end of the line.
std::string SummaryValue(const std::string& output, const std::string& label) {
  std::smatch match;
  const std::regex pattern("(?:^|\n)" + label + " +([^\n]*)");
  return std::regex_search(output, match, pattern) ? match[1].str() : "no such line";
}

std::string Narrow(const std::wstring& text) {
  std::string narrow;
  for (const wchar_t character : text) narrow += static_cast<char>(character);
  return narrow;
}

TEST(FolderAuditTest, HashesEveryFileAndPrintsItsNameAsUtf8) {
  TemporaryFolder folder;
  const std::wstring japanese = L"\u65E5\u672C";
  folder.WriteFile(L"abc", "abc");
  folder.WriteFile(L"empty", "");
  folder.MakeFolder(japanese);
  folder.WriteFile(japanese + L"\\\u00E4 \U0001F600", std::string(1'000'000, 'a'));

  const ProgramRun run = RunAudit({L"--list", folder.GetPath()});
  EXPECT_EQ(run.exitCode, 0u);
  EXPECT_EQ(run.error, "");
  // Nothing before it and between: no progress where there is no console.
  EXPECT_THAT(run.output, StartsWith(std::string(kHashOfAbc) + "  abc\n" + kHashOfNothing +
                                     "  empty\n" + kHashOfAMillionA +
                                     "  \xE6\x97\xA5\xE6\x9C\xAC\\\xC3\xA4 \xF0\x9F\x98\x80\n"
                                     "Files hashed  3\n"));
  EXPECT_EQ(SummaryValue(run.output, "Bytes"), "1000003");
  EXPECT_EQ(SummaryValue(run.output, "Unreadable"), "0");
  EXPECT_TRUE(std::regex_match(SummaryValue(run.output, "Time"), std::regex("\\d+\\.\\d{3} s")));
}

TEST(FolderAuditTest, TellsWhatChangedSinceTheAuditThatWasStored) {
  TemporaryFolder folder;
  TemporaryFolder store;
  const std::wstring file = store.Expect(L"audit.xml");
  folder.WriteFile(L"changed", "a");
  folder.WriteFile(L"locked", "b");
  folder.WriteFile(L"same", "c");
  {
    const KernelHandle lock = LockAway(folder.Extended(L"locked"));
    EXPECT_EQ(RunAudit({L"--save", file, folder.GetPath()}).exitCode, 1u);
    const ProgramRun same = RunAudit({L"--compare", file, folder.GetPath()});
    EXPECT_EQ(same.exitCode, 1u) << same.output;
    EXPECT_EQ(SummaryValue(same.output, "Compared"),
              "0 added, 0 changed, 0 removed, 1 unreadable, 0 unreadable before");
  }
  folder.WriteFile(L"added", "d");
  folder.WriteFile(L"changed", "e");
  const ProgramRun run = RunAudit({L"--compare", file, L"--save", file, folder.GetPath()});
  EXPECT_EQ(run.exitCode, 5u);
  EXPECT_THAT(run.output, HasSubstr("\nadded: added\nchanged: changed\n"
                                    "unreadable before: locked: "));
  EXPECT_THAT(run.output, HasSubstr("winErrorCode = 32"));
  EXPECT_EQ(SummaryValue(run.output, "Compared"),
            "1 added, 1 changed, 0 removed, 0 unreadable, 1 unreadable before");
  const ProgramRun again = RunAudit({L"--compare", file, folder.GetPath()});
  EXPECT_EQ(again.exitCode, 0u) << again.output;
  EXPECT_EQ(RunAudit({L"--compare", store.GetPath(), folder.GetPath()}).exitCode, 4u);
}

TEST(FolderAuditTest, KeepsItsSettingsFromOneAuditToTheNext) {
  const RegistrySandbox sandbox;
  const std::wstring& key = sandbox.GetApplicationKey();
  TemporaryFolder folder;
  folder.WriteFile(L"abc", "abc");
  const std::wstring file = folder.Expect(L"audit.xml");
  EXPECT_THAT(RunAudit({L"--settings"}, key).output,
              StartsWith("Last folder      none yet\nLast audit file  none yet\n"
                         "Audits run       0, 0 of them interrupted\n"));
  EXPECT_EQ(RunAudit({L"--save", file, folder.GetPath() + L"\\."}, key).exitCode, 0u);
  EXPECT_EQ(RunAudit({folder.GetPath()}, key).exitCode, 0u);
  const ProgramRun settings = RunAudit({L"--settings"}, key);
  EXPECT_EQ(settings.exitCode, 0u);
  EXPECT_EQ(SummaryValue(settings.output, "Last folder"), Narrow(folder.GetPath()));
  EXPECT_EQ(SummaryValue(settings.output, "Last audit file"), Narrow(file));
  EXPECT_EQ(SummaryValue(settings.output, "Audits run"), "2, 0 of them interrupted");
  const ProgramRun noFolder = RunAudit({}, key);
  EXPECT_EQ(noFolder.exitCode, 2u);
  EXPECT_THAT(noFolder.error, HasSubstr("the last one audited was " + Narrow(folder.GetPath())));
}

TEST(FolderAuditTest, ARegistryThatFailsOrHoldsNonsenseEndsNoAudit) {
  TemporaryFolder folder;
  folder.WriteFile(L"abc", "abc");
  const ProgramRun refused = RunAudit({folder.GetPath()}, L"no\\\\key");
  EXPECT_EQ(refused.exitCode, 0u);
  EXPECT_EQ(SummaryValue(refused.output, "Files hashed"), "1");
  EXPECT_THAT(refused.error,
              HasSubstr("settings not kept: Settings.SaveSettings:CannotSave (key = no\\\\key)"));

  const RegistrySandbox sandbox;
  constexpr std::uint32_t kBinary = 3;
  ASSERT_TRUE(sandbox.Set(L"", L"LastFolder", {kBinary, {'a', 0, 'b', 0}}));
  ASSERT_TRUE(sandbox.Set(L"Counters", L"AuditsRun", {kBinary, {1, 2, 3, 4, 5}}));
  EXPECT_EQ(RunAudit({folder.GetPath()}, sandbox.GetApplicationKey()).exitCode, 0u);
  EXPECT_EQ(
      SummaryValue(RunAudit({L"--settings"}, sandbox.GetApplicationKey()).output, "Audits run"),
      "1, 0 of them interrupted");
}

TEST(FolderAuditTest, ReportsWhatIsLockedAndGoesOn) {
  TemporaryFolder folder;
  folder.WriteFile(L"a locked", "abc");
  folder.MakeFolder(L"locked folder");
  folder.MakeFolder(L"open folder");
  folder.WriteFile(L"open folder\\abc", "abc");
  const KernelHandle file = LockAway(folder.Extended(L"a locked"));
  const KernelHandle subfolder = LockAway(folder.Extended(L"locked folder"));

  const ProgramRun run = RunAudit({L"--list", folder.GetPath()});
  EXPECT_EQ(run.exitCode, 1u);
  EXPECT_THAT(run.output, StartsWith(std::string(kHashOfAbc) + "  open folder\\abc\n"));
  EXPECT_EQ(SummaryValue(run.output, "Files hashed"), "1");
  EXPECT_EQ(SummaryValue(run.output, "Bytes"), "3");
  EXPECT_EQ(SummaryValue(run.output, "Unreadable"), "2");
  EXPECT_TRUE(std::regex_search(
      run.error, std::regex("^unreadable: a locked: .+ - FileReader\\.Open:CannotOpenFile "
                            "\\(winErrorCode = 32\\)\n")))
      << run.error;
  EXPECT_TRUE(std::regex_search(
      run.error, std::regex("\nunreadable: locked folder: .+ - FolderWalker\\.ListFolder:"
                            "CannotListFolder \\(folder = .*, winErrorCode = 32\\)\n")))
      << run.error;
}

TEST(FolderAuditTest, GoesBelowThePathLengthLimit) {
  TemporaryFolder folder;
  std::wstring name;
  for (int depth = 0; depth < 5; ++depth) {
    if (depth > 0) name += L'\\';
    name += std::wstring(100, L'd');
    folder.MakeFolder(name);
  }
  folder.WriteFile(name + L"\\abc", "abc");
  folder.WriteFile(L"abc. ", "abc");  // a name that only the long form of paths can say
  const ProgramRun run = RunAudit({L"--list", folder.GetPath()});
  EXPECT_EQ(run.exitCode, 0u) << run.error;
  EXPECT_EQ(SummaryValue(run.output, "Files hashed"), "2");
  EXPECT_THAT(run.output, HasSubstr("d\\abc\n"));
}

TEST(FolderAuditTest, DoesNotFollowALinkToItself) {
  const std::string links = LINK_FOLDER;
  const std::wstring folder(links.begin(), links.end());
  if (::GetFileAttributesW((folder + L"/loop").c_str()) == INVALID_FILE_ATTRIBUTES) {
    GTEST_SKIP() << "the build was not allowed to make a link";
  }
  const ProgramRun run = RunAudit({folder});
  EXPECT_EQ(run.exitCode, 0u) << run.error;
  EXPECT_EQ(SummaryValue(run.output, "Files hashed"), "1");
  EXPECT_EQ(SummaryValue(run.output, "Links"), "1 not followed");
}

TEST(FolderAuditTest, SkipsFoldersByNameWhateverTheCase) {
  TemporaryFolder folder;
  for (const wchar_t* name : {L"Build", L"src"}) {
    folder.MakeFolder(name);
    folder.WriteFile(name + std::wstring(L"\\build"), "abc");
  }
  const ProgramRun run = RunAudit({folder.GetPath(), L"--list", L"--skip", L"build"});
  EXPECT_EQ(run.exitCode, 0u);
  EXPECT_THAT(run.output, StartsWith(std::string(kHashOfAbc) + "  src\\build\nFiles hashed  1\n"));
}

TEST(FolderAuditTest, RefusesACommandLineThatMakesNoSense) {
  const std::vector<std::vector<std::wstring>> commandLines = {{},
                                                               {L""},
                                                               {L"--flow-logs", L"."},
                                                               {L".", L"--flow-log"},
                                                               {L".", L"--skip", L""},
                                                               {L"a", L"b"},
                                                               {L"--settings", L"--save"}};
  for (const auto& arguments : commandLines) {
    const ProgramRun run = RunAudit(arguments);
    EXPECT_EQ(run.exitCode, 2u);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, HasSubstr("--help"));
  }
  const ProgramRun help = RunAudit({L"--help"});
  EXPECT_EQ(help.exitCode, 0u);
  EXPECT_THAT(help.output, HasSubstr("Exit codes:"));
}

TEST(FolderAuditTest, AFolderOrFlowLogThatIsNotThereIsAFailure) {
  TemporaryFolder folder;
  const ProgramRun noFolder = RunAudit({folder.GetPath() + L"\\none"});
  EXPECT_EQ(noFolder.exitCode, 4u);
  EXPECT_THAT(noFolder.error, HasSubstr("CannotListFolder (folder = "));
  EXPECT_THAT(noFolder.error, HasSubstr("winErrorCode = "));

  const ProgramRun noLog =
      RunAudit({folder.GetPath(), L"--flow-log", folder.GetPath() + L"\\none\\log"});
  EXPECT_EQ(noLog.exitCode, 4u);
  EXPECT_EQ(noLog.output, "");
  EXPECT_THAT(noLog.error, HasSubstr("CannotCreateFlowLog (errno = 2"));
}

TEST(FolderAuditTest, ASummaryThatCannotBeWrittenIsAFailure) {
  TemporaryFolder folder;
  folder.WriteFile(L"sink", "");
  const HANDLE unwritable =
      ::CreateFileW(folder.Extended(L"sink").c_str(), GENERIC_READ,
                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  const KernelHandle owner(unwritable);
  ChildProcess child(FOLDER_AUDIT_EXE, {folder.GetPath()}, unwritable, unwritable);
  EXPECT_EQ(child.WaitForExit(), 4u);
}

/// The words of the flow log, record by record, checked for their form.
std::vector<std::string> ReadFlowLog(const std::wstring& path) {
  static const std::regex line1(
      "% [A-Z][a-z]+(_[a-z]+)*( to \\w+| [\\w.:]+| \\(-?\\d+, -?\\d+\\))? in_class [\\w:]+ at "
      "~?[\\w:]+ "
      "for_object [0-9A-F]{16} \\([^()]+\\) in_thread \\d+ \\([^()]+\\)");
  static const std::regex line2("    -?\\d+\\.\\d{6}(, -?\\d+){7}");
  std::istringstream lines(ReadWholeFile(path));
  std::string line;
  std::getline(lines, line);
  EXPECT_THAT(line, StartsWith("%% Reference time: "));
  std::getline(lines, line);
  EXPECT_EQ(line, "%%");
  std::vector<std::string> records;
  while (std::getline(lines, line)) {
    EXPECT_TRUE(std::regex_match(line, line1)) << line;
    EXPECT_THAT(line, Not(HasSubstr("unknown")));
    records.push_back(line);
    EXPECT_TRUE(std::getline(lines, line) && std::regex_match(line, line2)) << line;
  }
  return records;
}

TEST(FolderAuditTest, TheFlowLogTellsTheRunWithEveryName) {
  TemporaryFolder folder;
  folder.WriteFile(L"abc", "abc");
  folder.WriteFile(L"locked", "abc");
  const std::wstring log = folder.Expect(L"log");
  {
    const KernelHandle file = LockAway(folder.Extended(L"locked"));
    EXPECT_EQ(RunAudit({folder.GetPath(), L"--flow-log", log}).exitCode, 1u);
  }

  std::string text;
  std::map<std::string, int> depth;  // by thread
  for (const std::string& record : ReadFlowLog(log)) {
    text += record + '\n';
    int& threadDepth = depth[record.substr(record.find(" in_thread "))];
    if (record.starts_with("% Scope_push")) ++threadDepth;
    if (record.starts_with("% Scope_pop")) --threadDepth;
    EXPECT_GE(threadDepth, 0) << record;
  }
  for (const auto& [thread, left] : depth) EXPECT_EQ(left, 0) << thread;

  for (const char* expected :
       {"% State_change to Running in_class MEngineThread",
        "% Scope_push in_class Audit at Run for_object .*\\(Main thread\\)",
        "% Scope_push in_class HashFileCommand at ExecuteCommand .*"
        "\\(Command processor thread\\)",
        "% Scope_push in_class TerminalWriter at WriteText .*\\(Scheduler thread\\)",
        "% Root_error CannotOpenFile in_class FileReader at Open .*\\(FileReader\\)",
        "% State_change to Inactive in_class MEngineThread",
        "% Destruction in_class Audit at ~Audit"}) {
    EXPECT_TRUE(std::regex_search(text, std::regex(expected))) << expected;
  }
}

}  // namespace
