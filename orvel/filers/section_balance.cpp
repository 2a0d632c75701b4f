// SPDX-License-Identifier: MIT
#include "orvel/filers/section_balance.h"

#include "orvel/platform/misuse.h"

namespace Orvel::Detail {

void SectionBalance::CheckAtEnd(std::size_t openSections, const wchar_t* message) const noexcept {
  if (openSections == 0 || hasFailed_ || std::uncaught_exceptions() > exceptionsAtStart_) return;
  ReportMisuse(message);
}

}  // namespace Orvel::Detail
