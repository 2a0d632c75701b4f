// SPDX-License-Identifier: MIT
#include "orvel/platform/registry_key.h"

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

static_assert(static_cast<REGSAM>(RegistryAccess::kRead) == KEY_READ);
static_assert(static_cast<REGSAM>(RegistryAccess::kReadWrite) == (KEY_READ | KEY_WRITE));
static_assert(static_cast<DWORD>(RegistryType::kNone) == REG_NONE);
static_assert(static_cast<DWORD>(RegistryType::kString) == REG_SZ);
static_assert(static_cast<DWORD>(RegistryType::kExpandableString) == REG_EXPAND_SZ);
static_assert(static_cast<DWORD>(RegistryType::kDoubleWord) == REG_DWORD);

void* CurrentUserRegistryRoot() noexcept { return HKEY_CURRENT_USER; }

void* LocalMachineRegistryRoot() noexcept { return HKEY_LOCAL_MACHINE; }

bool RegistryNameLess::operator()(std::wstring_view left, std::wstring_view right) const noexcept {
  return ::CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE) == CSTR_LESS_THAN;
}

RegistryKey RegistryKey::Open(void* parent, const wchar_t* path, RegistryAccess access) noexcept {
  HKEY key = nullptr;
  const LSTATUS status =
      ::RegOpenKeyExW(static_cast<HKEY>(parent), path, 0, static_cast<REGSAM>(access), &key);
  return RegistryKey(status == ERROR_SUCCESS ? key : nullptr);
}

RegistryKey RegistryKey::Create(void* parent, const wchar_t* path, RegistryAccess access) noexcept {
  HKEY key = nullptr;
  // Without security attributes a new key inherits what its parent passes on.
  const LSTATUS status =
      ::RegCreateKeyExW(static_cast<HKEY>(parent), path, 0, nullptr, REG_OPTION_NON_VOLATILE,
                        static_cast<REGSAM>(access), nullptr, &key, nullptr);
  return RegistryKey(status == ERROR_SUCCESS ? key : nullptr);
}

RegistryQuery RegistryKey::QueryValue(const wchar_t* name, RegistryType& type, void* data,
                                      std::uint32_t& sizeInBytes) const noexcept {
  DWORD foundType = REG_NONE;
  DWORD size = sizeInBytes;
  const LSTATUS status = ::RegQueryValueExW(static_cast<HKEY>(Get()), name, nullptr, &foundType,
                                            static_cast<BYTE*>(data), &size);
  if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA) return RegistryQuery::kFailed;
  // Data that does not fit is never read from the buffer, whatever the status is.
  const bool fits = status == ERROR_SUCCESS && size <= sizeInBytes;
  type = static_cast<RegistryType>(foundType);
  sizeInBytes = size;
  return fits ? RegistryQuery::kDone : RegistryQuery::kMoreData;
}

bool RegistryKey::SetValue(const wchar_t* name, RegistryType type, const void* data,
                           std::uint32_t sizeInBytes) const noexcept {
  return ::RegSetValueExW(static_cast<HKEY>(Get()), name, 0, static_cast<DWORD>(type),
                          static_cast<const BYTE*>(data), sizeInBytes) == ERROR_SUCCESS;
}

}  // namespace Orvel::Detail
