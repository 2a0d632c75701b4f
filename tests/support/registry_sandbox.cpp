// SPDX-License-Identifier: MIT
#include "tests/support/registry_sandbox.h"

#include <algorithm>
#include <cstring>

#include "orvel/platform/registry_key.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/import_slot.h"

// The slots of this program's import table, by the names that linkers give them.
extern "C" {
extern void* __imp_RegOpenKeyExW;
extern void* __imp_RegCreateKeyExW;
extern void* __imp_RegQueryValueExW;
extern void* __imp_RegSetValueExW;
}

namespace Orvel::Testing {
namespace {

std::wstring NextApplicationKey() {
  static int made = 0;
  return L"orvel-test-" + std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(++made);
}

RegistrySeam* current = nullptr;

decltype(&::RegOpenKeyExW) openKey;
decltype(&::RegCreateKeyExW) createKey;
decltype(&::RegQueryValueExW) queryValue;
decltype(&::RegSetValueExW) setValue;

LSTATUS Record(const std::wstring& call, const std::function<LSTATUS()>& proceed) {
  if (current == nullptr) return proceed();
  current->calls.push_back(call);
  return current->refuses && current->refuses(call) ? LSTATUS{ERROR_ACCESS_DENIED} : proceed();
}

std::wstring Access(REGSAM access) {
  return access == KEY_READ ? L"r " : access == (KEY_READ | KEY_WRITE) ? L"rw " : L"other ";
}

LSTATUS WINAPI OpenKey(HKEY parent, const wchar_t* path, DWORD options, REGSAM access, HKEY* key) {
  return Record(L"open " + Access(access) + path,
                [&] { return openKey(parent, path, options, access, key); });
}

LSTATUS WINAPI CreateKey(HKEY parent, const wchar_t* path, DWORD reserved, wchar_t* className,
                         DWORD options, REGSAM access, SECURITY_ATTRIBUTES* security, HKEY* key,
                         DWORD* disposition) {
  return Record(L"create " + Access(access) + path, [&] {
    return createKey(parent, path, reserved, className, options, access, security, key,
                     disposition);
  });
}

LSTATUS WINAPI QueryValue(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                          DWORD* sizeInBytes) {
  return Record(std::wstring(L"query ") + name, [&]() -> LSTATUS {
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
  return Record(std::wstring(L"set ") + name,
                [&] { return setValue(key, name, reserved, type, data, sizeInBytes); });
}

bool InstallAll() {
  ReplaceImport(__imp_RegOpenKeyExW, &OpenKey, openKey);
  ReplaceImport(__imp_RegCreateKeyExW, &CreateKey, createKey);
  ReplaceImport(__imp_RegQueryValueExW, &QueryValue, queryValue);
  ReplaceImport(__imp_RegSetValueExW, &SetValue, setValue);
  return true;
}

}  // namespace

RegistrySandbox::RegistrySandbox(MRegistryRoot root)
    : root_(root == MRegistryRoot::kCurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE),
      applicationKey_(NextApplicationKey()),
      path_((root == MRegistryRoot::kCurrentUser ? L"Software\\Orvel\\"
                                                 : L"Software\\Wow6432Node\\Orvel\\") +
            applicationKey_) {
  ::RegDeleteTreeW(static_cast<HKEY>(root_), path_.c_str());
}

RegistrySandbox::~RegistrySandbox() { ::RegDeleteTreeW(static_cast<HKEY>(root_), path_.c_str()); }

std::wstring RegistrySandbox::FullPath(const std::wstring& path) const {
  return path.empty() ? path_ : path_ + L'\\' + path;
}

bool RegistrySandbox::HasSection(const std::wstring& path) const {
  return static_cast<bool>(
      Detail::RegistryKey::Open(root_, FullPath(path).c_str(), Detail::RegistryAccess::kRead));
}

std::optional<RawRegistryValue> RegistrySandbox::Get(const std::wstring& path,
                                                     const std::wstring& name) const {
  const auto key =
      Detail::RegistryKey::Open(root_, FullPath(path).c_str(), Detail::RegistryAccess::kRead);
  RawRegistryValue value{0, std::vector<std::uint8_t>(0x10000)};
  auto size = static_cast<DWORD>(value.bytes.size());
  DWORD type = 0;
  if (::RegQueryValueExW(static_cast<HKEY>(key.Get()), name.c_str(), nullptr, &type,
                         value.bytes.data(), &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  value.type = type;
  value.bytes.resize(size);
  return value;
}

bool RegistrySandbox::Set(const std::wstring& path, const std::wstring& name,
                          const RawRegistryValue& value) const {
  return ::RegSetKeyValueW(static_cast<HKEY>(root_), FullPath(path).c_str(), name.c_str(),
                           value.type, value.bytes.data(),
                           static_cast<DWORD>(value.bytes.size())) == ERROR_SUCCESS;
}

RegistrySeam::RegistrySeam() {
  [[maybe_unused]] static const bool isInstalled = InstallAll();
  current = this;
}

RegistrySeam::~RegistrySeam() { current = nullptr; }

}  // namespace Orvel::Testing
