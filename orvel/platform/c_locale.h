// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace Orvel::Detail {

/// Creates the C runtime's locale `name`, for all categories: its handle (`_locale_t`), or null
/// when the runtime does not know the name. To be freed with FreeCLocale().
[[nodiscard]] void* CreateCLocale(const char* name) noexcept;
/// Frees such a handle.
void FreeCLocale(void* locale) noexcept;

/// `text` as the C runtime's present locale reads it; empty when that is not possible. Raises
/// `std::bad_alloc`.
[[nodiscard]] std::wstring WidenText(const char* text);

}  // namespace Orvel::Detail
