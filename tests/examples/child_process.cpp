// SPDX-License-Identifier: MIT
#include "child_process.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>

#include "orvel/platform/windows_api.h"

namespace Orvel::Testing {
namespace {

constexpr DWORD kExitTimeoutMs = 60'000;

struct Pipe {
  Detail::KernelHandle readEnd;
  Detail::KernelHandle writeEnd;
};

Pipe MakePipe() {
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  EXPECT_TRUE(::CreatePipe(&readEnd, &writeEnd, nullptr, 0));
  return {Detail::KernelHandle(readEnd), Detail::KernelHandle(writeEnd)};
}

std::string ReadToEnd(HANDLE pipe) {
  std::string text;
  std::array<char, 4096> buffer{};
  DWORD count = 0;
  while (::ReadFile(pipe, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) &&
         count != 0) {
    text.append(buffer.data(), count);
  }
  return text;
}

/// The build's path of a program as this system knows it.
std::wstring SystemPath(const std::string& path) {
  std::array<wchar_t, 1024> full{};
  EXPECT_NE(::GetFullPathNameW(std::wstring(path.begin(), path.end()).c_str(),
                               static_cast<DWORD>(full.size()), full.data(), nullptr),
            0u);
  return full.data();
}

}  // namespace

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::wstring>& arguments,
                           void* standardOutput, void* standardError, const std::wstring& folder,
                           std::uint32_t creationFlags) {
  const std::wstring path = SystemPath(program);
  std::wstring commandLine = L'"' + path + L'"';
  for (const std::wstring& argument : arguments) commandLine += L" \"" + argument + L'"';

  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = standardOutput;
  startup.hStdError = standardError;
  for (void* const handle : {standardOutput, standardError}) {
    EXPECT_TRUE(::SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT));
  }
  PROCESS_INFORMATION created{};
  const BOOL started =
      ::CreateProcessW(path.c_str(), commandLine.data(), nullptr, nullptr, TRUE, creationFlags,
                       nullptr, folder.empty() ? nullptr : folder.c_str(), &startup, &created);
  const DWORD code = ::GetLastError();
  EXPECT_TRUE(started) << program << ": error " << code;
  process_ = Detail::KernelHandle(created.hProcess);
  id_ = created.dwProcessId;
  const Detail::KernelHandle thread(created.hThread);
}

ChildProcess::~ChildProcess() { ::TerminateProcess(process_.Get(), 99); }

std::uint32_t ChildProcess::WaitForExit() {
  EXPECT_EQ(::WaitForSingleObject(process_.Get(), kExitTimeoutMs), WAIT_OBJECT_0);
  DWORD exitCode = 0;
  EXPECT_TRUE(::GetExitCodeProcess(process_.Get(), &exitCode));
  return exitCode;
}

ProgramRun RunProgram(const std::string& program, const std::vector<std::wstring>& arguments,
                      const std::wstring& folder) {
  ProgramRun run{};
  Pipe output = MakePipe();
  Pipe error = MakePipe();
  std::jthread outputReader([&] { run.output = ReadToEnd(output.readEnd.Get()); });
  std::jthread errorReader([&] { run.error = ReadToEnd(error.readEnd.Get()); });
  {
    ChildProcess child(program, arguments, output.writeEnd.Get(), error.writeEnd.Get(), folder);
    // The pipes end when the child's copies of these are gone as well.
    output.writeEnd.Close();
    error.writeEnd.Close();
    run.exitCode = child.WaitForExit();
  }
  outputReader.join();
  errorReader.join();
  return run;
}

}  // namespace Orvel::Testing
