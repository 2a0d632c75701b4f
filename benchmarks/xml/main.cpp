// SPDX-License-Identifier: MIT
// Arguments beside the benchmark's own are UTF-8 files of XML, which are parsed as well.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include <pugixml.hpp>

#include "keeping_heap.h"
#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/foundation/utf8.h"
#include "parse_benchmark.h"
#include "sample_texts.h"

namespace {

bool RegisterFile(const std::string& path) {
  std::wstring widePath;
  MXmlDocument document;
  if (Orvel::Detail::DecodeUtf8(path, widePath) || !document.LoadFile(widePath)) return false;
  RegisterParsing(path.substr(path.find_last_of("/\\") + 1),
                  [text = document.TakeDocumentText()] { return text; });
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  pugi::set_memory_management_functions(KeepingAllocate, KeepingFree);
  benchmark::Initialize(&argc, argv);
  for (const std::size_t elements :
       {std::size_t{1000}, std::size_t{100000}, std::size_t{1000000}}) {
    RegisterParsing(std::to_string(elements), [elements] { return MakeTaggedText(elements); });
  }
  for (int i = 1; i < argc; ++i) {
    if (RegisterFile(argv[i])) continue;
    std::fprintf(stderr, "cannot be read: %s\n", argv[i]);
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
