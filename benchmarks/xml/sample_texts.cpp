// SPDX-License-Identifier: MIT
#include "sample_texts.h"

#include <cstdint>
#include <utility>

#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/foundation/utf8.h"

SampleText MakeSample(std::wstring wide) {
  SampleText sample{std::move(wide), {}};
  if (Orvel::Detail::EncodeUtf8(sample.wide, sample.utf8)) sample.utf8.clear();
  return sample;
}

std::wstring MakeTaggedText(std::size_t elements) {
  MOutFilerTaggedXml filer;
  std::size_t written = 1;  // the root
  for (std::int32_t section = 0; written + 10 <= elements; ++section, written += 10) {
    const auto word = static_cast<std::uint32_t>(section);
    filer.BeginSection(L"Axis" + std::to_wstring(section % 100));
    filer.WriteString(L"Name", L"axis & number " + std::to_wstring(section));
    filer.WriteString(L"Unit", L"mm/s");
    filer.WriteDouble(L"Gain", 0.5 + section);
    filer.WriteFloat(L"Offset", 1.25F);
    filer.WriteBool(L"Enabled", section % 2 == 0);
    filer.WriteByte(L"Channel", static_cast<std::uint8_t>(word & 0xFFU));
    filer.WriteUnsignedShort(L"Port", static_cast<std::uint16_t>(word & 0xFFFFU));
    filer.WriteInt(L"Position", section * 1000 - 7);
    filer.WriteUnsignedInt(L"Counter", word * 3);
    filer.EndSection();
  }
  for (; written < elements; ++written) filer.WriteInt(L"Rest", 1);
  return filer.TakeText();
}

std::vector<SampleValue> MakeValues(std::size_t count) {
  std::vector<SampleValue> values;
  values.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    SampleValue value;
    value.tag = L"Value" + std::to_wstring(i);
    value.utf8Tag = ToNarrow(value.tag);
    value.text = std::to_wstring(i * 7919 % 100003);
    value.utf8Text = ToNarrow(value.text);
    values.push_back(std::move(value));
  }
  return values;
}

std::string ToNarrow(std::wstring_view text) {
  std::string narrow;
  for (const wchar_t c : text) narrow += static_cast<char>(c);
  return narrow;
}
