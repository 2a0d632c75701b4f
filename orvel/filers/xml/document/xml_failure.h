// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

/// The steps of loading and saving a document. Later ones may be added at the end.
enum class MXmlStep {
  kNone,     ///< none: nothing failed
  kOpen,     ///< opening the file; when saving, the one that is to be replaced
  kRead,     ///< reading it to its end
  kLength,   ///< checking its length: it is too long for a document
  kDecode,   ///< converting its bytes from UTF-8: they are malformed, or hold a zero character
  kParse,    ///< finding a well-formed document in the text
  kRoot,     ///< finding the expected root element: a reader of tagged values found another one
  kEncode,   ///< converting the text to UTF-8: it has an unpaired surrogate
  kCreate,   ///< creating a file in the folder of the one that is written
  kWrite,    ///< writing the new file to the disk
  kReplace,  ///< replacing the old file by the new one
};

/// Why loading or saving failed. A value; thread-compatible.
struct MXmlFailure {
  MXmlStep step = MXmlStep::kNone;  ///< the step that failed
  std::uint32_t winErrorCode = 0;   ///< the system's code; 0 when no call of the system failed
  std::wstring detail;              ///< what was wrong with a text; empty for calls of the system

  /// Returns a message for users: "Cannot open: Access denied", in the language of
  /// `SystemErrorText`, or the detail. Empty when nothing failed.
  [[nodiscard]] std::wstring GetText() const;
};
