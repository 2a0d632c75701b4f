// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

/// The steps of loading and saving a document. Later ones may be added at the end.
enum class MXmlStep {
  kNone,     ///< none: nothing failed
  kOpen,     ///< opening the file; when saving, the one that is to be replaced
  kRead,     ///< reading it to its end
  kLength,   ///< keeping to the greatest length of a document
  kDecode,   ///< taking its bytes as UTF-8 without zero characters
  kParse,    ///< finding a well-formed document in the text
  kRoot,     ///< finding the root element of tagged values, which is another
  kEncode,   ///< bringing the text into UTF-8, which has no unpaired surrogates
  kCreate,   ///< creating a file in the folder of the one that is written
  kWrite,    ///< writing the new file to the disk
  kReplace,  ///< putting it in the place of the old one
};

/// Why loading or saving failed. A value; thread-compatible.
struct MXmlFailure {
  MXmlStep step = MXmlStep::kNone;  ///< the step that failed
  std::uint32_t winErrorCode =
      0;                ///< the system's code for it; 0 when no call of the system failed
  std::wstring detail;  ///< what was wrong with a text; empty for calls of the system

  /// The failure in words, for people: "Cannot open: Access denied", in the language of
  /// `SystemErrorText`, or the detail. Empty when nothing failed.
  [[nodiscard]] std::wstring GetText() const;
};
