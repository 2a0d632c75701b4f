// SPDX-License-Identifier: MIT
#include "orvel/platform/registry_key.h"

#include "orvel/platform/registry_api.h"
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
  void* key = nullptr;
  const std::uint32_t status =
      CurrentRegistryApi().openKey(parent, path, static_cast<std::uint32_t>(access), &key);
  return RegistryKey(status == kRegistrySuccess ? key : nullptr);
}

RegistryKey RegistryKey::Create(void* parent, const wchar_t* path, RegistryAccess access) noexcept {
  void* key = nullptr;
  const std::uint32_t status =
      CurrentRegistryApi().createKey(parent, path, static_cast<std::uint32_t>(access), &key);
  return RegistryKey(status == kRegistrySuccess ? key : nullptr);
}

RegistryQuery RegistryKey::QueryValue(const wchar_t* name, RegistryType& type, void* data,
                                      std::uint32_t& sizeInBytes) const noexcept {
  std::uint32_t foundType = 0;
  std::uint32_t size = sizeInBytes;
  const std::uint32_t status =
      CurrentRegistryApi().queryValue(Get(), name, &foundType, data, &size);
  if (status != kRegistrySuccess && status != kRegistryMoreData) return RegistryQuery::kFailed;
  // A size beyond the buffer is never taken for data in it, whatever the status says.
  const bool fits = status == kRegistrySuccess && size <= sizeInBytes;
  type = static_cast<RegistryType>(foundType);
  sizeInBytes = size;
  return fits ? RegistryQuery::kDone : RegistryQuery::kMoreData;
}

bool RegistryKey::SetValue(const wchar_t* name, RegistryType type, const void* data,
                           std::uint32_t sizeInBytes) const noexcept {
  return CurrentRegistryApi().setValue(Get(), name, static_cast<std::uint32_t>(type), data,
                                       sizeInBytes) == kRegistrySuccess;
}

}  // namespace Orvel::Detail
