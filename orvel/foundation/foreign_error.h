// SPDX-License-Identifier: MIT
#pragma once

#include <exception>

#include "orvel/foundation/error.h"
#include "orvel/foundation/source_context.h"

namespace Orvel::Detail {

/// The error "StandardException" for an exception that is not the framework's, with its text as
/// "errorMessage". Where the text is no UTF-8, each of its bytes becomes a character.
[[nodiscard]] MError ForeignError(const MRaiseSite& site, const std::exception& exception);

}  // namespace Orvel::Detail
