// SPDX-License-Identifier: MIT

// Makes a timeline of the dump of a flow log. Start reading at dump_reader.h; timeline.h is what
// both outputs are written from.

#include <cstddef>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <system_error>

#include "flow_timeline/dump_reader.h"
#include "flow_timeline/options.h"
#include "flow_timeline/page_writer.h"
#include "flow_timeline/timeline.h"
#include "flow_timeline/trace_writer.h"

namespace {

using namespace FlowTimeline;

constexpr int kUsage = 2;

/// For people, and for the page's title.
std::string NameOf(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot open " + NameOf(path));
  std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (stream.bad()) throw std::runtime_error("cannot read " + NameOf(path));
  return text;
}

template <class Write>
void WriteFile(const char* what, const std::filesystem::path& path, Write write) {
  if (path.empty()) return;
  std::ofstream stream(path, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot create " + NameOf(path));
  write(stream);
  stream.close();
  if (!stream) throw std::runtime_error("cannot write " + NameOf(path));
  std::cout << what << NameOf(path) << '\n';
}

void TellWhatWasRead(const Timeline& timeline) {
  const Dump& dump = timeline.GetDump();
  std::cout << "Records  " << dump.records.size() << " of " << timeline.GetThreads().size()
            << (timeline.GetThreads().size() == 1 ? " thread\n" : " threads\n");
  if (dump.skippedRecords != 0 || dump.strayLines != 0) {
    std::cout << "Skipped  " << dump.skippedRecords << " records and " << dump.strayLines
              << " other lines that could not be read\n";
  }
  if (dump.isCut) std::cout << "Note     the dump ends inside a record\n";
  if (dump.holdsAnother) std::cout << "Note     a second dump in the file is not shown\n";
}

/// A dump is what there is no second one of.
void RequireOtherFile(const std::filesystem::path& path, const std::filesystem::path& dump) {
  std::error_code isMissing;
  if (!path.empty() && std::filesystem::equivalent(path, dump, isMissing)) {
    throw std::runtime_error("the dump itself would be overwritten: " + NameOf(path));
  }
}

void Run(const Options& options) {
  RequireOtherFile(options.page, options.dump);
  RequireOtherFile(options.trace, options.dump);
  const Dump dump = ReadDump(ReadFile(options.dump));
  if (!dump.hasHead && dump.records.empty()) {
    throw std::runtime_error(NameOf(options.dump) + " is no dump of a flow log");
  }
  const Timeline timeline(dump);
  TellWhatWasRead(timeline);
  WriteFile("Page     ", options.page, [&](std::ostream& stream) {
    WritePage(timeline, NameOf(options.dump.filename()), stream);
  });
  WriteFile("Trace    ", options.trace,
            [&](std::ostream& stream) { WriteTrace(timeline, stream); });
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  try {
    const std::span<const wchar_t* const> arguments(argv, static_cast<std::size_t>(argc));
    std::wstring problem;
    const std::optional<Options> options =
        ParseOptions(arguments.subspan(argc > 0 ? 1 : 0), problem);
    if (!options) {
      std::cerr << "flow_timeline: " << NameOf(problem) << "\nTry flow_timeline --help.\n";
      return kUsage;
    }
    if (options->showsHelp) {
      std::cout << HelpText();
    } else {
      Run(*options);
    }
    return EXIT_SUCCESS;
  } catch (const std::exception& exception) {
    std::cerr << "flow_timeline: " << exception.what() << '\n';
    return EXIT_FAILURE;
  }
}
