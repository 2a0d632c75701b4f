// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>

namespace Orvel::Detail {

template <class Type, class... Others>
concept OneOf = (std::same_as<Type, Others> || ...);

/// An integer type whose values are numbers: not `bool` and not the character types, but
/// `signed char` and `unsigned char`.
template <class Type>
concept WholeNumber =
    std::integral<Type> && !OneOf<Type, bool, char, wchar_t, char8_t, char16_t, char32_t>;

}  // namespace Orvel::Detail
