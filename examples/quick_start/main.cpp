// SPDX-License-Identifier: MIT

// docs/quick_start.md goes through this program step by step: quick_start FILE...

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <string>
#include <vector>

#include "orvel/commands/run_on_processor.h"
#include "orvel/filers/in_filer_tagged_registry.h"
#include "orvel/filers/out_filer_tagged_registry.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/filers/tagged_section.h"
#include "orvel/filers/tagged_values.h"
#include "orvel/foundation/system_error.h"
#include "orvel/logging/flow_log.h"

namespace {

std::uint64_t CountLines(const std::filesystem::path& file) {
  static MSourceContext context(L"QuickStart", L"CountLines");
  const MFlowScope scope(context, nullptr);
  if (::GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES) {
    const DWORD code = ::GetLastError();  // before anything else runs
    RaiseSystemError(context.At(__LINE__, nullptr), L"CannotOpen", code);
  }
  std::ifstream stream(file);
  std::uint64_t lines = 0;
  for (std::string line; std::getline(stream, line);) ++lines;
  return lines;
}

std::int32_t CountThisRun() {
  IInFilerTaggedRegistry in(MRegistryRoot::kCurrentUser, L"QuickStart");
  const auto runs = ReadTagged<std::int32_t>(in, L"Runs", 0) + 1;
  IOutFilerTaggedRegistry out(MRegistryRoot::kCurrentUser, L"QuickStart");
  WriteTagged(out, L"Runs", runs);
  return runs;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  flowLogger().nameCurrentThread(L"Main thread");
  const std::vector<std::filesystem::path> files(argv + 1, argv + argc);

  MCommandProcessor worker;  // a thread with a queue of commands
  worker.Start();
  std::vector<std::future<std::uint64_t>> counts;
  for (const auto& file : files) {
    counts.push_back(RunAsync(worker, [&file] { return CountLines(file); }));
  }

  MOutFilerTaggedXml report;
  WriteTagged(report, L"Run", CountThisRun());
  for (std::size_t i = 0; i < files.size(); ++i) {
    const MTaggedSection section(report, L"File");
    WriteTagged(report, L"Path", files[i]);
    try {
      WriteTagged(report, L"Lines", counts[i].get());  // waits for it
    } catch (const MException& exception) {            // raised on the worker
      std::wcerr << files[i].wstring() << L": " << exception.GetChainDescription();
      exception.WriteChain({nullptr, &report}, L"Exception");
    }
  }
  if (!report.SaveFile(L"quick_start.xml")) {
    std::wcerr << L"quick_start.xml: " << report.GetFailure().GetText() << L'\n';
  }

  std::ofstream log("quick_start.flow.log");
  flowLogger().dump(log);  // what every thread did meanwhile
  return 0;
}
