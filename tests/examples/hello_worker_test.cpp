// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "temporary_folder.h"

namespace {

using Orvel::Testing::ProgramRun;
using Orvel::Testing::RunProgram;
using Orvel::Testing::TemporaryFolder;

TEST(HelloWorkerTest, PrintsTheErrorThatItsCommandMet) {
  const TemporaryFolder folder;
  const ProgramRun run = RunProgram(HELLO_WORKER_EXE, {}, folder.GetPath());
  EXPECT_THAT(run.output,
              testing::MatchesRegex("Settings.BackUp:CannotCopy .winErrorCode = 2.\r?\n"));
  EXPECT_EQ(run.error, "");
  EXPECT_EQ(run.exitCode, 0u);
}

TEST(HelloWorkerTest, PrintsNothingWhenItsCommandSucceeds) {
  TemporaryFolder folder;
  folder.WriteFile(L"settings.ini", "colour = green\n");
  const std::wstring copy = folder.Expect(L"settings.bak");
  const ProgramRun run = RunProgram(HELLO_WORKER_EXE, {}, folder.GetPath());
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.exitCode, 0u);
  EXPECT_EQ(Orvel::Testing::ReadWholeFile(copy), "colour = green\n");
}

}  // namespace
