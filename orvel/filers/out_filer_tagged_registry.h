// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "orvel/filers/filer_tagged_registry_base.h"
#include "orvel/filers/out_filer_tagged.h"

namespace Orvel::Detail {
enum class RegistryType : std::uint32_t;
}

/// Writes tagged values into the registry, creating the keys on the way. Read them back with
/// `IInFilerTaggedRegistry`; `IFilerTaggedRegistryBase` says where they are.
///
/// Booleans and integers are stored as double words, negative ones of 8 and 16 bits without their
/// sign extended; strings, and floating numbers as text, with 14 digits after the point for doubles
/// and 6 for floats, as strings. A value replaces one of its tag, whatever type that has. A string
/// is stored whole, but whoever reads it stops at its first zero character.
///
/// Each operation writes at once, so nothing is lost when the process ends. False when a key cannot
/// be opened or created, when the value cannot be set, and when the tag is refused. No operation
/// raises but `std::bad_alloc`. Thread-unsafe.
class IOutFilerTaggedRegistry final : public IOutFilerTagged, public IFilerTaggedRegistryBase {
 public:
  /// `applicationKey` is the name of the key below the framework's, or several joined by `\`. When
  /// a name is empty, longer than 255 characters or holds a zero character, every write answers
  /// false. Raises what `MLocale::Instance` does.
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
  /// Always true. Creates nothing yet: the section's key comes with the first value in it. A
  /// section of that tag that is there is continued. In one whose tag cannot name a key every write
  /// returns false.
  bool BeginSection(const std::wstring& tag) override;
  bool EndSection() override;
  /// Stores the document's text as a string.
  bool WriteSubDocument(const std::wstring& tag, const std::wstring& xmlText) override;

 private:
  bool WriteData(const std::wstring& tag, Orvel::Detail::RegistryType type, const void* data,
                 std::uint32_t sizeInBytes);
  bool WriteNumber(const std::wstring& tag, std::uint32_t value);
};
