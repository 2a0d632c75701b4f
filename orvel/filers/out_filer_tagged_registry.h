// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "orvel/filers/filer_tagged_registry_base.h"
#include "orvel/filers/out_filer_tagged.h"

namespace Orvel::Detail {
enum class RegistryType : std::uint32_t;
}

/// Writes tagged values into the registry and creates the keys they need. Read them back with
/// `IInFilerTaggedRegistry`; `IFilerTaggedRegistryBase` describes where they are.
///
/// Booleans and integers are stored as double words; negative numbers of 8 and 16 bits are not
/// sign-extended. Strings are stored as strings, and so are floating-point numbers, as text with 14
/// digits after the point for doubles and 6 for floats. A value replaces any value of the same tag.
/// A string is stored completely, but readers stop at its first zero character.
///
/// Every operation writes immediately, so nothing is lost when the process ends. It returns false
/// when a key cannot be opened or created, when the value cannot be stored, and when the tag is
/// refused. Only `std::bad_alloc` is raised.
///
/// Thread-unsafe.
class IOutFilerTaggedRegistry final : public IOutFilerTagged, public IFilerTaggedRegistryBase {
 public:
  /// `applicationKey` is the name of the key below the framework's key, or several names with `\`
  /// between them. If a name is empty, longer than 255 characters or holds a zero character, every
  /// write returns false. Raises what `MLocale::Instance` raises.
  IOutFilerTaggedRegistry(MRegistryRoot root, std::wstring applicationKey);

  bool WriteChar(const std::wstring& tag, char value) override;
  bool WriteString(const std::wstring& tag, const std::wstring& value) override;
  bool WriteDouble(const std::wstring& tag, double value) override;
  bool WriteFloat(const std::wstring& tag, float value) override;
  bool WriteBool(const std::wstring& tag, bool value) override;
  bool WriteByte(const std::wstring& tag, std::uint8_t value) override;
  bool WriteUnsignedShort(const std::wstring& tag, std::uint16_t value) override;
  bool WriteShort(const std::wstring& tag, std::int16_t value) override;
  bool WriteUnsignedInt(const std::wstring& tag, std::uint32_t value) override;
  bool WriteInt(const std::wstring& tag, std::int32_t value) override;
  /// Always returns true. Continues an existing section. The key of a new one is created with its
  /// first value. If the tag cannot be a key, every write in the section returns false.
  bool BeginSection(const std::wstring& tag) override;
  bool EndSection() override;
  /// Stores the document's text as a string.
  bool WriteSubDocument(const std::wstring& tag, const std::wstring& xmlText) override;

 private:
  bool WriteData(const std::wstring& tag, Orvel::Detail::RegistryType type, const void* data,
                 std::uint32_t sizeInBytes);
  bool WriteNumber(const std::wstring& tag, std::uint32_t value);
};
