// SPDX-License-Identifier: MIT
// Parsing a text that is in memory: handed over to the parser, and left with the caller.
#include "parse_benchmark.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <utility>

#include <tinyxml2.h>

#include "orvel/filers/xml/document/xml_document.h"
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

/// Made once, for all who parse it.
class LazyText {
 public:
  explicit LazyText(std::function<std::wstring()> make) : make_(std::move(make)) {}
  const SampleText& Get() {
    if (text_.wide.empty()) text_ = MakeSample(make_());
    return text_;
  }

 private:
  std::function<std::wstring()> make_;
  SampleText text_;
};

template <class Side>
void ParseText(benchmark::State& state, const std::shared_ptr<LazyText>& lazyText) {
  const SampleText& text = lazyText->Get();
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
void Register(const std::string& name, const std::shared_ptr<LazyText>& text) {
  benchmark::RegisterBenchmark(name.c_str(), ParseText<Side>, text)
      ->MinTime(kSecondsPerRepetition)
      ->UseManualTime();
}

}  // namespace

void RegisterParsing(const std::string& name, std::function<std::wstring()> makeText) {
  const auto text = std::make_shared<LazyText>(std::move(makeText));
  Register<Moved>("ParseMoved/orvel/" + name, text);
  Register<PugixmlInPlace>("ParseMoved/pugixml/" + name, text);
  Register<Tinyxml2>("ParseMoved/tinyxml2/" + name, text);
  Register<Copied>("ParseCopied/orvel/" + name, text);
  Register<PugixmlCopied>("ParseCopied/pugixml/" + name, text);
}
