// SPDX-License-Identifier: MIT
#include "tests/support/registry_seam.h"

#include <algorithm>
#include <cstring>

#include "orvel/platform/windows_api.h"

// The slots of this program's import table, by the names that linkers give them.
extern "C" {
extern void* __imp_RegOpenKeyExW;
extern void* __imp_RegCreateKeyExW;
extern void* __imp_RegCloseKey;
extern void* __imp_RegQueryValueExW;
extern void* __imp_RegSetValueExW;
}

namespace Orvel::Testing {
namespace {

using Call = RegistrySeam::Call;

RegistrySeam* current = nullptr;

decltype(&::RegOpenKeyExW) openKey;
decltype(&::RegCreateKeyExW) createKey;
decltype(&::RegCloseKey) closeKey;
decltype(&::RegQueryValueExW) queryValue;
decltype(&::RegSetValueExW) setValue;

LSTATUS Record(Call::Kind kind, const wchar_t* name, REGSAM access,
               const std::function<LSTATUS()>& proceed) {
  if (current == nullptr) return proceed();
  const Call call{kind, name, access};
  const bool refused = current->refuses && current->refuses(call);
  const LSTATUS status = refused ? LSTATUS{ERROR_ACCESS_DENIED} : proceed();
  if (access != 0 && status == ERROR_SUCCESS) ++current->opened;
  current->calls.push_back(call);
  return status;
}

LSTATUS WINAPI OpenKey(HKEY parent, const wchar_t* path, DWORD options, REGSAM access, HKEY* key) {
  return Record(Call::Kind::kOpen, path, access,
                [&] { return openKey(parent, path, options, access, key); });
}

LSTATUS WINAPI CreateKey(HKEY parent, const wchar_t* path, DWORD reserved, wchar_t* className,
                         DWORD options, REGSAM access, SECURITY_ATTRIBUTES* security, HKEY* key,
                         DWORD* disposition) {
  return Record(Call::Kind::kCreate, path, access, [&] {
    return createKey(parent, path, reserved, className, options, access, security, key,
                     disposition);
  });
}

LSTATUS WINAPI CloseKey(HKEY key) {
  if (current != nullptr) ++current->closed;
  return closeKey(key);
}

LSTATUS WINAPI QueryValue(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                          DWORD* sizeInBytes) {
  return Record(Call::Kind::kQuery, name, 0, [&]() -> LSTATUS {
    if (current == nullptr || !current->finds) {
      return queryValue(key, name, reserved, type, data, sizeInBytes);
    }
    const RawRegistryValue value = current->finds();
    const DWORD capacity = *sizeInBytes;
    *type = value.type;
    *sizeInBytes = static_cast<DWORD>(value.bytes.size());
    if (value.bytes.size() > capacity) return current->statusOfTooLittleRoom;
    std::copy(value.bytes.begin(), value.bytes.end(), data);
    // A scalar's buffer keeps what was in it, as with the system; text behind the data would show.
    if (capacity > sizeof(std::uint32_t)) {
      std::memset(data + value.bytes.size(), 'x', capacity - value.bytes.size());
    }
    return ERROR_SUCCESS;
  });
}

LSTATUS WINAPI SetValue(HKEY key, const wchar_t* name, DWORD reserved, DWORD type, const BYTE* data,
                        DWORD sizeInBytes) {
  return Record(Call::Kind::kSet, name, 0,
                [&] { return setValue(key, name, reserved, type, data, sizeInBytes); });
}

template <class Function>
void Install(void*& imported, Function* replacement, Function*& original) {
  DWORD protection = 0;
  ::VirtualProtect(&imported, sizeof imported, PAGE_READWRITE, &protection);
  original = reinterpret_cast<Function*>(imported);
  imported = reinterpret_cast<void*>(replacement);
  ::VirtualProtect(&imported, sizeof imported, protection, &protection);
}

bool InstallAll() {
  Install(__imp_RegOpenKeyExW, &OpenKey, openKey);
  Install(__imp_RegCreateKeyExW, &CreateKey, createKey);
  Install(__imp_RegCloseKey, &CloseKey, closeKey);
  Install(__imp_RegQueryValueExW, &QueryValue, queryValue);
  Install(__imp_RegSetValueExW, &SetValue, setValue);
  return true;
}

}  // namespace

RegistrySeam::RegistrySeam() {
  [[maybe_unused]] static const bool isInstalled = InstallAll();
  current = this;
}

RegistrySeam::~RegistrySeam() { current = nullptr; }

}  // namespace Orvel::Testing
