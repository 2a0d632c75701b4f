// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "orvel/foundation/locale.h"

/// Writer of named values of ten scalar kinds, in nested sections. Implemented over XML and over
/// the registry.
///
/// Every operation returns true when it has written, and false, with nothing written, when it could
/// not. None raises because of its arguments. When memory runs out, `std::bad_alloc` is raised and
/// the writer is unchanged.
///
/// End every section before the filer is destroyed. A library built with assertions aborts with a
/// message if one was forgotten, unless an operation has failed since the outermost section was
/// opened, or the filer is destroyed by an exception.
///
/// Thread-unsafe.
class IOutFilerTagged {
 public:
  IOutFilerTagged(const IOutFilerTagged&) = delete;
  IOutFilerTagged& operator=(const IOutFilerTagged&) = delete;
  virtual ~IOutFilerTagged() = default;

  ///@{
  /// Writes a value of that kind under `tag` into the open section.
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

  /// Opens a section: everything written until it is closed goes into it.
  virtual bool BeginSection(const std::wstring& tag) = 0;
  /// Closes the innermost section. Returns false, and changes nothing, when none is open.
  virtual bool EndSection() = 0;
  /// Writes a whole XML document as one value. Returns false when the text is not well-formed; in
  /// an XML store also when there would be too many levels.
  virtual bool WriteSubDocument(const std::wstring& tag, const std::wstring& xmlText) = 0;

 protected:
  /// Raises what `MLocale::Instance` raises.
  IOutFilerTagged() : locale_(MLocale::Instance()) {}

  /// Returns the locale that numbers are written with.
  [[nodiscard]] const MLocale& GetLocale() const noexcept { return locale_; }

 private:
  const MLocale& locale_;
};
