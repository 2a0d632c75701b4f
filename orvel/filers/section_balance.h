// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <exception>

namespace Orvel::Detail {

/// Finds out, when a tagged filer is destroyed, whether its user forgot to end a section, and
/// reports that as misuse.
///
/// It is none when an exception ends the filer, or when an operation failed since the outermost
/// section was opened: then the user is on the way out. Thread-unsafe.
class SectionBalance {
 public:
  /// To be called when the outermost section is opened.
  void Start() noexcept { hasFailed_ = false; }
  /// Takes note of what an operation returns, and returns it.
  bool Note(bool succeeded) noexcept {
    hasFailed_ = hasFailed_ || !succeeded;
    return succeeded;
  }
  /// To be called by the destructor of the filer, with a message in case sections are open.
  void CheckAtEnd(std::size_t openSections, const wchar_t* message) const noexcept;

 private:
  const int exceptionsAtStart_ = std::uncaught_exceptions();
  bool hasFailed_ = false;
};

}  // namespace Orvel::Detail
