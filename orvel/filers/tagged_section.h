// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

class IInFilerTagged;
class IOutFilerTagged;

/// A section of a tagged writer or reader that is open while this object lives:
///
///     const MTaggedSection section(out, L"Axis");
///     if (!section) return false;
///
/// Sections of one filer are to be closed in the reverse order, as objects of nested scopes are.
/// The filer is borrowed and must outlive the object. Raises only what the filer does, on
/// construction: `std::bad_alloc`; then no section is open. Thread-unsafe, like the filer.
class [[nodiscard]] MTaggedSection {
 public:
  /// Opens a section in what is written. False afterwards when the filer refused: what is written
  /// then comes into the section around it.
  MTaggedSection(IOutFilerTagged& out, std::wstring_view tag);
  /// Opens the first section with the tag, as `IInFilerTagged::BeginSection` does: in the registry
  /// also one that is missing.
  MTaggedSection(IInFilerTagged& in, std::wstring_view tag);
  /// Opens the next section with the tag, as `IInFilerTagged::BeginNextSection` does: the way to
  /// walk sections that repeat, and to find out whether a section is there.
  ///
  ///     while (const auto item = MTaggedSection::Next(in, L"Item")) { ... }
  [[nodiscard]] static MTaggedSection Next(IInFilerTagged& in, std::wstring_view tag);

  MTaggedSection(const MTaggedSection&) = delete;
  MTaggedSection& operator=(const MTaggedSection&) = delete;
  /// Closes the section if it is open.
  ~MTaggedSection() { Close(); }

  /// True while the section is open.
  explicit operator bool() const noexcept { return in_ != nullptr || out_ != nullptr; }
  /// Closes the section now and returns whether the filer did. False when it is not open.
  bool Close();

 private:
  explicit MTaggedSection(IInFilerTagged* openedIn) noexcept : in_(openedIn) {}

  IInFilerTagged* in_ = nullptr;  // of the two at most one, and none when the section is not open
  IOutFilerTagged* out_ = nullptr;
};
