// SPDX-License-Identifier: MIT
#pragma once

#include <string>

class MException;

namespace Orvel::Detail {

/// Appends the errors of a chain's XML text to `chain`; does nothing when the text is not a chain.
using ChainTextReader = void (*)(MException& chain, std::wstring text);

/// Sets the function that reads the chain texts of errors. Any thread.
void SetChainTextReader(ChainTextReader reader) noexcept;

}  // namespace Orvel::Detail
