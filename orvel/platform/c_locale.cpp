// SPDX-License-Identifier: MIT
#include "orvel/platform/c_locale.h"

#include <locale.h>
#include <stdlib.h>

#include <cstddef>

namespace Orvel::Detail {

void* CreateCLocale(const char* name) noexcept { return ::_create_locale(LC_ALL, name); }

void FreeCLocale(void* locale) noexcept { ::_free_locale(static_cast<_locale_t>(locale)); }

std::wstring WidenText(const char* text) {
  std::size_t units = 0;
  if (::mbstowcs_s(&units, nullptr, 0, text, 0) != 0) return {};
  std::wstring wide(units, L'\0');  // the count includes the terminating zero
  if (::mbstowcs_s(&units, wide.data(), wide.size(), text, _TRUNCATE) != 0) return {};
  wide.resize(units - 1);
  return wide;
}

}  // namespace Orvel::Detail
