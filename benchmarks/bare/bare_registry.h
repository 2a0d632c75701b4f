// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

/// Values of one section, written and read by hand with the system's registry calls: the floor that
/// the registry filers are measured against. For each value it opens the keys that they open, one
/// after the other and with the same rights, and closes them again. Nothing is checked, and a text
/// that does not fit into the buffer is not read.
class BareRegistry {
 public:
  /// The names are borrowed.
  BareRegistry(const wchar_t* applicationKey, const wchar_t* section)
      : applicationKey_(applicationKey), section_(section) {}

  void WriteNumber(const wchar_t* name, std::uint32_t value) const;
  void WriteText(const wchar_t* name, const std::wstring& value) const;
  bool ReadNumber(const wchar_t* name, std::uint32_t& value) const;
  bool ReadText(const wchar_t* name, std::wstring& value) const;
  /// Removes the application key with all that is in it.
  void Remove() const;

 private:
  const wchar_t* applicationKey_;
  const wchar_t* section_;
};
