// SPDX-License-Identifier: MIT
#include "tests/support/registry_sandbox.h"

#include <iterator>
#include <random>
#include <utility>

#include "orvel/platform/windows_api.h"

namespace Orvel::Testing {
namespace {

constexpr const wchar_t* kPrefix = L"orvel-test-";

std::uint64_t Ticks(const FILETIME& time) {
  return (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

void RemoveStaleKeys(HKEY root, const std::wstring& frameworkPath) {
  constexpr std::uint64_t kTicksPerHour = 36'000'000'000;
  HKEY framework = nullptr;
  if (::RegOpenKeyExW(root, frameworkPath.c_str(), 0, KEY_READ, &framework) != ERROR_SUCCESS) {
    return;
  }
  FILETIME now{};
  ::GetSystemTimeAsFileTime(&now);
  std::vector<std::wstring> stale;
  for (DWORD index = 0;; ++index) {
    wchar_t name[256];
    auto length = static_cast<DWORD>(std::size(name));
    FILETIME written{};
    if (::RegEnumKeyExW(framework, index, name, &length, nullptr, nullptr, nullptr, &written) !=
        ERROR_SUCCESS) {
      break;
    }
    const std::wstring found(name, length);
    if (found.starts_with(kPrefix) && Ticks(written) + kTicksPerHour < Ticks(now)) {
      stale.push_back(found);
    }
  }
  ::RegCloseKey(framework);
  for (const std::wstring& key : stale) {
    ::RegDeleteTreeW(root, (frameworkPath + L"\\" + key).c_str());
  }
}

}  // namespace

RegistrySandbox::RegistrySandbox(MRegistryRoot root)
    : root_(root == MRegistryRoot::kCurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE),
      frameworkPath_(root == MRegistryRoot::kCurrentUser ? L"Software\\Orvel"
                                                         : L"Software\\Wow6432Node\\Orvel") {
  std::random_device random;
  applicationKey_ = kPrefix + std::to_wstring(::GetCurrentProcessId()) + L"-" +
                    std::to_wstring(random()) + std::to_wstring(random());
  RemoveStaleKeys(static_cast<HKEY>(root_), frameworkPath_);
}

RegistrySandbox::~RegistrySandbox() {
  ::RegDeleteTreeW(static_cast<HKEY>(root_), GetFullPath({}).c_str());
}

std::wstring RegistrySandbox::GetFullPath(const std::wstring& path) const {
  std::wstring full = frameworkPath_ + L"\\" + applicationKey_;
  if (!path.empty()) full += L"\\" + path;
  return full;
}

bool RegistrySandbox::HasSection(const std::wstring& path) const {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(static_cast<HKEY>(root_), GetFullPath(path).c_str(), 0, KEY_READ, &key) !=
      ERROR_SUCCESS) {
    return false;
  }
  ::RegCloseKey(key);
  return true;
}

std::optional<RawRegistryValue> RegistrySandbox::Get(const std::wstring& path,
                                                     const std::wstring& name) const {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(static_cast<HKEY>(root_), GetFullPath(path).c_str(), 0, KEY_READ, &key) !=
      ERROR_SUCCESS) {
    return std::nullopt;
  }
  RawRegistryValue value;
  DWORD type = 0;
  DWORD size = 0;
  LSTATUS status = ::RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size);
  if (status == ERROR_SUCCESS) {
    value.bytes.resize(size);
    status = ::RegQueryValueExW(key, name.c_str(), nullptr, &type, value.bytes.data(), &size);
    value.type = type;
  }
  ::RegCloseKey(key);
  if (status != ERROR_SUCCESS) return std::nullopt;
  return value;
}

bool RegistrySandbox::Set(const std::wstring& path, const std::wstring& name,
                          const RawRegistryValue& value) const {
  HKEY key = nullptr;
  if (::RegCreateKeyExW(static_cast<HKEY>(root_), GetFullPath(path).c_str(), 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_READ | KEY_WRITE, nullptr, &key,
                        nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const LSTATUS status = ::RegSetValueExW(key, name.c_str(), 0, value.type, value.bytes.data(),
                                          static_cast<DWORD>(value.bytes.size()));
  ::RegCloseKey(key);
  return status == ERROR_SUCCESS;
}

}  // namespace Orvel::Testing
