// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// A document to parse, in the forms that parsers take.
struct SampleText {
  std::wstring wide;
  std::string utf8;
};

/// Decoded forms of a text that is well-formed.
[[nodiscard]] SampleText MakeSample(std::wstring wide);

/// What the tagged writer makes of that many elements: sections of nine values of all kinds, under
/// its root.
[[nodiscard]] std::wstring MakeTaggedText(std::size_t elements);

/// A value as a program writes it.
struct SampleValue {
  std::wstring tag;
  std::string utf8Tag;
  std::wstring text;
  std::string utf8Text;
};

/// Values with tags of their own and short texts.
[[nodiscard]] std::vector<SampleValue> MakeValues(std::size_t count);

/// ASCII only.
[[nodiscard]] std::string ToNarrow(std::wstring_view text);
