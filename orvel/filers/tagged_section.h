// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

class IInFilerTagged;
class IOutFilerTagged;

/// A section of a tagged writer or reader that stays open for the lifetime of this object:
///
///     const MTaggedSection section(out, L"Axis");
///     if (!section) return false;
///
/// Close the sections of one filer in reverse order, as objects of nested scopes do by themselves.
/// The filer is borrowed and must outlive the object. Construction raises what the filer raises,
/// `std::bad_alloc`; then no section is open.
///
/// Thread-unsafe, like the filer.
class [[nodiscard]] MTaggedSection {
 public:
  /// Opens a section of a writer. If the writer refuses, this object converts to false, and what is
  /// written goes into the section around it.
  MTaggedSection(IOutFilerTagged& out, std::wstring_view tag);
  /// Opens the first section with the tag, as `IInFilerTagged::BeginSection` does. A registry
  /// reader opens missing sections too.
  MTaggedSection(IInFilerTagged& in, std::wstring_view tag);
  /// Opens the next section with the tag, as `IInFilerTagged::BeginNextSection` does. Use it to
  /// loop over sections that share a tag, and to find out whether a section exists.
  ///
  ///     while (const auto item = MTaggedSection::Next(in, L"Item")) { ... }
  [[nodiscard]] static MTaggedSection Next(IInFilerTagged& in, std::wstring_view tag);

  MTaggedSection(const MTaggedSection&) = delete;
  MTaggedSection& operator=(const MTaggedSection&) = delete;
  /// Closes the section if it is open.
  ~MTaggedSection() { Close(); }

  /// Returns true while the section is open.
  explicit operator bool() const noexcept { return in_ != nullptr || out_ != nullptr; }
  /// Closes the section now. Returns what the filer's `EndSection` returns; false when the section
  /// is not open.
  bool Close();

 private:
  explicit MTaggedSection(IInFilerTagged* openedIn) noexcept : in_(openedIn) {}

  IInFilerTagged* in_ = nullptr;  // of the two at most one, and none when the section is not open
  IOutFilerTagged* out_ = nullptr;
};
