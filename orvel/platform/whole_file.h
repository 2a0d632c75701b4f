// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Orvel::Detail {

/// The steps of reading or replacing a whole file.
enum class FileStep {
  kNone,     ///< nothing failed
  kOpen,     ///< opening the file; when replacing, the one that is there
  kRead,     ///< reading it to its end
  kLength,   ///< keeping to the greatest length
  kCreate,   ///< creating a file in the same folder
  kWrite,    ///< writing the new file to the disk
  kReplace,  ///< putting it in the place of the old one
};

/// The step that failed, and the system's code for it. The code is 0 when no call failed.
struct FileFailure {
  FileStep step = FileStep::kNone;
  std::uint32_t winErrorCode = 0;
};

/// Reads a whole file, unless it has more than `maxBytes` bytes. On failure `bytes` is untouched.
[[nodiscard]] FileFailure ReadWholeFile(const std::wstring& path, std::size_t maxBytes,
                                        std::string& bytes);

/// Writes the bytes to a new file in the same folder, which takes the place of `path` in one step
/// when all of it is on disk. An existing file is found through links and hands on its access
/// rights, its attributes and its time of creation; one that may not be written is not replaced.
/// While another program has it open, replacing is tried again for about a second. After a failure
/// the old file, if any, is untouched and no other is left behind.
[[nodiscard]] FileFailure ReplaceWholeFile(const std::wstring& path, std::string_view bytes);

}  // namespace Orvel::Detail
