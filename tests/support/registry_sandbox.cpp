// SPDX-License-Identifier: MIT
#include "tests/support/registry_sandbox.h"

#include <memory>
#include <type_traits>

#include "orvel/platform/windows_api.h"

namespace Orvel::Testing {
namespace {

std::wstring NextApplicationKey() {
  static int made = 0;
  return L"orvel-test-" + std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(++made);
}

/// The opened key, which closes itself; null when there is none.
auto OpenKey(void* root, const std::wstring& path) {
  HKEY key = nullptr;
  ::RegOpenKeyExW(static_cast<HKEY>(root), path.c_str(), 0, KEY_READ, &key);
  return std::unique_ptr<std::remove_pointer_t<HKEY>, decltype(&::RegCloseKey)>(key, ::RegCloseKey);
}

}  // namespace

RegistrySandbox::RegistrySandbox(MRegistryRoot root)
    : root_(root == MRegistryRoot::kCurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE),
      frameworkPath_(root == MRegistryRoot::kCurrentUser ? L"Software\\Orvel"
                                                         : L"Software\\Wow6432Node\\Orvel"),
      applicationKey_(NextApplicationKey()) {
  ::RegDeleteTreeW(static_cast<HKEY>(root_), GetFullPath({}).c_str());
}

RegistrySandbox::~RegistrySandbox() {
  ::RegDeleteTreeW(static_cast<HKEY>(root_), GetFullPath({}).c_str());
}

std::wstring RegistrySandbox::GetFullPath(const std::wstring& path) const {
  const std::wstring key = frameworkPath_ + L"\\" + applicationKey_;
  return path.empty() ? key : key + L"\\" + path;
}

bool RegistrySandbox::HasSection(const std::wstring& path) const {
  return OpenKey(root_, GetFullPath(path)) != nullptr;
}

std::optional<RawRegistryValue> RegistrySandbox::Get(const std::wstring& path,
                                                     const std::wstring& name) const {
  RawRegistryValue value{0, std::vector<std::uint8_t>(0x10000)};
  auto size = static_cast<DWORD>(value.bytes.size());
  DWORD type = 0;
  const auto key = OpenKey(root_, GetFullPath(path));
  if (key == nullptr || ::RegQueryValueExW(key.get(), name.c_str(), nullptr, &type,
                                           value.bytes.data(), &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  value.type = type;
  value.bytes.resize(size);
  return value;
}

bool RegistrySandbox::Set(const std::wstring& path, const std::wstring& name,
                          const RawRegistryValue& value) const {
  return ::RegSetKeyValueW(static_cast<HKEY>(root_), GetFullPath(path).c_str(), name.c_str(),
                           value.type, value.bytes.data(),
                           static_cast<DWORD>(value.bytes.size())) == ERROR_SUCCESS;
}

}  // namespace Orvel::Testing
