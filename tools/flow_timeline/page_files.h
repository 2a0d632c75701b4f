// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace FlowTimeline {

/// The sources of the page, from the folder page/. The build writes their definitions.
extern const std::string_view kPageHtml;
extern const std::string_view kPageStyle;
extern const std::string_view kPageScript;
/// Their hashes for the page's security policy: "sha256-…".
extern const std::string_view kPageStyleHash;
extern const std::string_view kPageScriptHash;

}  // namespace FlowTimeline
