// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orvel/platform/kernel_handle.h"
#include "orvel/threads/non_copyable.h"

namespace Orvel::Testing {

/// A program that runs, with two handles of this process as its outputs; it is ended when this
/// object goes. What the system refuses fails the test that is running.
class ChildProcess : public Libraries::NonCopyable {
 public:
  /// `program` is a path in the system's or the build machine's form; arguments are quoted here
  /// and must not hold quotes or end in a backslash. An empty `folder` is this process's own;
  /// `creationFlags` are those of CreateProcess.
  ChildProcess(const std::string& program, const std::vector<std::wstring>& arguments,
               void* standardOutput, void* standardError, const std::wstring& folder = {},
               std::uint32_t creationFlags = 0);
  ~ChildProcess();

  /// The exit code; a failure of the running test when the program does not end in a minute.
  [[nodiscard]] std::uint32_t WaitForExit();

  [[nodiscard]] std::uint32_t GetId() const noexcept { return id_; }

 private:
  Detail::KernelHandle process_;
  std::uint32_t id_ = 0;
};

struct ProgramRun {
  std::uint32_t exitCode;
  std::string output;
  std::string error;
};

/// Runs a program to its end with its outputs in pipes.
[[nodiscard]] ProgramRun RunProgram(const std::string& program,
                                    const std::vector<std::wstring>& arguments,
                                    const std::wstring& folder = {});

}  // namespace Orvel::Testing
