// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

namespace Orvel::Detail {

/// True when an attribute can have that name.
[[nodiscard]] bool IsXmlAttributeName(std::wstring_view name) noexcept;

/// Iterates over the attributes of a tag: what is between its name and its end. Accepts malformed
/// attributes. Borrows the text, which must not change in the meantime.
///
/// Thread-unsafe.
class XmlAttributeScanner {
 public:
  explicit XmlAttributeScanner(std::wstring_view attributes) noexcept
      : begin_(attributes.data()), next_(begin_), end_(begin_ + attributes.size()) {}

  /// Moves to the next attribute. Returns false after the last one.
  bool Next() noexcept;

  /// True when an unterminated string was found, which instructions may contain.
  [[nodiscard]] bool HasOpenString() const noexcept { return hasOpenString_; }
  [[nodiscard]] std::wstring_view GetName() const noexcept { return name_; }
  /// Returns the text between the quotes, still escaped; empty when there is no value.
  [[nodiscard]] std::wstring_view GetRawValue() const noexcept { return value_; }
  /// Returns the offset, from the start of the attributes, of what follows the name: `=`, the value
  /// and its quotes.
  [[nodiscard]] std::size_t GetAssignmentStart() const noexcept { return assignmentStart_; }
  /// Returns the offset of the end of the attribute.
  [[nodiscard]] std::size_t GetEnd() const noexcept {
    return static_cast<std::size_t>(next_ - begin_);
  }

 private:
  const wchar_t* SkipString(const wchar_t* quote) noexcept;

  const wchar_t* begin_;
  const wchar_t* next_;
  const wchar_t* end_;
  std::wstring_view name_;
  std::wstring_view value_;
  std::size_t assignmentStart_ = 0;
  bool hasOpenString_ = false;
};

}  // namespace Orvel::Detail
