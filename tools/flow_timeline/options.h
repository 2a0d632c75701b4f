// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace FlowTimeline {

/// What the command line asks for.
struct Options {
  std::filesystem::path dump;
  std::filesystem::path trace;  ///< empty: no trace is written
  std::filesystem::path page;   ///< empty: no page is written
  bool showsHelp = false;       ///< nothing else counts then
};

/// Reads the arguments that follow the program's name. When they name neither trace nor page, both
/// are written beside the dump. Returns nothing when they make no sense; `problem` is then set to
/// the reason, for people.
[[nodiscard]] std::optional<Options> ParseOptions(std::span<const wchar_t* const> arguments,
                                                  std::wstring& problem);

/// The text of --help.
[[nodiscard]] std::string_view HelpText() noexcept;

}  // namespace FlowTimeline
