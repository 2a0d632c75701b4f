// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "orvel/foundation/locale.h"

/// Reader of the named values that an `IOutFilerTagged` wrote. Implemented over XML and over the
/// registry.
///
/// A read operation returns true when the open section has a value of that tag and kind that can be
/// converted; if not, it returns false and sets the destination to the default. Values can be read
/// in any order; if several have the same tag, the first one is read. No operation raises because
/// of what is stored. When memory runs out, `std::bad_alloc` is raised and the same section stays
/// open.
///
/// End every section before the filer is destroyed. A library built with assertions aborts with a
/// message if one was forgotten, unless an operation has failed since the outermost section was
/// opened, or the filer is destroyed by an exception.
///
/// Thread-unsafe.
class IInFilerTagged {
 public:
  IInFilerTagged(const IInFilerTagged&) = delete;
  IInFilerTagged& operator=(const IInFilerTagged&) = delete;
  virtual ~IInFilerTagged() = default;

  ///@{
  /// Reads the value of that kind under `tag` in the open section.
  virtual bool ReadString(const std::wstring& tag, std::wstring& value,
                          const std::wstring& defaultValue) = 0;
  virtual bool ReadChar(const std::wstring& tag, char& value, char defaultValue) = 0;
  virtual bool ReadDouble(const std::wstring& tag, double& value, double defaultValue) = 0;
  virtual bool ReadFloat(const std::wstring& tag, float& value, float defaultValue) = 0;
  virtual bool ReadBool(const std::wstring& tag, bool& value, bool defaultValue) = 0;
  virtual bool ReadByte(const std::wstring& tag, std::uint8_t& value,
                        std::uint8_t defaultValue) = 0;
  virtual bool ReadUnsignedShort(const std::wstring& tag, std::uint16_t& value,
                                 std::uint16_t defaultValue) = 0;
  virtual bool ReadShort(const std::wstring& tag, std::int16_t& value,
                         std::int16_t defaultValue) = 0;
  virtual bool ReadUnsignedInt(const std::wstring& tag, std::uint32_t& value,
                               std::uint32_t defaultValue) = 0;
  virtual bool ReadInt(const std::wstring& tag, std::int32_t& value, std::int32_t defaultValue) = 0;
  ///@}

  /// Sets `stamp` to the number that this filer got when it last ended a section; 0 before the
  /// first. The numbers come from a counter that goes up whenever a filer of this store ends a
  /// section in this process. Returns false, with `stamp` unchanged, if the store has no such
  /// counter.
  virtual bool ReadChangeStamp(std::uint32_t& stamp) = 0;
  /// Opens the first section with the tag inside the open section. Returns false when there is
  /// none.
  virtual bool BeginSection(const std::wstring& tag) = 0;
  /// Closes the innermost section. Returns false, and changes nothing, when none is open.
  virtual bool EndSection() = 0;
  /// Sets `xmlText` to a value or section as a complete XML document. Returns false, with `xmlText`
  /// empty, when there is none.
  virtual bool ReadSubDocument(const std::wstring& tag, std::wstring& xmlText) = 0;
  /// Opens the next section with the tag after the one last closed at this level, or the first one
  /// when none was opened here. Returns false when there are no more, and if a reader does not
  /// override it.
  virtual bool BeginNextSection([[maybe_unused]] const std::wstring& tag) { return false; }

 protected:
  /// Raises what `MLocale::Instance` raises.
  IInFilerTagged() : locale_(MLocale::Instance()) {}

  /// Returns the locale that numbers are read with.
  [[nodiscard]] const MLocale& GetLocale() const noexcept { return locale_; }

 private:
  const MLocale& locale_;
};
