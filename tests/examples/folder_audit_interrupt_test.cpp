// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "child_process.h"
#include "orvel/platform/windows_api.h"
#include "temporary_folder.h"
#include "tests/support/registry_sandbox.h"

namespace {

using Orvel::Detail::KernelHandle;
using Orvel::Testing::ChildProcess;
using Orvel::Testing::ReadWholeFile;
using Orvel::Testing::RegistrySandbox;
using Orvel::Testing::TemporaryFolder;
using testing::HasSubstr;
using testing::Not;

constexpr std::chrono::seconds kOutputTimeout{60};

/// Presses Ctrl-C for every program on the console of `child` but this one, which joins them for
/// that: it leaves the console that it may have been started on, whose programs are not meant.
void PressCtrlC(const ChildProcess& child) {
  ::FreeConsole();
  ASSERT_TRUE(::AttachConsole(child.GetId())) << ::GetLastError();
  ASSERT_TRUE(::SetConsoleCtrlHandler(nullptr, TRUE));
  ASSERT_TRUE(::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) << ::GetLastError();
  ::FreeConsole();  // which ends with the last program on it
}

bool WaitForText(const std::wstring& file, const std::string& text) {
  const auto end = std::chrono::steady_clock::now() + kOutputTimeout;
  while (std::chrono::steady_clock::now() < end) {
    if (ReadWholeFile(file).find(text) != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return false;
}

TEST(FolderAuditInterruptTest, CtrlCInTheMiddleOfAFileReportsTheFilesBefore) {
  TemporaryFolder folder;
  folder.WriteFile(L"abc", "abc");
  folder.MakeSparseFile(L"huge", std::int64_t{1} << 40);  // hours of work
  TemporaryFolder results;
  const std::wstring log = results.Expect(L"log");
  const std::wstring output = results.Expect(L"output");
  const KernelHandle outputFile(::CreateFileW(output.c_str(), GENERIC_WRITE,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                              CREATE_NEW, 0, nullptr));

  const RegistrySandbox settings;
  ChildProcess child(FOLDER_AUDIT_EXE,
                     {L"--list", L"--flow-log", log, L"--settings-key",
                      settings.GetApplicationKey(), folder.GetPath()},
                     outputFile.Get(), outputFile.Get(), {}, CREATE_NO_WINDOW);
  ASSERT_TRUE(WaitForText(output, "f20015ad  abc\n"));
  ASSERT_NO_FATAL_FAILURE(PressCtrlC(child));
  EXPECT_EQ(child.WaitForExit(), 3u);

  const std::string text = ReadWholeFile(output);
  EXPECT_THAT(text, HasSubstr("  abc\nInterrupted. Up to then:\nFiles hashed  1\n"));
  EXPECT_THAT(text, HasSubstr("\nBytes         3\n"));
  EXPECT_THAT(text, HasSubstr("\nUnreadable    0\n"));

  const std::string flowLog = ReadWholeFile(log);
  EXPECT_THAT(flowLog, HasSubstr("(Console event thread)"));
  EXPECT_THAT(flowLog, HasSubstr("% State_change to Stopping in_class MEngineThread"));
  EXPECT_THAT(flowLog, Not(HasSubstr("unknown")));
}

}  // namespace
