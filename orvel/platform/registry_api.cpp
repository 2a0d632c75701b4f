// SPDX-License-Identifier: MIT
#include "orvel/platform/registry_api.h"

#include <atomic>

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {
namespace {

static_assert(kRegistrySuccess == ERROR_SUCCESS && kRegistryMoreData == ERROR_MORE_DATA);

HKEY Native(void* key) noexcept { return static_cast<HKEY>(key); }

std::uint32_t OpenKey(void* parent, const wchar_t* path, std::uint32_t access, void** key) {
  HKEY opened = nullptr;
  const LSTATUS status = ::RegOpenKeyExW(Native(parent), path, 0, access, &opened);
  *key = opened;
  return static_cast<std::uint32_t>(status);
}

std::uint32_t CreateKey(void* parent, const wchar_t* path, std::uint32_t access, void** key) {
  HKEY opened = nullptr;
  // Without security attributes a new key inherits what its parent passes on.
  const LSTATUS status = ::RegCreateKeyExW(
      Native(parent), path, 0, nullptr, REG_OPTION_NON_VOLATILE, access, nullptr, &opened, nullptr);
  *key = opened;
  return static_cast<std::uint32_t>(status);
}

std::uint32_t CloseKey(void* key) { return static_cast<std::uint32_t>(::RegCloseKey(Native(key))); }

std::uint32_t QueryValue(void* key, const wchar_t* name, std::uint32_t* type, void* data,
                         std::uint32_t* sizeInBytes) {
  DWORD nativeType = REG_NONE;
  DWORD nativeSize = *sizeInBytes;
  const LSTATUS status = ::RegQueryValueExW(Native(key), name, nullptr, &nativeType,
                                            static_cast<BYTE*>(data), &nativeSize);
  *type = nativeType;
  *sizeInBytes = nativeSize;
  return static_cast<std::uint32_t>(status);
}

std::uint32_t SetValue(void* key, const wchar_t* name, std::uint32_t type, const void* data,
                       std::uint32_t sizeInBytes) {
  return static_cast<std::uint32_t>(
      ::RegSetValueExW(Native(key), name, 0, type, static_cast<const BYTE*>(data), sizeInBytes));
}

constexpr RegistryApi kSystemApi = {OpenKey, CreateKey, CloseKey, QueryValue, SetValue};

// Release in ReplaceRegistryApi, acquire in CurrentRegistryApi.
constinit std::atomic<const RegistryApi*> currentApi{&kSystemApi};

}  // namespace

const RegistryApi& SystemRegistryApi() noexcept { return kSystemApi; }

const RegistryApi& CurrentRegistryApi() noexcept {
  return *currentApi.load(std::memory_order_acquire);
}

void ReplaceRegistryApi(const RegistryApi* api) noexcept {
  currentApi.store(api != nullptr ? api : &kSystemApi, std::memory_order_release);
}

}  // namespace Orvel::Detail
