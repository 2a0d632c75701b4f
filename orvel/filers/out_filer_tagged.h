// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "orvel/foundation/locale.h"

/// Writer of named values of ten scalar kinds, in nested sections. Implemented over XML and over
/// the registry.
///
/// Every operation returns true when it wrote what it was given, and false, with nothing written,
/// when it could not; none raises for bad input. When memory runs out, `std::bad_alloc` comes out
/// and the writer is as it was.
///
/// Sections are to be ended before a filer is destroyed. A library that was built with assertions
/// aborts with a message when one was forgotten: when no operation failed since the outermost
/// section was opened, and no exception ends the filer.
///
/// Thread-unsafe.
class IOutFilerTagged {
 public:
  IOutFilerTagged(const IOutFilerTagged&) = delete;
  IOutFilerTagged& operator=(const IOutFilerTagged&) = delete;
  virtual ~IOutFilerTagged() = default;

  ///@{
  /// Writes a value of that kind under `tag` into the section that is open.
  virtual bool WriteChar(const std::wstring& tag, char value) = 0;
  virtual bool WriteString(const std::wstring& tag, const std::wstring& value) = 0;
  virtual bool WriteDouble(const std::wstring& tag, double value) = 0;
  virtual bool WriteFloat(const std::wstring& tag, float value) = 0;
  virtual bool WriteBool(const std::wstring& tag, bool value) = 0;
  virtual bool WriteByte(const std::wstring& tag, std::uint8_t value) = 0;
  virtual bool WriteUnsignedShort(const std::wstring& tag, std::uint16_t value) = 0;
  virtual bool WriteShort(const std::wstring& tag, std::int16_t value) = 0;
  virtual bool WriteUnsignedInt(const std::wstring& tag, std::uint32_t value) = 0;
  virtual bool WriteInt(const std::wstring& tag, std::int32_t value) = 0;
  ///@}

  /// Opens a section; what is written until its end belongs to it.
  virtual bool BeginSection(const std::wstring& tag) = 0;
  /// Closes the section opened last. False, and nothing changes, when none is open.
  virtual bool EndSection() = 0;
  /// Writes a whole XML document as one value. False when the text is not well-formed, and in XML
  /// when the levels would get too many.
  virtual bool WriteSubDocument(const std::wstring& tag, const std::wstring& xmlText) = 0;

 protected:
  /// Raises what `MLocale::Instance` does.
  IOutFilerTagged() : locale_(MLocale::Instance()) {}

  /// The locale through which numbers become text.
  [[nodiscard]] const MLocale& GetLocale() const noexcept { return locale_; }

 private:
  const MLocale& locale_;
};
