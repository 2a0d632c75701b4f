// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

/// Registers the parsing of a well-formed text, called `name`, by the library and its peers. The
/// text is made when it is needed first.
void RegisterParsing(const std::string& name, std::function<std::wstring()> makeText);
