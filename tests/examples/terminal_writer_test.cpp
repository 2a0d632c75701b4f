// SPDX-License-Identifier: MIT
#include "folder_audit/terminal_writer.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <thread>

#include "folder_audit/report.h"
#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/hang_watchdog.h"
#include "tests/support/raised_error.h"

namespace {

using namespace FolderAudit;
using Orvel::Detail::KernelHandle;
using Orvel::Testing::ErrorOf;
using Orvel::Testing::HangWatchdog;

/// Both outputs of this process, into one pipe. A line of progress is never shown there.
struct PipedOutputs {
  PipedOutputs() {
    HANDLE readHandle = nullptr;
    HANDLE writeHandle = nullptr;
    EXPECT_TRUE(::CreatePipe(&readHandle, &writeHandle, nullptr, 0));
    readEnd = KernelHandle(readHandle);
    writeEnd = KernelHandle(writeHandle);
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

std::string ReadToEnd(HANDLE pipe) {
  std::string text;
  std::array<char, 4096> buffer;
  constexpr auto kRoom = static_cast<DWORD>(buffer.size());
  DWORD size = 0;
  while (::ReadFile(pipe, buffer.data(), kRoom, &size, nullptr)) {
    text.append(buffer.data(), size);
  }
  return text;
}

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
  std::jthread reader([&] { read = ReadToEnd(outputs.readEnd.Get()); });
  writer.Flush();
  outputs.writeEnd.Close();
  reader.join();
  EXPECT_TRUE(read == expected);
}

TEST(TerminalWriterTest, ALineOfProgressStaysInItsLineAlsoWhenTheTerminalGotNarrower) {
  EXPECT_EQ(FitProgress(L"abc", 5, 80), L"abc  ");
  EXPECT_EQ(FitProgress(L"abcdef", 2, 4), L"abc");
  EXPECT_EQ(FitProgress(L"ab", 70, 4), L"ab ");
  EXPECT_EQ(FitProgress(L"", 70, 4), L"   ");
  EXPECT_EQ(FitProgress(L"ab", 70, 1), L"");
}

TEST(TerminalWriterTest, ASummaryThatCannotBeWrittenIsAnErrorThatLaterCallsRepeat) {
  const HangWatchdog watchdog;
  PipedOutputs outputs;
  outputs.readEnd.Close();
  TerminalWriter writer(*outputs.output, *outputs.error);
  const std::string error = ErrorOf([&] { Report(writer, false).PrintSummary({}); });
  EXPECT_TRUE(error.starts_with("TextOutput.Write:CannotWrite [winErrorCode=")) << error;
  EXPECT_EQ(ErrorOf([&] { writer.PrintError(L"more\n"); }), error);
}

}  // namespace
