// SPDX-License-Identifier: MIT
#include "flow_timeline/options.h"

#include <cstddef>

namespace FlowTimeline {

std::optional<Options> ParseOptions(std::span<const wchar_t* const> arguments,
                                    std::wstring& problem) {
  Options options;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::wstring_view argument = arguments[i];
    if (optionsEnded || !argument.starts_with(L'-')) {
      if (argument.empty() || !options.dump.empty()) {
        problem = argument.empty() ? L"the name of the dump is empty"
                                   : L"more than one dump: " + std::wstring(argument);
        return std::nullopt;
      }
      options.dump = argument;
    } else if (argument == L"--") {
      optionsEnded = true;
    } else if (argument == L"--help" || argument == L"-h") {
      options.showsHelp = true;
      return options;
    } else if (argument == L"--json" || argument == L"--page") {
      if (i + 1 == arguments.size() || *arguments[i + 1] == L'\0') {
        problem = std::wstring(argument) + L" needs a name after it";
        return std::nullopt;
      }
      (argument == L"--json" ? options.trace : options.page) = arguments[++i];
    } else {
      problem = L"unknown option " + std::wstring(argument);
      return std::nullopt;
    }
  }
  if (options.dump.empty()) {
    problem = L"no dump given";
    return std::nullopt;
  }
  if (options.trace.empty() && options.page.empty()) {
    options.trace = options.dump;
    options.trace += L".json";
    options.page = options.dump;
    options.page += L".html";
  }
  return options;
}

std::string_view HelpText() noexcept {
  return R"(flow_timeline: shows what the dump of a flow log says as a timeline.

Usage: flow_timeline [OPTION...] DUMP

  --page FILE  write a page for the browser to FILE; it needs no other file and no
               network
  --json FILE  write the trace to FILE, as trace-event JSON for Perfetto,
               chrome://tracing and speedscope
  --help       print this text
  --           what follows is the dump, also when it begins with "-"

Without --page and --json both are written beside the dump, as DUMP.html and
DUMP.json. What cannot be read in the dump is skipped and counted.

Exit codes:
  0  written
  1  the dump could not be read, or a file could not be written
  2  the command line makes no sense
)";
}

}  // namespace FlowTimeline
