// SPDX-License-Identifier: MIT
// Runs the example programs on folders of known content.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <regex>
#include <set>

#include "temporary_folder.h"
#include "tests/support/flow_dump_reader.h"
#include "tests/support/registry_sandbox.h"

namespace {

using namespace Orvel::Testing;
using Orvel::Detail::KernelHandle;
using testing::_;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

const std::string kHashOfAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

struct ProgramRun {
  int exitCode;
  std::string output;
  std::string error;
};

/// Runs a program to its end. `program` is a path in the system's or the build machine's form;
/// arguments are quoted here and must not hold quotes or end in a backslash.
ProgramRun RunProgram(const std::filesystem::path& program,
                      const std::vector<std::wstring>& arguments) {
  TemporaryFolder results;
  const std::wstring output = results.Expect(L"output");
  const std::wstring error = results.Expect(L"error");
  std::wstring command = L'"' + std::filesystem::absolute(program).wstring() + L'"';
  for (const std::wstring& argument : arguments) command += L" \"" + argument + L'"';
  command += L" > \"" + output + L"\" 2> \"" + error + L'"';
  // The command processor takes the outermost quotes away.
  const int exitCode = ::_wsystem((L'"' + command + L'"').c_str());
  return {exitCode, ReadWholeFile(output), ReadWholeFile(error)};
}

/// The same with `folder` as the current one.
ProgramRun RunProgramIn(const TemporaryFolder& folder, const std::filesystem::path& program,
                        const std::vector<std::wstring>& arguments) {
  const std::filesystem::path before = std::filesystem::current_path();
  const std::filesystem::path absolute = std::filesystem::absolute(program);
  std::filesystem::current_path(folder.GetPath());
  ProgramRun run = RunProgram(absolute, arguments);
  std::filesystem::current_path(before);
  return run;
}

TEST(SmallExamplesTest, PrintResultsAndErrorsOfTheirWorkers) {
  TemporaryFolder folder;
  EXPECT_THAT(RunProgramIn(folder, HELLO_WORKER_EXE, {}).output,
              MatchesRegex("Settings.BackUp:CannotCopy .winErrorCode = 2.\r?\n\\d+ drives\r?\n"));
  folder.WriteFile(L"settings.ini", "colour = green\n");
  const std::wstring copy = folder.Expect(L"settings.bak");
  EXPECT_THAT(RunProgramIn(folder, HELLO_WORKER_EXE, {}).output, MatchesRegex("\\d+ drives\r?\n"));
  EXPECT_EQ(ReadWholeFile(copy), "colour = green\n");

  const std::wstring report = folder.Expect(L"quick_start.xml");
  const std::wstring log = folder.Expect(L"quick_start.flow.log");
  const ProgramRun run = RunProgramIn(folder, QUICK_START_EXE, {L"settings.ini", L"none"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.error, StartsWith("none: QuickStart.CountLines:CannotOpen (winErrorCode = 2)"));
  EXPECT_THAT(ReadWholeFile(report),
              AllOf(HasSubstr("<Lines type=\"string\">1</Lines>"), HasSubstr("CannotOpen</Code>")));
  EXPECT_THAT(ReadWholeFile(log), HasSubstr("Root_error CannotOpen in_class QuickStart"));
}

/// Runs the program with settings that are not the user's own.
ProgramRun RunAudit(std::vector<std::wstring> arguments, const std::wstring& settingsKey = {}) {
  static const RegistrySandbox sandbox;
  const std::wstring& key = settingsKey.empty() ? sandbox.GetApplicationKey() : settingsKey;
  arguments.insert(arguments.begin(), {L"--settings-key", key});
  return RunProgram(FOLDER_AUDIT_EXE, arguments);
}

std::string Utf8(const std::wstring& path) {
  const std::u8string text = std::filesystem::path(path).u8string();
  return {text.begin(), text.end()};
}

TEST(FolderAuditTest, HashesEveryFileWhateverItsNameAndPlace) {
  TemporaryFolder folder;
  folder.WriteFile(L"abc", "abc");
  folder.WriteFile(L"abc. ", "abc");  // a name that only the long form of paths can say
  folder.MakeFolder(L"Build");
  folder.WriteFile(L"Build\\skipped", "abc");
  std::wstring deep(100, L'd');
  for (int depth = 0; depth < 5; ++depth) {
    folder.MakeFolder(deep);
    deep.append(1, L'\\').append(100, L'd');
  }
  folder.WriteFile(deep, "abc");
  folder.MakeFolder(L"\u65E5\u672C");
  folder.WriteFile(L"\u65E5\u672C\\build", "");
  folder.WriteFile(L"\u65E5\u672C\\\u00E4 \U0001F600", std::string(1'000'000, 'a'));

  const ProgramRun run = RunAudit({L"--list", folder.GetPath(), L"--skip", L"bUILD"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.error, "");
  // Nothing before it and between: no progress where there is no console.
  const std::string japanese = "  \xE6\x97\xA5\xE6\x9C\xAC\\\\";
  const std::regex expected(kHashOfAbc + "  abc\n" + kHashOfAbc + "  abc\\. \n" + kHashOfAbc +
                            "  [d\\\\]{605}\n"
                            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855" +
                            japanese + "build\n" +
                            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0" +
                            japanese + "\xC3\xA4 \xF0\x9F\x98\x80\n" +
                            "Files hashed  5\nBytes         1000009\nUnreadable    0\n"
                            "Links         0 not followed\nTime          \\d+\\.\\d{3} s\n"
                            "Rate          \\d+\\.\\d MB/s, \\d+ files/s\n");
  EXPECT_TRUE(std::regex_match(run.output, expected)) << run.output;
}

TEST(FolderAuditTest, ComparesWithTheStoredAudit) {
  TemporaryFolder folder;
  TemporaryFolder store;
  const std::wstring file = store.Expect(L"audit.xml");
  folder.WriteFile(L"changed", "a");
  folder.WriteFile(L"locked", "b");
  {
    const KernelHandle lock = folder.LockAway(L"locked");
    EXPECT_EQ(RunAudit({L"--save", file, folder.GetPath()}).exitCode, 1);
    const ProgramRun same = RunAudit({L"--compare", file, folder.GetPath()});
    EXPECT_EQ(same.exitCode, 1);
    EXPECT_THAT(same.output, HasSubstr("\nCompared      0 added, 0 changed, 0 removed, "
                                       "1 unreadable, 0 unreadable before\n"));
  }
  folder.WriteFile(L"added", "d");
  folder.WriteFile(L"changed", "e");
  const ProgramRun run = RunAudit({L"--compare", file, L"--save", file, folder.GetPath()});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_THAT(run.output, testing::ContainsRegex("\nadded: added\nchanged: changed\n"
                                                 "unreadable before: locked: .*winErrorCode = 32.\n"
                                                 "Compared      1 added, 1 changed, 0 removed, "));

  // Inside the audited folder, which is then another one than the stored audit's.
  const std::wstring own = folder.Expect(L"own.xml");
  const ProgramRun other = RunAudit({L"--save", own, store.GetPath(), L"--compare", file});
  EXPECT_THAT(other.error, MatchesRegex("note: the audit in .* is of another folder: .*\n"));
  EXPECT_THAT(other.output, HasSubstr(" 0 added, 0 changed, 3 removed,")) << "audits itself";
  EXPECT_EQ(RunAudit({L"--save", own, L"--compare", file, folder.GetPath()}).exitCode, 0);
}

TEST(FolderAuditTest, KeepsItsSettings) {
  const RegistrySandbox sandbox;
  const std::wstring& key = sandbox.GetApplicationKey();
  EXPECT_THAT(RunAudit({L"--settings"}, key).output,
              StartsWith("Last folder      none yet\nLast audit file  none yet\n"
                         "Audits run       0, 0 of them interrupted\n"));
  TemporaryFolder folder;
  const std::wstring file = folder.Expect(L"audit.xml");
  EXPECT_EQ(RunAudit({L"--save", file, folder.GetPath() + L"\\."}, key).exitCode, 0);
  EXPECT_EQ(RunAudit({folder.GetPath(), L"--jobs", L"64"}, key).exitCode, 0);
  const ProgramRun settings = RunAudit({L"--settings"}, key);
  EXPECT_EQ(settings.exitCode, 0);
  EXPECT_THAT(settings.output,
              StartsWith("Last folder      " + Utf8(folder.GetPath()) + "\nLast audit file  " +
                         Utf8(file) + "\nAudits run       2, 0 of them interrupted\n"));
  const ProgramRun noFolder = RunAudit({}, key);
  EXPECT_EQ(noFolder.exitCode, 2);
  EXPECT_THAT(noFolder.error, HasSubstr("the last one audited was " + Utf8(folder.GetPath())));

  const ProgramRun refused = RunAudit({folder.GetPath()}, L"no\\\\key");
  EXPECT_EQ(refused.exitCode, 0) << "an audit is as good without them";
  EXPECT_THAT(refused.error,
              HasSubstr("settings not kept: Settings.SaveSettings:CannotSave (key = no\\\\key)"));
}

TEST(FolderAuditTest, ReportsWhatIsLockedAndGoesOnAndTellsItInTheFlowLogWithEveryName) {
  TemporaryFolder folder;
  folder.WriteFile(L"a locked", "abc");
  folder.MakeFolder(L"locked folder");
  folder.MakeFolder(L"open folder");
  folder.WriteFile(L"open folder\\abc", "abc");
  TemporaryFolder results;
  const std::wstring log = results.Expect(L"log");
  const KernelHandle file = folder.LockAway(L"a locked");
  const KernelHandle subfolder = folder.LockAway(L"locked folder");

  const ProgramRun run =
      RunAudit({L"--list", L"--jobs", L"1", L"--flow-log", log, folder.GetPath()});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.output, StartsWith(kHashOfAbc + "  open folder\\abc\n" +
                                     "Files hashed  1\nBytes         3\nUnreadable    2\n"));
  EXPECT_THAT(run.error, MatchesRegex("unreadable: a locked: .+ - FileReader.Open:CannotOpenFile "
                                      ".winErrorCode = 32.\nunreadable: locked folder: .+ - "
                                      "FolderWalker.ListFolder:CannotListFolder .folder = .*\n"));

  std::set<std::string> told;
  std::map<std::uint32_t, int> depth;  // by thread
  for (const DumpedRecord& record : ReadFlowDump(ReadWholeFile(log))) {
    const std::string object = record.object != 0 ? record.objectName : "no object";
    told.insert(record.event + ' ' + record.detail + " at " + record.className +
                "::" + record.point + " of " + object + " on " + record.threadName);
    if (record.event == "Scope_push") ++depth[record.threadId];
    if (record.event == "Scope_pop") --depth[record.threadId];
  }
  EXPECT_THAT(depth, Each(Pair(_, 0)));
  EXPECT_THAT(told, Each(Not(HasSubstr("unknown"))));
  EXPECT_THAT(told,
              testing::IsSupersetOf(
                  {"Scope_push  at HashJob::HashFile of Job 1 on Command processor thread",
                   "Scope_push  at TerminalWriter::WriteText of TerminalWriter on Scheduler thread",
                   "Root_error CannotOpenFile at FileReader::Open of FileReader on "
                   "Command processor thread",
                   "State_change to Inactive at MEngineThread::ChangeState of MCommandProcessor on "
                   "Main thread",
                   "Destruction  at Audit::~Audit of Audit on Main thread"}));
}

TEST(FolderAuditTest, LeavesAReportWhenItCrashes) {
  TemporaryFolder folder;
  folder.WriteFile(L"abc", "abc");
  const std::filesystem::path reports = std::filesystem::path(folder.GetPath()) / L"reports";
  for (const wchar_t* kind : {L"error", L"access"}) {
    const ProgramRun run =
        RunAudit({L"--crash-reports", reports.wstring(), L"--crash", kind, folder.GetPath()});
    EXPECT_NE(run.exitCode, 0);
  }
  std::string texts;
  std::set<std::string> endings;
  for (const auto& file : std::filesystem::directory_iterator(reports)) {
    endings.insert(file.path().extension().string());
    if (file.path().extension() == ".txt") texts += ReadWholeFile(file.path().wstring());
  }
  std::filesystem::remove_all(reports);
  EXPECT_THAT(endings, testing::ElementsAre(".dmp", ".log", ".txt"));
  EXPECT_THAT(texts, HasSubstr("oldest cause first\n  Crash.LetAnErrorEscape:NobodyCatches\n"
                               "Added by the application:\n  Folder: " +
                               Utf8(folder.GetPath()) + "\nEnd of the report\n"));
  EXPECT_THAT(texts, HasSubstr("\nWhat: unhandled exception, 0xC0000005"));
}

TEST(FolderAuditTest, SaysWhatItCannotDoWithAnExitCodeOfItsOwn) {
  const TemporaryFolder folder;
  const std::wstring& path = folder.GetPath();
  struct Case {
    std::vector<std::wstring> arguments;
    int exitCode;
    const char* error;
  };
  const Case cases[] = {
      {{}, 2, "no folder given"},
      {{L""}, 2, "--help"},
      {{L".", L"--flow-log"}, 2, "--help"},
      {{L"a", L"b"}, 2, "--help"},
      {{L".", L"--jobs", L"0"}, 2, "--jobs needs a number from 1 to 64"},
      {{L".", L"--jobs", L"65"}, 2, "--jobs needs"},
      {{L".", L"--crash", L"x"}, 2, "no such crash: x"},
      {{path + L"\\none"}, 4, "CannotListFolder (folder = "},
      {{path, L"--flow-log", path + L"\\none\\log"},
       4,
       "o such file or directory - FlowLogFile.FlowLogFile:CannotCreateFlowLog (errno = 2"},
      {{path, L"--save", path}, 4, "AuditFile.RequireSavable:CannotSave (file = "},
      {{path, L"--compare", path}, 4, "AuditFile.LoadAudit:CannotLoad ("},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    const ProgramRun run = RunAudit(c.arguments);
    EXPECT_EQ(run.exitCode, c.exitCode);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, HasSubstr(c.error));
  }
  EXPECT_THAT(RunAudit({L"--help"}).output, HasSubstr("Exit codes:"));
}

}  // namespace
