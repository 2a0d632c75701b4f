// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

namespace Orvel::Detail {

/// True when an attribute can have that name.
[[nodiscard]] bool IsXmlAttributeName(std::wstring_view name) noexcept;

/// The attributes in the part of a tag behind its name and before its end, one after the other.
/// Tolerates whatever stands there. Holds a view: the text must not change meanwhile.
class XmlAttributeScanner {
 public:
  explicit XmlAttributeScanner(std::wstring_view attributes) noexcept
      : begin_(attributes.data()), next_(begin_), end_(begin_ + attributes.size()) {}

  /// Moves to the next attribute; false behind the last one.
  bool Next() noexcept;

  /// True when a string that has no end was met, as an instruction may hold one.
  [[nodiscard]] bool HasOpenString() const noexcept { return hasOpenString_; }
  [[nodiscard]] std::wstring_view GetName() const noexcept { return name_; }
  /// The text between the quotes, still escaped; empty when there is none.
  [[nodiscard]] std::wstring_view GetRawValue() const noexcept { return value_; }
  /// Offset from the start of the attributes of what stands behind the name: `=`, the value and
  /// its quotes.
  [[nodiscard]] std::size_t GetAssignmentStart() const noexcept { return assignmentStart_; }
  /// Offset of the end of the attribute.
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
