// SPDX-License-Identifier: MIT
// What a value in the registry costs through the tagged filers, beside the bare calls that open the
// same keys for it.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "bare/bare_registry.h"
#include "orvel/filers/in_filer_tagged_registry.h"
#include "orvel/filers/out_filer_tagged_registry.h"

namespace {

constexpr std::int64_t kValuesPerRepetition = 200;
constexpr const wchar_t* kApplicationKey = L"orvel-benchmark";
constexpr const wchar_t* kSection = L"Section";
constexpr const wchar_t* kNumber = L"Number";
constexpr const wchar_t* kText = L"Text";
constexpr const wchar_t* kSomeText = L"C:\\Users\\somebody\\Documents\\audit.xml";

struct OrvelRegistry {
  OrvelRegistry() {
    out.BeginSection(kSection);
    in.BeginSection(kSection);
  }
  void WriteNumber(const wchar_t* name, std::uint32_t value) { out.WriteUnsignedInt(name, value); }
  void WriteText(const wchar_t* name, const std::wstring& value) { out.WriteString(name, value); }
  bool ReadNumber(const wchar_t* name, std::uint32_t& value) {
    return in.ReadUnsignedInt(name, value, 0);
  }
  bool ReadText(const wchar_t* name, std::wstring& value) { return in.ReadString(name, value, {}); }

  IOutFilerTaggedRegistry out{MRegistryRoot::kCurrentUser, kApplicationKey};
  IInFilerTaggedRegistry in{MRegistryRoot::kCurrentUser, kApplicationKey};
};

const BareRegistry& Bare() {
  static const BareRegistry bare(kApplicationKey, kSection);
  return bare;
}

struct FloorRegistry : BareRegistry {
  FloorRegistry() : BareRegistry(Bare()) {}
};

template <class Registry>
void WriteNumber(benchmark::State& state) {
  Registry registry;
  std::uint32_t value = 0;
  for (auto _ : state) registry.WriteNumber(kNumber, ++value);
  std::uint32_t stored = 0;
  if (!Bare().ReadNumber(kNumber, stored) || stored != value) state.SkipWithError("not written");
}

template <class Registry>
void WriteText(benchmark::State& state) {
  Registry registry;
  const std::wstring text = kSomeText;
  for (auto _ : state) registry.WriteText(kText, text);
  std::wstring stored;
  if (!Bare().ReadText(kText, stored) || stored != text) state.SkipWithError("not written");
}

template <class Registry>
void ReadNumber(benchmark::State& state) {
  Registry registry;
  std::uint32_t sum = 0;
  for (auto _ : state) {
    std::uint32_t value = 0;
    registry.ReadNumber(kNumber, value);
    sum += value;
  }
  if (sum != 7 * static_cast<std::uint32_t>(state.iterations())) state.SkipWithError("not read");
}

template <class Registry>
void ReadText(benchmark::State& state) {
  Registry registry;
  std::wstring text;
  for (auto _ : state) registry.ReadText(kText, text);
  if (text != kSomeText) state.SkipWithError("not read");
}

void PrepareValues(const benchmark::State&) {
  Bare().WriteNumber(kNumber, 7);
  Bare().WriteText(kText, kSomeText);
}

void RemoveValues(const benchmark::State&) { Bare().Remove(); }

void Register(const char* name, void (*run)(benchmark::State&)) {
  benchmark::RegisterBenchmark(name, run)
      ->Setup(PrepareValues)
      ->Teardown(RemoveValues)
      ->Iterations(kValuesPerRepetition)
      ->UseRealTime();
}

const bool areRegistered = [] {
  Register("RegistryWriteNumber/orvel", WriteNumber<OrvelRegistry>);
  Register("RegistryWriteNumber/floor", WriteNumber<FloorRegistry>);
  Register("RegistryWriteText/orvel", WriteText<OrvelRegistry>);
  Register("RegistryWriteText/floor", WriteText<FloorRegistry>);
  Register("RegistryReadNumber/orvel", ReadNumber<OrvelRegistry>);
  Register("RegistryReadNumber/floor", ReadNumber<FloorRegistry>);
  Register("RegistryReadText/orvel", ReadText<OrvelRegistry>);
  Register("RegistryReadText/floor", ReadText<FloorRegistry>);
  return true;
}();

}  // namespace
