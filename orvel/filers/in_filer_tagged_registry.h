// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "orvel/filers/filer_tagged_registry_base.h"
#include "orvel/filers/in_filer_tagged.h"

/// Reads the tagged values that `IOutFilerTaggedRegistry` wrote, and whatever else stands in the
/// registry at their place; `IFilerTaggedRegistryBase` says where that is. Nothing that stands
/// there is trusted.
///
/// A read answers false, with the default in its destination, when a key or the value is missing or
/// may not be read, when the value does not fit, and when the tag is refused. No operation raises
/// but `std::bad_alloc`. What fits:
/// - for integers, up to four bytes of any type, the low ones first; missing ones are zero, and of
///   the number the low bits count that the destination holds;
/// - for booleans, a double word. From a value of any other type and size the destination receives
///   whether its first four bytes are not all zero, and the answer is false;
/// - for strings, a string, also one with variables to expand, which are left as they stand. It
///   ends at its first zero character or with its last whole character;
/// - for floating numbers, a string that begins with a number; one too large is an infinity.
///
/// Thread-unsafe.
class IInFilerTaggedRegistry final : public IInFilerTagged, public IFilerTaggedRegistryBase {
 public:
  /// `applicationKey` is as for the writer. With `createsWhenReading` a read creates the keys on
  /// its way that are missing, and opens all but the software key to read and write where that is
  /// allowed. Raises what `MLocale::Instance` does.
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
  /// Always true: the number of `GetChangeStamp`, 0 until this filer has ended a section.
  bool ReadChangeStamp(std::uint32_t& stamp) override;
  /// Always true, also when there is no such section: what is read in it then is missing. To find
  /// out, and to read what may be missing as a whole, use `BeginNextSection`.
  bool BeginSection(const std::wstring& tag) override;
  bool EndSection() override;
  /// The text of the document as it was written. False, with `xmlText` empty, when the value is no
  /// string or its text no document.
  bool ReadSubDocument(const std::wstring& tag, std::wstring& xmlText) override;
  /// Opens the section if it exists, once for each time that the section around it is opened, and
  /// not after `BeginSection` opened it there: the registry keeps one section of a tag. Creates
  /// nothing.
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
