// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "orvel/platform/unique_handle.h"

namespace Orvel::Detail {

/// What a key is opened for, by the system's masks.
enum class RegistryAccess : std::uint32_t { kRead = 0x20019, kReadWrite = 0x2001F };

/// Types of values, by the system's numbers. A stored value may have any other.
enum class RegistryType : std::uint32_t {
  kNone = 0,
  kString = 1,
  kExpandableString = 2,
  kDoubleWord = 4
};

/// How a query ended.
enum class RegistryQuery {
  kDone,      ///< the data is in the buffer
  kMoreData,  ///< the buffer is too small
  kFailed     ///< there is no such value, or it may not be read
};

/// The system's limits for names, in `wchar_t` units.
inline constexpr std::size_t kMaxRegistryKeyName = 255;
inline constexpr std::size_t kMaxRegistryValueName = 16383;
/// As many levels as one call creates.
inline constexpr std::size_t kMaxRegistryLevelsAtOnce = 32;

/// Return the predefined handles below which keys are opened. They are never closed.
[[nodiscard]] void* CurrentUserRegistryRoot() noexcept;
[[nodiscard]] void* LocalMachineRegistryRoot() noexcept;

/// Order of names as the registry compares them, without regard to case.
struct RegistryNameLess {
  [[nodiscard]] bool operator()(std::wstring_view left, std::wstring_view right) const noexcept;
};

/// Owner of one open registry key, empty when it could not be opened.
///
/// Thread-compatible. No operation raises; paths and names end at their first zero.
class RegistryKey {
 public:
  RegistryKey() noexcept = default;

  /// Opens the key at `path` below `parent`, a root or the handle of another owner.
  [[nodiscard]] static RegistryKey Open(void* parent, const wchar_t* path,
                                        RegistryAccess access) noexcept;
  /// The same, and creates every key of the path that is missing.
  [[nodiscard]] static RegistryKey Create(void* parent, const wchar_t* path,
                                          RegistryAccess access) noexcept;

  /// Returns the handle, still owned here; null when empty.
  [[nodiscard]] void* Get() const noexcept { return key_.Get(); }
  explicit operator bool() const noexcept { return static_cast<bool>(key_); }
  /// Closes the key now, if there is one, and becomes empty.
  void Close() noexcept { key_.Close(); }

  /// Copies a value's data into the buffer of `sizeInBytes` bytes at `data`. `type` and
  /// `sizeInBytes` become the value's own unless the query failed; bytes of the buffer behind the
  /// data keep what they held. An empty name is that of the key's default value.
  RegistryQuery QueryValue(const wchar_t* name, RegistryType& type, void* data,
                           std::uint32_t& sizeInBytes) const noexcept;
  /// Stores a value, in place of an earlier one. Returns false when the system refuses.
  [[nodiscard]] bool SetValue(const wchar_t* name, RegistryType type, const void* data,
                              std::uint32_t sizeInBytes) const noexcept;

 private:
  explicit RegistryKey(void* key) noexcept : key_(key) {}

  MRegistryKeyHandle key_;
};

}  // namespace Orvel::Detail
