// SPDX-License-Identifier: MIT
// Writing values and getting the text of the document, beside appending the same text to a string.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include <tinyxml2.h>

#include "orvel/filers/out_filer_tagged_xml.h"
#include "sample_texts.h"
#include "stopwatch.h"

namespace {

constexpr std::size_t kDepth = 100;  // of nested sections

/// Every other value is a number.
bool IsNumber(std::size_t i) { return i % 2 == 1; }
std::int32_t GetNumber(std::size_t i) { return static_cast<std::int32_t>(i) * 31 - 50; }

class WithOrvel {
 public:
  void Value(const SampleValue& value, std::size_t i) {
    if (IsNumber(i)) {
      filer_.WriteInt(value.tag, GetNumber(i));
    } else {
      filer_.WriteString(value.tag, value.text);
    }
  }
  void Begin() { filer_.BeginSection(kSection); }
  void End() { filer_.EndSection(); }
  std::size_t Finish() { return (text_ = filer_.TakeText()).size(); }
  [[nodiscard]] const std::wstring& GetText() const { return text_; }

 private:
  const std::wstring kSection = L"Section";
  MOutFilerTaggedXml filer_;
  std::wstring text_;
};

/// The same text without a document.
class WithString {
 public:
  void Value(const SampleValue& value, std::size_t i) {
    text_ += L'<';
    text_ += value.tag;
    if (IsNumber(i)) {
      char digits[12];
      const char* const end = std::to_chars(std::begin(digits), std::end(digits), GetNumber(i)).ptr;
      text_ += L" type=\"int\">";
      for (const char* digit = digits; digit != end; ++digit) text_ += static_cast<wchar_t>(*digit);
    } else {
      text_ += L" type=\"string\">";
      text_ += value.text;
    }
    text_ += L"</";
    text_ += value.tag;
    text_ += L">\n";
  }
  void Begin() { text_ += L"<Section>\n"; }
  void End() { text_ += L"</Section>\n"; }
  std::size_t Finish() {
    text_ += L"</ExceptionChain>\n";
    return text_.size();
  }
  [[nodiscard]] const std::wstring& GetText() const { return text_; }

 private:
  std::wstring text_ = L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ExceptionChain>\n";
};

class WithPugixml {
 public:
  WithPugixml() {
    auto declaration = document_.append_child(pugi::node_declaration);
    declaration.append_attribute(L"version").set_value(L"1.0");
    declaration.append_attribute(L"encoding").set_value(L"UTF-8");
    parent_ = document_.append_child(L"ExceptionChain");
  }
  void Value(const SampleValue& value, std::size_t i) {
    auto element = parent_.append_child(value.tag.c_str());
    element.append_attribute(L"type").set_value(IsNumber(i) ? L"int" : L"string");
    if (IsNumber(i)) {
      element.text().set(GetNumber(i));
    } else {
      element.text().set(value.text.c_str());
    }
  }
  void Begin() { parent_ = parent_.append_child(L"Section"); }
  void End() { parent_ = parent_.parent(); }
  std::size_t Finish() {
    Writer writer;
    document_.save(writer, L"", pugi::format_raw, pugi::encoding_wchar);
    return writer.text.size();
  }

 private:
  struct Writer final : pugi::xml_writer {
    void write(const void* data, std::size_t size) override {
      text.append(static_cast<const wchar_t*>(data), size / sizeof(wchar_t));
    }
    std::wstring text;
  };

  pugi::xml_document document_;
  pugi::xml_node parent_;
};

class WithTinyxml2 {
 public:
  WithTinyxml2() {
    document_.InsertEndChild(document_.NewDeclaration());
    parent_ = document_.NewElement("ExceptionChain");
    document_.InsertEndChild(parent_);
  }
  void Value(const SampleValue& value, std::size_t i) {
    tinyxml2::XMLElement* const element = parent_->InsertNewChildElement(value.utf8Tag.c_str());
    element->SetAttribute("type", IsNumber(i) ? "int" : "string");
    if (IsNumber(i)) {
      element->SetText(GetNumber(i));
    } else {
      element->SetText(value.utf8Text.c_str());
    }
  }
  void Begin() { parent_ = parent_->InsertNewChildElement("Section"); }
  void End() { parent_ = parent_->Parent()->ToElement(); }
  std::size_t Finish() {
    tinyxml2::XMLPrinter printer(nullptr, true);
    document_.Print(&printer);
    return static_cast<std::size_t>(printer.CStrSize());
  }

 private:
  tinyxml2::XMLDocument document_;
  tinyxml2::XMLElement* parent_ = nullptr;
};

template <class Side>
void WriteFlat(Side& side, const std::vector<SampleValue>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) side.Value(values[i], i);
}

template <class Side>
void WriteNested(Side& side, const std::vector<SampleValue>& values) {
  std::size_t depth = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (depth == kDepth) {
      for (; depth > 0; --depth) side.End();
    }
    side.Begin();
    ++depth;
    side.Value(values[i], i);
  }
  for (; depth > 0; --depth) side.End();
}

template <class Side>
void Write(Side& side, const std::vector<SampleValue>& values, bool nested) {
  if (nested) {
    WriteNested(side, values);
  } else {
    WriteFlat(side, values);
  }
}

template <class Side>
void WriteValues(benchmark::State& state, bool nested) {
  const auto values = MakeValues(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    Stopwatch stopwatch(state);
    Side side;
    Write(side, values, nested);
    const std::size_t size = side.Finish();
    stopwatch.Stop();
    if (size < values.size()) state.SkipWithError("not written");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void RequireSameText(benchmark::State& state, bool nested) {
  const auto values = MakeValues(1000);
  WithOrvel orvel;
  WithString floor;
  Write(orvel, values, nested);
  Write(floor, values, nested);
  orvel.Finish();
  floor.Finish();
  if (orvel.GetText() != floor.GetText()) state.SkipWithError("another text");
}

/// It is a floor only as long as it writes the same text.
void WriteFloor(benchmark::State& state, bool nested) {
  RequireSameText(state, nested);
  WriteValues<WithString>(state, nested);
}

void Register(const std::string& name, bool nested) {
  const auto add = [&](const char* side, void (*run)(benchmark::State&, bool)) {
    for (const std::int64_t count : {100, 1000, 10000, 100000}) {
      benchmark::RegisterBenchmark((name + "/" + side).c_str(), run, nested)
          ->Arg(count)
          ->MinTime(kSecondsPerRepetition)
          ->UseManualTime();
    }
  };
  add("orvel", WriteValues<WithOrvel>);
  add("floor", WriteFloor);
  add("pugixml", WriteValues<WithPugixml>);
  add("tinyxml2", WriteValues<WithTinyxml2>);
}

const bool areRegistered = [] {
  Register("WriteFlat", false);
  Register("WriteNested", true);
  return true;
}();

}  // namespace
