// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

/// An attribute that is the same in many elements. Its text is built and checked at compile time,
/// so that MXmlDocument::AddElement() only has to copy it:
///
///     constexpr MXmlConstantAttribute kUnit(L"unit", L"mm");
///
/// Immutable: any thread may use it at any time.
class MXmlConstantAttribute {
 public:
  /// Does not compile unless the name is made of ASCII letters, digits, hyphens, underscores,
  /// full stops and colons, the value has no angle bracket, ampersand or quote, and both together
  /// have at most 60 units.
  consteval MXmlConstantAttribute(std::wstring_view name, std::wstring_view value)
      : valueStart_(name.size() + 3), length_(valueStart_ + value.size() + 1) {
    if (name.empty() || length_ > kMaxLength) throw "empty or too long";
    if (name.find_first_not_of(kNameCharacters) != name.npos) throw "not a name";
    if (value.find_first_of(L"<>&'\"") != value.npos) throw "not a value";
    std::size_t next = 0;
    const auto append = [&](std::wstring_view piece) {
      for (const wchar_t c : piece) text_[next++] = c;
    };
    append(L" ");
    append(name);
    append(L"=\"");
    append(value);
    append(L"\"");
  }

  /// Returns the attribute as it is written into a tag: ` unit="mm"`, with the leading blank.
  [[nodiscard]] constexpr std::wstring_view GetText() const noexcept { return {text_, length_}; }

  /// Returns the name.
  [[nodiscard]] constexpr std::wstring_view GetName() const noexcept {
    return GetText().substr(1, valueStart_ - 3);
  }
  /// Returns the value without its quotes.
  [[nodiscard]] constexpr std::wstring_view GetValue() const noexcept {
    return GetText().substr(valueStart_, length_ - valueStart_ - 1);
  }

 private:
  static constexpr std::size_t kMaxLength = 64;
  static constexpr std::wstring_view kNameCharacters =
      L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.:";

  wchar_t text_[kMaxLength] = {};
  std::size_t valueStart_;
  std::size_t length_;
};
