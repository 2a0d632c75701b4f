// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Registers the parsing of a well-formed text, called `name`, by the library and its peers.
void RegisterParsing(const std::string& name, std::wstring text);
