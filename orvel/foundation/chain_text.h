// SPDX-License-Identifier: MIT
#pragma once

#include <string>

class MException;

namespace Orvel::Detail {

/// Appends the errors of a chain's XML text to `chain`; nothing when the text is no such chain.
using ChainTextReader = void (*)(MException& chain, std::wstring text);

/// Sets what reads the chain texts of errors. Any thread.
void SetChainTextReader(ChainTextReader reader) noexcept;

}  // namespace Orvel::Detail
