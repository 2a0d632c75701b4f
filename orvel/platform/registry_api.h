// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace Orvel::Detail {

/// The registry calls that the library makes, as one table, so that a test can put itself between:
/// to count keys, to let a call fail, to return data that the registry at hand would repair.
///
/// Each call returns the system's code, `kRegistrySuccess` when it succeeded. Keys are the system's
/// handles; the predefined roots are not closed.
struct RegistryApi {
  std::uint32_t (*openKey)(void* parent, const wchar_t* path, std::uint32_t access, void** key);
  std::uint32_t (*createKey)(void* parent, const wchar_t* path, std::uint32_t access, void** key);
  std::uint32_t (*closeKey)(void* key);
  /// `sizeInBytes` is the size of `data`, then the size of the value's data, also when that is
  /// larger and the call returns `kRegistryMoreData`.
  std::uint32_t (*queryValue)(void* key, const wchar_t* name, std::uint32_t* type, void* data,
                              std::uint32_t* sizeInBytes);
  std::uint32_t (*setValue)(void* key, const wchar_t* name, std::uint32_t type, const void* data,
                            std::uint32_t sizeInBytes);
};

inline constexpr std::uint32_t kRegistrySuccess = 0;
inline constexpr std::uint32_t kRegistryMoreData = 234;

/// The system's own calls.
[[nodiscard]] const RegistryApi& SystemRegistryApi() noexcept;
/// The table in use: the system's unless a test replaced it.
[[nodiscard]] const RegistryApi& CurrentRegistryApi() noexcept;
/// Puts `api`, which is borrowed, into use for the whole process; null puts the system's back. Any
/// thread, but no key may be open across the change.
void ReplaceRegistryApi(const RegistryApi* api) noexcept;

}  // namespace Orvel::Detail
