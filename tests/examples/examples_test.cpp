// SPDX-License-Identifier: MIT
// The parts of folder_audit in this process, and the example programs on folders of known content.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <random>
#include <regex>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <vector>

#include "folder_audit/audit_comparison.h"
#include "folder_audit/audit_file.h"
#include "folder_audit/error_text.h"
#include "folder_audit/file_hasher.h"
#include "folder_audit/folder_audit.h"
#include "folder_audit/paths.h"
#include "folder_audit/report.h"
#include "folder_audit/terminal_writer.h"
#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/windows_api.h"
#include "orvel/threads/non_copyable.h"
#include "tests/support/flow_dump_reader.h"
#include "tests/support/hang_watchdog.h"
#include "tests/support/raised_error.h"
#include "tests/support/registry_sandbox.h"

namespace {

using namespace FolderAudit;
using namespace Orvel::Testing;
using Orvel::Detail::KernelHandle;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

/// A new folder among the system's temporary ones, removed with all that was made or registered
/// through this object. Names are relative to it and may be longer than the usual limit. What the
/// system refuses fails the test that is running.
class TemporaryFolder : public Orvel::Libraries::NonCopyable {
 public:
  TemporaryFolder() {
    const std::wstring name = L"orvel-\u03B1-" + std::to_wstring(std::random_device()());
    path_ = (std::filesystem::temp_directory_path() / name).wstring();
    EXPECT_TRUE(::CreateDirectoryW(path_.c_str(), nullptr));
  }

  ~TemporaryFolder() {
    // By hand, because not every standard library removes what is below the usual limit.
    for (auto name = names_.rbegin(); name != names_.rend(); ++name) {
      const std::wstring path = Extended(*name);
      if (!::DeleteFileW(path.c_str())) ::RemoveDirectoryW(path.c_str());
    }
    EXPECT_TRUE(::RemoveDirectoryW(path_.c_str())) << "something is left or open";
  }

  /// The folder as a user would type it.
  [[nodiscard]] const std::wstring& GetPath() const noexcept { return path_; }
  /// The full name of an entry, usable at any length.
  [[nodiscard]] std::wstring Extended(const std::wstring& name) const {
    return LR"(\\?\)" + path_ + L'\\' + name;
  }

  void MakeFolder(const std::wstring& name) {
    names_.push_back(name);
    EXPECT_TRUE(::CreateDirectoryW(Extended(name).c_str(), nullptr));
  }

  void WriteFile(const std::wstring& name, std::string_view content) {
    names_.push_back(name);
    std::ofstream file(std::filesystem::path(Extended(name)), std::ios::binary);
    file << content << std::flush;
    EXPECT_TRUE(file.good());
  }

  /// Has a file that others make removed as well; gives its full name.
  std::wstring Expect(const std::wstring& name) {
    names_.push_back(name);
    return path_ + L'\\' + name;
  }

