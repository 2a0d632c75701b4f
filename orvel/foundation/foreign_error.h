// SPDX-License-Identifier: MIT
#pragma once

#include <exception>

#include "orvel/foundation/error.h"
#include "orvel/foundation/source_context.h"

namespace Orvel::Detail {

/// Returns the error "StandardException" for an exception that is not the framework's, with its
/// text as "errorMessage". If the text is not UTF-8, each of its bytes becomes a character.
[[nodiscard]] MError ForeignError(const MRaiseSite& site, const std::exception& exception);

}  // namespace Orvel::Detail
