// SPDX-License-Identifier: MIT
// Counts the memory that a parsed document takes beside its text, for the library and its peers.
// Arguments are numbers of elements.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <pugixml.hpp>
#include <string>
#include <utility>

#include <tinyxml2.h>

#include "allocation_count.h"
#include "orvel/filers/xml/document/xml_document.h"
#include "sample_texts.h"

namespace {

void Print(const char* parser, std::size_t elements, std::int64_t bytes, std::size_t textSize) {
  std::printf(
      "%-10s %8zu elements %12lld bytes beside the text, %6.1f an element, %.2f of the text\n",
      parser, elements, static_cast<long long>(bytes),
      static_cast<double>(bytes) / static_cast<double>(elements),
      static_cast<double>(bytes) / static_cast<double>(textSize));
}

void MeasureOrvel(std::size_t elements, std::wstring text) {
  const std::size_t size = text.size() * sizeof(wchar_t);
  const std::int64_t before = GetAllocatedBytes();
  MXmlDocument document;
  if (!document.SetDocument(std::move(text))) std::abort();
  Print("orvel", elements, GetAllocatedBytes() - before, size);
}

void MeasurePugixml(std::size_t elements, std::wstring text) {
  const std::size_t size = text.size() * sizeof(wchar_t);
  const std::int64_t before = GetAllocatedBytes();
  pugi::xml_document document;
  if (!document.load_buffer_inplace(text.data(), size, pugi::parse_default, pugi::encoding_wchar))
    std::abort();
  Print("pugixml", elements, GetAllocatedBytes() - before, size);
}

void MeasureTinyxml2(std::size_t elements, const std::string& text) {
  const std::int64_t before = GetAllocatedBytes();
  tinyxml2::XMLDocument document;
  if (document.Parse(text.data(), text.size()) != tinyxml2::XML_SUCCESS) std::abort();
  // It keeps a copy, which is its text.
  Print("tinyxml2", elements,
        GetAllocatedBytes() - before - static_cast<std::int64_t>(text.size() + 1), text.size());
}

}  // namespace

int main(int argc, char** argv) {
  pugi::set_memory_management_functions([](std::size_t size) { return ::operator new(size); },
                                        [](void* memory) { ::operator delete(memory); });
  for (int i = 1; i < argc; ++i) {
    const auto elements = static_cast<std::size_t>(std::strtoul(argv[i], nullptr, 10));
    const SampleText text = MakeSample(MakeTaggedText(elements));
    MeasureOrvel(elements, text.wide);
    MeasurePugixml(elements, text.wide);
    MeasureTinyxml2(elements, text.utf8);
  }
  return 0;
}