  /// Opens a file or folder so that nobody else can; an empty owner when somebody has.
  [[nodiscard]] MFileHandle LockAway(const std::wstring& name) const {
    return MFileHandle(::CreateFileW(Extended(name).c_str(), GENERIC_READ, 0, nullptr,
                                     OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  }

 private:
  std::wstring path_;
  std::vector<std::wstring> names_;  // folders before what is in them
};

/// The bytes of a file; a failure of the running test when it cannot be read.
[[nodiscard]] std::string ReadWholeFile(const std::wstring& path) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  EXPECT_TRUE(file.is_open());
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(PathsTest, ExtendedPathsAreFullAndKnowSharesAndJoiningKeepsOneBackslash) {
  EXPECT_EQ(MakeExtendedPath(L"C:\\a\\.\\b\\..\\c"), L"\\\\?\\C:\\a\\c");
  EXPECT_EQ(MakeExtendedPath(L"\\\\server\\share\\a"), L"\\\\?\\UNC\\server\\share\\a");
  EXPECT_EQ(MakeExtendedPath(L"\\\\?\\C:\\a\\..\\b."), L"\\\\?\\C:\\a\\..\\b.");
  // One short of, at and past the length that is tried first.
  for (std::size_t length = 257; length < 263; ++length) {
    const std::wstring path = L"C:\\" + std::wstring(length - 3, L'x');
    EXPECT_EQ(MakeExtendedPath(path), L"\\\\?\\" + path);
  }
  EXPECT_EQ(JoinPath(L"\\\\?\\C:\\", L"a"), L"\\\\?\\C:\\a");
  EXPECT_EQ(JoinPath(L"", L"b"), L"b");
}

TEST(ErrorTextTest, IsPrintableAndNeverEmpty) {
  EXPECT_EQ(Printable(L"a\x1B[2J\n\x7F\x9B\u00E4"), L"a?[2J???\u00E4");
  EXPECT_EQ(DescribeCause(MException()), L"unknown error");
}

TEST(FileHasherTest, RefusesAFileThatChangedMeanwhileAndWorksAgain) {
  TemporaryFolder folder;
  folder.WriteFile(L"log", std::string(300'000, 'x'));
  const std::filesystem::path path = folder.Extended(L"log");
  int chunks = 0;
  FileHasher hasher({}, [&](std::uint64_t) {
    if (chunks++ == 0) std::fstream(path, std::ios::in | std::ios::out) << "another line";
  });
  const auto hash = [&] { return hasher.HashFile(path.wstring()); };
  EXPECT_EQ(ErrorOf(hash), "FileReader.RequireUnchanged:ChangedWhileRead");
  EXPECT_TRUE(folder.LockAway(L"log")) << "left open by an error";

  const std::optional<FileDigest> digest = hash();
  ASSERT_TRUE(digest.has_value());
  EXPECT_EQ(digest->sizeInBytes, 300'000u);
  EXPECT_TRUE(folder.LockAway(L"log")) << "left open";
}

/// Requests a stop when so many files have been begun.
struct StoppingObserver final : IAuditObserver {
  void OnFileStarted(const std::wstring&) override {
    if (++begun == last) stop.request_stop();
  }
  void OnBytesRead(std::uint64_t) noexcept override {}
  void OnEntry(const AuditEntry&) override {}

  std::atomic<std::size_t> begun{0};
  std::size_t last = 0;
  std::stop_source stop{};
};

TEST(AuditTest, AStopAtAnyMomentLeavesOnlyWholeEntriesInTheOrderOfTheWalk) {
  TemporaryFolder folder;
  constexpr std::size_t kFiles = 12;
  for (std::size_t i = 0; i < kFiles; ++i) {
    folder.WriteFile(std::to_wstring(i), std::string(10'000 * i, 'x'));
  }
  Options options;
  options.folder = folder.GetPath();
  for (std::size_t round = 0; round < 3 * (kFiles + 2); ++round) {
    options.jobs = round % 3 + 1;
    StoppingObserver observer;
    observer.last = round / 3;
    const AuditResult result = Audit(options, observer, observer.stop.get_token()).Run();
    EXPECT_TRUE(result.interrupted || result.entries.size() == kFiles) << result.entries.size();
    EXPECT_TRUE(std::ranges::is_sorted(result.entries, {}, &AuditEntry::relativePath));
    for (const AuditEntry& entry : result.entries) {
      EXPECT_FALSE(entry.error.has_value());
      EXPECT_EQ(entry.sha256.size(), 64u);
    }
  }
}

AuditEntry Readable(const wchar_t* path, std::uint64_t size, char hashDigit) {
  return {path, size, std::string(64, hashDigit), std::nullopt};
}

AuditEntry Unreadable(const wchar_t* path) {
  return {path, 0, {}, MException(MError(L"FileReader.Open:CannotOpenFile"))};
}

TEST(AuditFileTest, AnAuditComesBackAsItWasStored) {
  TemporaryFolder folder;
  const std::wstring file = folder.Expect(L"audit.xml");
  std::vector<AuditEntry> stored = {
      Readable(L"b\\\u00E4 & <\U0001F600>", 5'000'000'000, 'f'), Unreadable(L"locked"),
      Readable(L"half \xD800 \xDC00\xD83D", 0, '0'), Unreadable(L"\xDFFF")};
  MError cause(L"half");
  cause.AddParameter(L"file", stored[3].relativePath);
  stored[3].error->Append(cause);
  RequireSavable(file);
  SaveAudit(file, L"C:\\folder", stored);
  RequireSavable(file);
  const auto [audited, loaded] = LoadAudit(file);
  EXPECT_EQ(audited, L"C:\\folder");
  ASSERT_EQ(loaded.size(), stored.size());
  const std::vector<FileDifference> differences = CompareAudits(stored, loaded);
  ASSERT_EQ(differences.size(), 2u) << "only what was unreadable before and after";
  EXPECT_EQ(*loaded[3].error->GetNewestError()->FindParameter(L"file"), L"\xFFFD");
  EXPECT_EQ(loaded[1].error->GetChainDescription(), stored[1].error->GetChainDescription());
}

TEST(AuditFileTest, WhatIsNoAuditIsAnErrorThatSaysWhere) {
  TemporaryFolder folder;
  int files = 0;
  const auto errorOf = [&](const std::string& text) {
    const std::wstring name = std::to_wstring(++files);
    folder.WriteFile(name, "<ExceptionChain>\n" + text + "</ExceptionChain>");
    return ErrorOf([&] { EXPECT_EQ(LoadAudit(folder.Extended(name)).entries.size(), 1u); });
  };
  const auto errorOfEntry = [&](const std::string& size, char hashDigit) {
    return errorOf(R"(<Audit><Format type="uint">1</Format><Folder type="string">C:</Folder>)"
                   R"(<File><Path type="string">a</Path><Size type="string">)" +
                   size + R"(</Size><Sha256 type="string">)" + std::string(64, hashDigit) +
                   "</Sha256></File></Audit>");
  };
  EXPECT_THAT(errorOf("<Audit></File></Audit>"), HasSubstr(", line=2, "));
  EXPECT_THAT(errorOf(""), HasSubstr("reason=not an audit]"));
  EXPECT_EQ(errorOfEntry("18446744073709551615", 'a'), "");
  for (const std::string& error : {errorOfEntry("18446744073709551616", 'a'),
                                   errorOfEntry("1 ", 'a'), errorOfEntry("1", 'g')}) {
    EXPECT_THAT(error, HasSubstr("reason=entry 1 makes no sense]"));
  }
  const std::wstring nowhere = folder.Extended(L"no folder\\audit.xml");
  EXPECT_THAT(ErrorOf([&] { static_cast<void>(LoadAudit(nowhere)); }), HasSubstr("Cannot open: "));
  EXPECT_THAT(ErrorOf([&] { SaveAudit(nowhere, {}, {}); }), HasSubstr("CannotSave"));
  EXPECT_THAT(ErrorOf([&] { RequireSavable(nowhere); }), HasSubstr("winErrorCode=3]"));
}

TEST(AuditComparisonTest, TellsEveryKindOfDifferenceByPath) {
  // The last character is the hash; "?" for what cannot be read.
  const auto auditOf = [](std::initializer_list<std::wstring> files) {
    std::vector<AuditEntry> audit;
    for (const std::wstring& file : files) {
      const std::wstring path = file.substr(0, file.size() - 1);
      const auto hash = static_cast<char>(file.back());
      audit.push_back(hash == '?' ? Unreadable(path.c_str()) : Readable(path.c_str(), 1, hash));
    }
    return audit;
  };
  const auto before = auditOf({L"same1", L"changed2", L"removed3", L"readable now?", L"unreadable?",
                               L"gone?", L"folder?", L"fold?", L"shut\\deep\\a1", L"shut.txt1"});
  const auto after = auditOf({L"added4", L"changed5", L"same1", L"unreadable?", L"readable now6",
                              L"folder\\file7", L"folder.txt8", L"shut?"});
  std::wstring found;
  for (const FileDifference& difference : CompareAudits(before, after)) {
    // Added, changed, removed, unreadable, unreadable before.
    found +=
        L"+*-?~"[static_cast<std::size_t>(difference.kind)] + difference.entry->relativePath + L' ';
  }
  EXPECT_EQ(found,
            L"+added *changed -fold ~folder +folder.txt +folder\\file -gone ~readable now "
            L"-removed ?shut -shut.txt ?unreadable ");
}

/// Both outputs of this process, into one pipe. A line of progress is never shown there.
struct PipedOutputs {
  PipedOutputs() {
    HANDLE readHandle = nullptr;
    HANDLE writeHandle = nullptr;
    EXPECT_TRUE(::CreatePipe(&readHandle, &writeHandle, nullptr, 0));
    readEnd.Reset(readHandle);
    writeEnd.Reset(writeHandle);
    const HANDLE outputBefore = ::GetStdHandle(STD_OUTPUT_HANDLE);
    const HANDLE errorBefore = ::GetStdHandle(STD_ERROR_HANDLE);
    ::SetStdHandle(STD_OUTPUT_HANDLE, writeHandle);
    ::SetStdHandle(STD_ERROR_HANDLE, writeHandle);
    output.emplace(TextOutput::Stream::kOutput);
    error.emplace(TextOutput::Stream::kError);
    ::SetStdHandle(STD_OUTPUT_HANDLE, outputBefore);
    ::SetStdHandle(STD_ERROR_HANDLE, errorBefore);
  }

  KernelHandle readEnd;
  KernelHandle writeEnd;
  std::optional<TextOutput> output;
  std::optional<TextOutput> error;
};

TEST(TerminalWriterTest, NobodyWaitsForATerminalThatDoesNotMoveAndEverythingComesInOrder) {
  const HangWatchdog watchdog;
  PipedOutputs outputs;
  TerminalWriter writer(*outputs.output, *outputs.error);
  std::string expected;
  for (int i = 0; i < 2000; ++i) {
    expected += std::to_string(i) + std::string(500, 'x') + '\n';
    const std::wstring line = std::to_wstring(i) + std::wstring(500, L'x') + L'\n';
    // To both outputs in turn: they share one order.
    i % 2 == 0 ? writer.Print(line) : writer.PrintError(line);
    writer.ShowProgress(L"progress");
  }
  DWORD inPipe = 0;
  EXPECT_TRUE(::PeekNamedPipe(outputs.readEnd.Get(), nullptr, 0, nullptr, &inPipe, nullptr));
  ASSERT_LT(inPipe, expected.size() / 2) << "the pipe took what it was to hold up";

  std::string read;
  std::jthread reader([&] {
    char buffer[4096];
    DWORD size = 0;
    while (::ReadFile(outputs.readEnd.Get(), buffer, sizeof buffer, &size, nullptr)) {
      read.append(buffer, size);
    }
  });
  writer.Flush();
  outputs.writeEnd.Close();
  reader.join();
  EXPECT_TRUE(read == expected);
}

TEST(TerminalWriterTest, ALineOfProgressStaysInItsLineAlsoWhenTheTerminalGotNarrower) {
  EXPECT_EQ(FitProgress(L"abc", 5, 80), L"abc  ");
  EXPECT_EQ(FitProgress(L"abcdef", 2, 4), L"abc");
  EXPECT_EQ(FitProgress(L"ab", 70, 4), L"ab ");
  EXPECT_EQ(FitProgress(L"ab", 70, 1), L"");
}

TEST(TerminalWriterTest, ASummaryThatCannotBeWrittenIsAnErrorThatLaterCallsRepeat) {
  const HangWatchdog watchdog;
  PipedOutputs outputs;
  outputs.readEnd.Close();
  TerminalWriter writer(*outputs.output, *outputs.error);
  const std::string error = ErrorOf([&] { Report(writer, false).PrintSummary({}); });
  EXPECT_THAT(error, StartsWith("TextOutput.Write:CannotWrite [winErrorCode="));
  EXPECT_EQ(ErrorOf([&] { writer.PrintError(L"more\n"); }), error);
}

const std::string kHashOfAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

struct ProgramRun {
  int exitCode;
  std::string output;
  std::string error;
};

/// Runs a program to its end, with `folder` as the current one. `program` is a path in the system's
/// or the build machine's form; arguments are quoted here and must not hold quotes or end in a
/// backslash.
ProgramRun RunProgram(const std::filesystem::path& program,
                      const std::vector<std::wstring>& arguments,
                      const std::wstring& folder = L".") {
  TemporaryFolder results;
  const std::wstring output = results.Expect(L"output");
  const std::wstring error = results.Expect(L"error");
  std::wstring command =
      L"cd /d \"" + folder + L"\" && \"" + std::filesystem::absolute(program).wstring() + L'"';
  for (const std::wstring& argument : arguments) command += L" \"" + argument + L'"';
  command += L" > \"" + output + L"\" 2> \"" + error + L'"';
  const int exitCode = ::_wsystem(command.c_str());
  return {exitCode, ReadWholeFile(output), ReadWholeFile(error)};
}

TEST(SmallExamplesTest, PrintResultsAndErrorsOfTheirWorkers) {
  TemporaryFolder folder;
  EXPECT_THAT(RunProgram(HELLO_WORKER_EXE, {}, folder.GetPath()).output,
              MatchesRegex("Settings.BackUp:CannotCopy .winErrorCode = 2.\r?\n\\d+ drives\r?\n"));
  folder.WriteFile(L"settings.ini", "colour = green\n");
  const std::wstring copy = folder.Expect(L"settings.bak");
  EXPECT_THAT(RunProgram(HELLO_WORKER_EXE, {}, folder.GetPath()).output,
              MatchesRegex("\\d+ drives\r?\n"));
  EXPECT_EQ(ReadWholeFile(copy), "colour = green\n");

  const std::wstring report = folder.Expect(L"quick_start.xml");
  const std::wstring log = folder.Expect(L"quick_start.flow.log");
  const ProgramRun run = RunProgram(QUICK_START_EXE, {L"settings.ini", L"none"}, folder.GetPath());
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
    const MFileHandle lock = folder.LockAway(L"locked");
    EXPECT_EQ(RunAudit({L"--save", file, folder.GetPath()}).exitCode, 1);
    EXPECT_EQ(RunAudit({L"--compare", file, folder.GetPath()}).exitCode, 1);
  }
  folder.WriteFile(L"added", "d");
  folder.WriteFile(L"changed", "e");
  const ProgramRun run = RunAudit({L"--compare", file, L"--save", file, folder.GetPath()});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_THAT(run.output, testing::ContainsRegex(
                              "\nadded: added\nchanged: changed\n"
                              "unreadable before: locked: .*winErrorCode = 32.\n"
                              "Compared      1 added, 1 changed, 0 removed, 0 unreadable, 1 "));

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
  EXPECT_THAT(RunAudit({L"--settings"}, key).output, StartsWith("Last folder      none yet\n"));
  TemporaryFolder folder;
  const std::wstring file = folder.Expect(L"audit.xml");
  EXPECT_EQ(RunAudit({L"--save", file, folder.GetPath() + L"\\."}, key).exitCode, 0);
  EXPECT_EQ(RunAudit({folder.GetPath(), L"--jobs", L"64"}, key).exitCode, 0);
  EXPECT_THAT(RunAudit({L"--settings"}, key).output,
              StartsWith("Last folder      " + Utf8(folder.GetPath()) + "\nLast audit file  " +
                         Utf8(file) + "\nAudits run       2, 0 of them interrupted\n"));
  EXPECT_THAT(RunAudit({}, key).error,
              HasSubstr("the last one audited was " + Utf8(folder.GetPath())));

  const ProgramRun refused = RunAudit({folder.GetPath()}, L"no\\\\key");
  EXPECT_EQ(refused.exitCode, 0) << "an audit is as good without them";
  EXPECT_THAT(refused.error,
              HasSubstr("settings not kept: Settings.SaveSettings:CannotSave (key = no\\\\key)"));
}

TEST(FolderAuditTest, ReportsWhatIsLockedAndGoesOnAndTellsItInTheFlowLog) {
  TemporaryFolder folder;
  folder.WriteFile(L"a locked", "abc");
  folder.MakeFolder(L"locked folder");
  folder.MakeFolder(L"open folder");
  folder.WriteFile(L"open folder\\abc", "abc");
  TemporaryFolder results;
  const std::wstring log = results.Expect(L"log");
  const MFileHandle file = folder.LockAway(L"a locked");
  const MFileHandle subfolder = folder.LockAway(L"locked folder");

  const ProgramRun run =
      RunAudit({L"--list", L"--jobs", L"1", L"--flow-log", log, folder.GetPath()});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.output, StartsWith(kHashOfAbc + "  open folder\\abc\n" +
                                     "Files hashed  1\nBytes         3\nUnreadable    2\n"));
  EXPECT_THAT(run.error, MatchesRegex("unreadable: a locked: .+ - FileReader.Open:CannotOpenFile "
                                      ".winErrorCode = 32.\nunreadable: locked folder: .+ - "
                                      "FolderWalker.ListFolder:CannotListFolder .folder = .*\n"));
  std::vector<std::string> told;
  for (const DumpedRecord& record : ReadFlowDump(ReadWholeFile(log))) {
    told.push_back(record.event + ' ' + record.detail + " at " + record.className +
                   "::" + record.point + " of " + record.objectName + " on " + record.threadName);
  }
  EXPECT_THAT(told,
              testing::IsSupersetOf(
                  {"Scope_push  at TerminalWriter::WriteText of TerminalWriter on Scheduler thread",
                   "Root_error CannotOpenFile at FileReader::Open of FileReader on "
                   "Command processor thread",
                   "Destruction  at Audit::~Audit of Audit on Main thread"}));
}

TEST(FolderAuditTest, SaysWhatItCannotDoWithAnExitCodeOfItsOwn) {
  const TemporaryFolder folder;
  const std::wstring& path = folder.GetPath();
  const std::tuple<std::vector<std::wstring>, int, const char*> cases[] = {
      {{}, 2, "no folder given"},
      {{L".", L"--flow-log"}, 2, "--help"},
      {{L"a", L"b"}, 2, "--help"},
      {{L".", L"--jobs", L"0"}, 2, "--jobs needs a number from 1 to 64"},
      {{L".", L"--jobs", L"65"}, 2, "--jobs needs"},
      {{L".", L"--crash", L"x"}, 2, "no such crash: x"},
      {{L"--settings", L"--save", L"--settings-key"}, 2, "--settings audits nothing"},
      {{path + L"\\none"}, 4, "CannotListFolder (folder = "},
      {{path, L"--flow-log", path + L"\\none\\log"},
       4,
       "o such file or directory - FlowLogFile.FlowLogFile:CannotCreateFlowLog (errno = 2"},
      {{path, L"--save", path}, 4, "AuditFile.RequireSavable:CannotSave (file = "},
      {{path, L"--compare", path}, 4, "AuditFile.LoadAudit:CannotLoad ("},
  };
  for (const auto& [arguments, exitCode, error] : cases) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const ProgramRun run = RunAudit(arguments);
    EXPECT_EQ(run.exitCode, exitCode);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, HasSubstr(error));
  }
  EXPECT_THAT(RunAudit({L"--help"}).output, HasSubstr("Exit codes:"));
}

}  // namespace
