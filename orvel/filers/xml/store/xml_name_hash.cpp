// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/store/xml_name_hash.h"

#include <chrono>
#include <cstring>

#include "orvel/filers/xml/store/xml_names.h"

namespace Orvel::Detail {
namespace {

constexpr std::uint64_t kGolden = 0x9E3779B97F4A7C15U;  // 2^64 / golden ratio, as in SplitMix64

// Factors of the finalizer of SplitMix64.
constexpr std::uint64_t kFinalFactor = 0xBF58476D1CE4E5B9U;
constexpr std::uint64_t kSecondFinalFactor = 0x94D049BB133111EBU;

/// Finalizer of SplitMix64.
std::uint64_t Scramble(std::uint64_t x) noexcept {
  x = (x ^ (x >> 30)) * kFinalFactor;
  x = (x ^ (x >> 27)) * kSecondFinalFactor;
  return x ^ (x >> 31);
}

/// Names that differ in a number yield states whose differences are multiples of the seed's factor.
/// With some factors their low bits take only a few values. Multiplying by a fixed factor spreads
/// them for any seed.
std::uint64_t Finish(std::uint64_t state) noexcept {
  state *= kFinalFactor;
  return state ^ (state >> 32);
}

}  // namespace

XmlHashSeed MakeXmlHashSeed(std::uint64_t number) noexcept {
  return {Scramble(number), Scramble(number + kGolden) | 1U, Scramble(number + 2 * kGolden) | 1U};
}

const XmlHashSeed& GetXmlHashSeed() noexcept {
  static const XmlHashSeed seed = [] {
    // Addresses and the time of the first call: not known to whoever writes a text.
    static const int place = 0;
    const auto now = std::chrono::high_resolution_clock::now().time_since_epoch().count();
    std::uint64_t x = static_cast<std::uint64_t>(now);
    x = Scramble(x ^ static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(&place)));
    return MakeXmlHashSeed(x ^ static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(&now)));
  }();
  return seed;
}

void XmlNameHash::Add(wchar_t c) noexcept {
  const auto code = static_cast<std::uint32_t>(ignoreCase_ ? FoldXmlCase(c) : c);
  state_ = (state_ ^ code) * factor_;
  state_ ^= state_ >> 32;
}

std::uint64_t XmlNameHash::Get() const noexcept { return Finish(state_); }

std::uint64_t HashXmlName(std::wstring_view name, bool ignoreCase,
                          const XmlHashSeed& seed) noexcept {
  if (ignoreCase) {
    XmlNameHash hash(true, seed);
    hash.Add(name);
    return hash.Get();
  }
  constexpr std::size_t kStep = sizeof(std::uint64_t) / sizeof(wchar_t);
  std::uint64_t state = seed.start + name.size();
  // Two multiplications: after a single one, a later character could cancel what an earlier one did
  // to the highest bit, and the last character would not reach the low bits.
  const auto add = [&state, &seed](std::uint64_t chunk) {
    state = (state ^ chunk) * seed.factor;
    state = (state ^ (state >> 32)) * seed.secondFactor;
    state ^= state >> 32;
  };
  const wchar_t* const text = name.data();
  if (name.size() < kStep) {
    std::uint64_t chunk = 0;
    for (const wchar_t c : name) chunk = (chunk << 16) ^ static_cast<std::uint32_t>(c);
    add(chunk);
    return Finish(state);
  }
  const auto load = [](const wchar_t* next) {
    std::uint64_t chunk = 0;
    std::memcpy(&chunk, next, sizeof chunk);
    return chunk;
  };
  for (std::size_t i = 0; i + kStep < name.size(); i += kStep) add(load(text + i));
  add(load(text + name.size() - kStep));  // may overlap the step before
  return Finish(state);
}

}  // namespace Orvel::Detail
