// SPDX-License-Identifier: MIT
// Parsing a text that is in memory: handed over to the parser, and left with the caller.
#include "parse_benchmark.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <pugixml.hpp>
#include <string>
#include <utility>

#include <tinyxml2.h>

#include "orvel/filers/xml_document.h"
#include "sample_texts.h"
#include "stopwatch.h"

namespace {

struct Moved {
  using Document = MXmlDocument;
  using Input = std::wstring;
  static Input Prepare(const SampleText& text) { return text.wide; }
  static bool Parse(Document& document, Input& input) {
    return document.SetDocument(std::move(input));
  }
};

struct Copied {
  using Document = MXmlDocument;
  using Input = const std::wstring&;
  static Input Prepare(const SampleText& text) { return text.wide; }
  static bool Parse(Document& document, Input input) { return document.SetDocument(input); }
};

struct PugixmlInPlace {
  using Document = pugi::xml_document;
  using Input = std::wstring;
  static Input Prepare(const SampleText& text) { return text.wide; }
  static bool Parse(Document& document, Input& input) {
    return document.load_buffer_inplace(input.data(), input.size() * sizeof(wchar_t),
                                        pugi::parse_default, pugi::encoding_wchar);
  }
};

struct PugixmlCopied {
  using Document = pugi::xml_document;
  using Input = const std::wstring&;
  static Input Prepare(const SampleText& text) { return text.wide; }
  static bool Parse(Document& document, Input input) {
    return document.load_buffer(input.data(), input.size() * sizeof(wchar_t), pugi::parse_default,
                                pugi::encoding_wchar);
  }
};

struct Tinyxml2 {
  using Document = tinyxml2::XMLDocument;
  using Input = const std::string&;
  static Input Prepare(const SampleText& text) { return text.utf8; }
  static bool Parse(Document& document, Input input) {
    return document.Parse(input.data(), input.size()) == tinyxml2::XML_SUCCESS;
  }
};

template <class Side>
void ParseText(benchmark::State& state, const SampleText& text) {
  for (auto _ : state) {
    typename Side::Input input = Side::Prepare(text);
    Stopwatch stopwatch(state);
    typename Side::Document document;
    const bool isParsed = Side::Parse(document, input);
    stopwatch.Stop();
    if (!isParsed) state.SkipWithError("not well-formed");
  }
  // All sides do the same work: that of the wide text.
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(text.wide.size() * sizeof(wchar_t)));
}

template <class Side>
void Register(const std::string& name, const SampleText& text) {
  constexpr std::size_t kUnitsPerRepetition = 1000000;
  benchmark::RegisterBenchmark(name.c_str(), ParseText<Side>, text)
      ->Iterations(static_cast<std::int64_t>(1 + kUnitsPerRepetition / text.wide.size()))
      ->UseManualTime();
}

}  // namespace

void RegisterParsing(const std::string& name, std::wstring text) {
  const SampleText sample = MakeSample(std::move(text));
  Register<Moved>("ParseMoved/orvel/" + name, sample);
  Register<PugixmlInPlace>("ParseMoved/pugixml/" + name, sample);
  Register<Tinyxml2>("ParseMoved/tinyxml2/" + name, sample);
  Register<Copied>("ParseCopied/orvel/" + name, sample);
  Register<PugixmlCopied>("ParseCopied/pugixml/" + name, sample);
}
