// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <exception>

namespace Orvel::Detail {

/// Detects that a tagged filer is destroyed with a section still open, and reports it as misuse.
///
/// It is not misuse when the filer is destroyed by an exception, or when an operation has failed
/// since the outermost section was opened: then the caller is giving up.
///
/// Thread-unsafe.
class SectionBalance {
 public:
  /// Call it when the outermost section is opened.
  void Start() noexcept { hasFailed_ = false; }
  /// Returns `succeeded`, the result of an operation, and remembers a failure.
  bool Note(bool succeeded) noexcept {
    hasFailed_ = hasFailed_ || !succeeded;
    return succeeded;
  }
  /// Call it in the filer's destructor: reports `message` when it is misuse that sections are open.
  void CheckAtEnd(std::size_t openSections, const wchar_t* message) const noexcept;

 private:
  const int exceptionsAtStart_ = std::uncaught_exceptions();
  bool hasFailed_ = false;
};

}  // namespace Orvel::Detail
