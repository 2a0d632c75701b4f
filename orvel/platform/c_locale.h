// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace Orvel::Detail {

/// Creates the C runtime's locale `name`, for all categories. Returns its handle (`_locale_t`), or
/// null when the runtime does not know the name. Free it with FreeCLocale().
[[nodiscard]] void* CreateCLocale(const char* name) noexcept;
/// Frees such a handle.
void FreeCLocale(void* locale) noexcept;

/// Returns `text` converted by the C runtime's present locale; empty when it cannot be converted.
/// Raises `std::bad_alloc`.
[[nodiscard]] std::wstring WidenText(const char* text);

}  // namespace Orvel::Detail
