// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "orvel/filers/filer_tagged_registry_base.h"
#include "orvel/filers/in_filer_tagged.h"

/// Reads the tagged values that `IOutFilerTaggedRegistry` wrote, or that anything else stored in
/// their place; `IFilerTaggedRegistryBase` describes where they are. What is stored is not trusted.
///
/// A read returns false, and sets its destination to the default, when a key or the value is
/// missing or may not be read, when the value does not fit, and when the tag is refused. Only
/// `std::bad_alloc` is raised. What fits:
/// - for integers: up to four bytes of any type, the lowest first. Missing bytes are zero, and a
///   smaller destination receives the low bits;
/// - for booleans: a double word. For a value of another type or size the read returns false, but
///   sets the destination to whether the first four bytes hold anything but zero;
/// - for strings: a string, also an expandable one, whose variables are not expanded. The value
///   ends at its first zero character or with its last complete character;
/// - for floating-point numbers: a string that begins with a number. A number that is too large
///   becomes infinity.
///
/// Thread-unsafe.
class IInFilerTaggedRegistry final : public IInFilerTagged, public IFilerTaggedRegistryBase {
 public:
  /// `applicationKey` is the same as for the writer. With `createsWhenReading` each read creates
  /// the missing keys on its way, and opens all keys but the software key for reading and writing
  /// where that is allowed. Raises what `MLocale::Instance` raises.
  IInFilerTaggedRegistry(MRegistryRoot root, std::wstring applicationKey,
                         bool createsWhenReading = false);

  bool ReadString(const std::wstring& tag, std::wstring& value,
                  const std::wstring& defaultValue) override;
  bool ReadChar(const std::wstring& tag, char& value, char defaultValue) override;
  bool ReadDouble(const std::wstring& tag, double& value, double defaultValue) override;
  bool ReadFloat(const std::wstring& tag, float& value, float defaultValue) override;
  bool ReadBool(const std::wstring& tag, bool& value, bool defaultValue) override;
  bool ReadByte(const std::wstring& tag, std::uint8_t& value, std::uint8_t defaultValue) override;
  bool ReadUnsignedShort(const std::wstring& tag, std::uint16_t& value,
                         std::uint16_t defaultValue) override;
  bool ReadShort(const std::wstring& tag, std::int16_t& value, std::int16_t defaultValue) override;
  bool ReadUnsignedInt(const std::wstring& tag, std::uint32_t& value,
                       std::uint32_t defaultValue) override;
  bool ReadInt(const std::wstring& tag, std::int32_t& value, std::int32_t defaultValue) override;
  /// Sets `stamp` to what `GetChangeStamp` returns. Always returns true.
  bool ReadChangeStamp(std::uint32_t& stamp) override;
  /// Always returns true, also when there is no such section: then every value in it is missing.
  /// Use `BeginNextSection` to find out whether a section exists.
  bool BeginSection(const std::wstring& tag) override;
  bool EndSection() override;
  /// Sets `xmlText` to the document as it was written. Returns false, with `xmlText` empty, when
  /// the value is not a string or the string not a well-formed document.
  bool ReadSubDocument(const std::wstring& tag, std::wstring& xmlText) override;
  /// Opens the section if it exists. As the registry keeps one section per tag, this succeeds only
  /// once each time the section around it is opened, and not after `BeginSection` has opened it
  /// there. Creates no keys.
  bool BeginNextSection(const std::wstring& tag) override;

 private:
  struct WholeValue;
  struct NameLess {
    using is_transparent = void;  // NOLINT(readability-identifier-naming): the standard's name
    [[nodiscard]] bool operator()(std::wstring_view left, std::wstring_view right) const noexcept;
  };
  using NameSet = std::set<std::wstring, NameLess>;

  [[nodiscard]] Orvel::Detail::RegistryKey OpenKey() const;
  [[nodiscard]] bool HasSection(std::wstring_view tag);
  template <class Integer>
  bool ReadInteger(const std::wstring& tag, Integer& value, Integer defaultValue) const;
  bool ReadText(const std::wstring& tag, std::wstring& text) const;
  bool ReadFlag(const std::wstring& tag, bool& value) const;

  const bool createsWhenReading_;
  // For each level, the application key's first, the sections that were opened in it. Levels
  // deeper than the open one are left over and mean nothing.
  std::vector<NameSet> openedSections_;
};
