// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>

namespace Orvel::Detail {

template <class Type, class... Others>
concept OneOf = (std::same_as<Type, Others> || ...);

template <class Type>
concept Character = OneOf<Type, char, wchar_t, char8_t, char16_t, char32_t>;

/// An integer type whose values are numbers: not `bool` and not the character types, but
/// `signed char` and `unsigned char`.
template <class Type>
concept WholeNumber = std::integral<Type> && !std::same_as<Type, bool> && !Character<Type>;

}  // namespace Orvel::Detail
