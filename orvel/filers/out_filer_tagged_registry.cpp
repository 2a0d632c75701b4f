// SPDX-License-Identifier: MIT
#include "orvel/filers/out_filer_tagged_registry.h"

#include <cstddef>
#include <limits>
#include <utility>

#include "orvel/filers/xml_filer_format.h"
#include "orvel/foundation/number_text.h"
#include "orvel/platform/registry_key.h"

namespace {

using Orvel::Detail::RegistryKey;
using Orvel::Detail::RegistryType;

constexpr int kDoubleDigits = 14;
constexpr int kFloatDigits = 6;

}  // namespace

IOutFilerTaggedRegistry::IOutFilerTaggedRegistry(MRegistryRoot root, std::wstring applicationKey)
    : IFilerTaggedRegistryBase(root, std::move(applicationKey)) {}

bool IOutFilerTaggedRegistry::WriteData(const std::wstring& tag, RegistryType type,
                                        const void* data, std::uint32_t sizeInBytes) {
  if (!IsValueName(tag)) return Note(false);
  const RegistryKey key =
      OpenValueKey(CreateToReadAtLeast, CreateToReadAndWrite, CreateToReadAndWrite);
  return Note(key && key.SetValue(tag.c_str(), type, data, sizeInBytes));
}

bool IOutFilerTaggedRegistry::WriteNumber(const std::wstring& tag, std::uint32_t value) {
  return WriteData(tag, RegistryType::kDoubleWord, &value, sizeof(value));
}

bool IOutFilerTaggedRegistry::WriteString(const std::wstring& tag, const std::wstring& value) {
  constexpr std::size_t kMaxBytes = (std::numeric_limits<std::uint32_t>::max)();
  return value.size() < kMaxBytes / sizeof(wchar_t)
             ? WriteData(tag, RegistryType::kString, value.c_str(),
                         static_cast<std::uint32_t>((value.size() + 1) * sizeof(wchar_t)))
             : Note(false);
}

bool IOutFilerTaggedRegistry::WriteChar(const std::wstring& tag, char value) {
  return WriteNumber(tag, static_cast<std::uint8_t>(value));
}

bool IOutFilerTaggedRegistry::WriteDouble(const std::wstring& tag, double value) {
  return WriteString(tag, Orvel::Detail::ScientificText(value, kDoubleDigits, GetLocale()));
}

bool IOutFilerTaggedRegistry::WriteFloat(const std::wstring& tag, float value) {
  return WriteString(tag, Orvel::Detail::ScientificText(double{value}, kFloatDigits, GetLocale()));
}

bool IOutFilerTaggedRegistry::WriteBool(const std::wstring& tag, bool value) {
  return WriteNumber(tag, value ? 1 : 0);
}

bool IOutFilerTaggedRegistry::WriteByte(const std::wstring& tag, std::uint8_t value) {
  return WriteNumber(tag, value);
}

bool IOutFilerTaggedRegistry::WriteUnsignedShort(const std::wstring& tag, std::uint16_t value) {
  return WriteNumber(tag, value);
}

bool IOutFilerTaggedRegistry::WriteShort(const std::wstring& tag, std::int16_t value) {
  return WriteNumber(tag, static_cast<std::uint16_t>(value));
}

bool IOutFilerTaggedRegistry::WriteUnsignedInt(const std::wstring& tag, std::uint32_t value) {
  return WriteNumber(tag, value);
}

bool IOutFilerTaggedRegistry::WriteInt(const std::wstring& tag, std::int32_t value) {
  return WriteNumber(tag, static_cast<std::uint32_t>(value));
}

bool IOutFilerTaggedRegistry::BeginSection(const std::wstring& tag) {
  BeginTag(tag);
  return true;
}

bool IOutFilerTaggedRegistry::EndSection() { return EndTag(); }

bool IOutFilerTaggedRegistry::WriteSubDocument(const std::wstring& tag,
                                               const std::wstring& xmlText) {
  return Note(Orvel::Detail::XmlFilerFormat::CountSubDocumentLevels(xmlText) != 0) &&
         WriteString(tag, xmlText);
}
