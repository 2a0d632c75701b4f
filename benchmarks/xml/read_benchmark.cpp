// SPDX-License-Identifier: MIT
// Reading the values of one section by tag, beside a hash map of the same tags.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <unordered_map>
#include <vector>

#include <tinyxml2.h>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/filers/xml/document/xml_document.h"
#include "sample_texts.h"
#include "stopwatch.h"

namespace {

std::wstring MakeSection(const std::vector<SampleValue>& values) {
  MOutFilerTaggedXml filer;
  for (std::size_t i = 0; i < values.size(); ++i)
    filer.WriteInt(values[i].tag, static_cast<std::int32_t>(i));
  return filer.TakeText();
}

class InFiler {
 public:
  explicit InFiler(const std::vector<SampleValue>& values) : filer_(MakeSection(values)) {}
  std::int64_t Read(const SampleValue& value) {
    std::int32_t number = 0;
    filer_.ReadInt(value.tag, number, 0);
    return number;
  }

 private:
  MInFilerTaggedXml filer_;
};

class InDocument {
 public:
  explicit InDocument(const std::vector<SampleValue>& values) {
    document_.SetDocument(MakeSection(values));
    document_.FindElement({});
    document_.IntoElement();
    first_ = document_.GetRecord(document_.GetPosition().parent).firstChild;
  }
  /// The number of the element: what the values are, as they are counted from 0 in their order.
  std::int64_t Read(const SampleValue& value) {
    document_.FindFirstElement(value.tag);
    return std::int64_t{document_.GetElement()} - first_;
  }

 private:
  MXmlDocument document_;
  std::uint32_t first_ = 0;
};

/// Filled at the first read: the document makes its table then.
class InHashMap {
 public:
  explicit InHashMap(const std::vector<SampleValue>& values) : values_(values) {}
  std::int64_t Read(const SampleValue& value) {
    if (map_.empty()) {
      for (std::size_t i = 0; i < values_.size(); ++i)
        map_.emplace(values_[i].tag, static_cast<std::int64_t>(i));
    }
    return map_.find(value.tag)->second;
  }

 private:
  const std::vector<SampleValue>& values_;
  std::unordered_map<std::wstring, std::int64_t> map_;
};

class InHashMapAsText {
 public:
  explicit InHashMapAsText(const std::vector<SampleValue>& values) : values_(values) {}
  std::int64_t Read(const SampleValue& value) {
    if (map_.empty()) {
      for (std::size_t i = 0; i < values_.size(); ++i)
        map_.emplace(values_[i].tag, std::to_wstring(i));
    }
    return std::wcstol(map_.find(value.tag)->second.c_str(), nullptr, 10);
  }

 private:
  const std::vector<SampleValue>& values_;
  std::unordered_map<std::wstring, std::wstring> map_;
};

class InPugixml {
 public:
  explicit InPugixml(const std::vector<SampleValue>& values) {
    document_.load_string(MakeSection(values).c_str());
    section_ = document_.first_child();
  }
  std::int64_t Read(const SampleValue& value) {
    return section_.child(value.tag.c_str()).text().as_int();
  }

 private:
  pugi::xml_document document_;
  pugi::xml_node section_;
};

class InTinyxml2 {
 public:
  explicit InTinyxml2(const std::vector<SampleValue>& values) {
    document_.Parse(ToNarrow(MakeSection(values)).c_str());
  }
  std::int64_t Read(const SampleValue& value) {
    int number = 0;
    document_.RootElement()->FirstChildElement(value.utf8Tag.c_str())->QueryIntText(&number);
    return number;
  }

 private:
  tinyxml2::XMLDocument document_;
};

template <class Side>
std::int64_t ReadAll(Side& side, const std::vector<SampleValue>& values, bool reversed) {
  std::int64_t sum = 0;
  if (reversed) {
    for (std::size_t i = values.size(); i-- > 0;) sum += side.Read(values[i]);
  } else {
    for (const SampleValue& value : values) sum += side.Read(value);
  }
  return sum;
}

/// What is measured of one operation on one side.
struct ReadCase {
  bool isReversed;
  bool isRepeated;  // false: from a section that nothing was read from yet
};

template <class Side>
void ReadValues(benchmark::State& state, ReadCase what) {
  const auto count = state.range(0);
  const auto values = MakeValues(static_cast<std::size_t>(count));
  auto side = std::make_unique<Side>(values);
  if (what.isRepeated) ReadAll(*side, values, what.isReversed);
  for (auto _ : state) {
    if (!what.isRepeated) side = std::make_unique<Side>(values);
    Stopwatch stopwatch(state);
    const std::int64_t sum = ReadAll(*side, values, what.isReversed);
    stopwatch.Stop();
    if (sum != count * (count - 1) / 2) state.SkipWithError("other values");
  }
  state.SetItemsProcessed(state.iterations() * count);
}

template <class Side>
void Register(const std::string& operation, const std::string& side, bool isRepeated = false) {
  for (const bool isReversed : {false, true}) {
    const std::string name = operation + (isReversed ? "Reversed/" : "InOrder/") + side;
    for (const std::int64_t count : {100, 1000, 10000}) {
      benchmark::RegisterBenchmark(name.c_str(), ReadValues<Side>, ReadCase{isReversed, isRepeated})
          ->Arg(count)
          ->MinTime(kSecondsPerRepetition)
          ->UseManualTime();
    }
  }
}

const bool areRegistered = [] {
  Register<InFiler>("Read", "orvel");
  Register<InHashMapAsText>("Read", "map");
  Register<InPugixml>("Read", "pugixml");
  Register<InTinyxml2>("Read", "tinyxml2");
  Register<InDocument>("LookUp", "orvel");
  Register<InHashMap>("LookUp", "map");
  Register<InDocument>("LookUpAgain", "orvel", true);
  Register<InHashMap>("LookUpAgain", "map", true);
  return true;
}();

}  // namespace
