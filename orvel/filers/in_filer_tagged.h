// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "orvel/foundation/locale.h"

/// Reader of the named values that an `IOutFilerTagged` wrote. Implemented over XML and over the
/// registry.
///
/// A read first sets its destination to the default it was given, then returns true when it found
/// a value of that tag and kind in the open section and could convert it. Values are found in any
/// order; of several with one tag the first is read. No operation raises for what it reads; when
/// memory runs out, `std::bad_alloc` comes out and the reader is where it was.
///
/// Sections are to be ended before a filer is destroyed. A library that was built with assertions
/// aborts with a message when one was forgotten: when no operation failed since the outermost
/// section was opened, and no exception ends the filer.
///
/// Thread-unsafe.
class IInFilerTagged {
 public:
  IInFilerTagged(const IInFilerTagged&) = delete;
  IInFilerTagged& operator=(const IInFilerTagged&) = delete;
  virtual ~IInFilerTagged() = default;

  ///@{
  /// Reads the value of that kind under `tag` in the section that is open.
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

  /// Gives the number that this filer took when it last ended a section, from a count that goes up
  /// with every section that any filer of the store ends in this process; 0 before the first.
  /// False, with `stamp` untouched, where the store has none.
  virtual bool ReadChangeStamp(std::uint32_t& stamp) = 0;
  /// Opens the first section with the tag in the section that is open. False when there is none.
  virtual bool BeginSection(const std::wstring& tag) = 0;
  /// Closes the section opened last. False, and nothing changes, when none is open.
  virtual bool EndSection() = 0;
  /// Gives a value or section as an XML document of its own. False, with `xmlText` empty, when
  /// there is none.
  virtual bool ReadSubDocument(const std::wstring& tag, std::wstring& xmlText) = 0;
  /// Opens the next section with the tag after the one closed last at this level, the first when
  /// none was opened here. False when there is no further one, and by default.
  virtual bool BeginNextSection([[maybe_unused]] const std::wstring& tag) { return false; }

 protected:
  /// Raises what `MLocale::Instance` does.
  IInFilerTagged() : locale_(MLocale::Instance()) {}

  /// The locale through which numbers are read.
  [[nodiscard]] const MLocale& GetLocale() const noexcept { return locale_; }

 private:
  const MLocale& locale_;
};
