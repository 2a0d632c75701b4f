// SPDX-License-Identifier: MIT
#include "bare/bare_registry.h"

#include "orvel/platform/windows_api.h"

namespace {

constexpr REGSAM kReadWrite = KEY_READ | KEY_WRITE;

HKEY OpenKey(HKEY parent, const wchar_t* name, REGSAM access) {
  HKEY key = nullptr;
  ::RegOpenKeyExW(parent, name, 0, access, &key);
  return key;
}

HKEY CreateKey(HKEY parent, const wchar_t* name) {
  HKEY key = nullptr;
  ::RegCreateKeyExW(parent, name, 0, nullptr, REG_OPTION_NON_VOLATILE, kReadWrite, nullptr, &key,
                    nullptr);
  return key;
}

void Write(const wchar_t* applicationKey, const wchar_t* section, const wchar_t* name, DWORD type,
           const void* data, std::size_t sizeInBytes) {
  const HKEY software = OpenKey(HKEY_CURRENT_USER, L"Software", kReadWrite);
  const HKEY framework = CreateKey(software, L"Orvel");
  ::RegCloseKey(software);
  const HKEY application = CreateKey(framework, applicationKey);
  ::RegCloseKey(framework);
  const HKEY key = CreateKey(application, section);
  ::RegCloseKey(application);
  ::RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data),
                   static_cast<DWORD>(sizeInBytes));
  ::RegCloseKey(key);
}

bool Read(const wchar_t* applicationKey, const wchar_t* section, const wchar_t* name, DWORD& type,
          void* data, DWORD& sizeInBytes) {
  const HKEY software = OpenKey(HKEY_CURRENT_USER, L"Software", kReadWrite);
  const HKEY framework = OpenKey(software, L"Orvel", KEY_READ);
  ::RegCloseKey(software);
  const HKEY application = OpenKey(framework, applicationKey, KEY_READ);
  ::RegCloseKey(framework);
  const HKEY key = OpenKey(application, section, KEY_READ);
  ::RegCloseKey(application);
  const LSTATUS status =
      ::RegQueryValueExW(key, name, nullptr, &type, static_cast<BYTE*>(data), &sizeInBytes);
  ::RegCloseKey(key);
  return status == ERROR_SUCCESS;
}

}  // namespace

void BareRegistry::WriteNumber(const wchar_t* name, std::uint32_t value) const {
  Write(applicationKey_, section_, name, REG_DWORD, &value, sizeof(value));
}

void BareRegistry::WriteText(const wchar_t* name, const std::wstring& value) const {
  Write(applicationKey_, section_, name, REG_SZ, value.c_str(),
        (value.size() + 1) * sizeof(wchar_t));
}

bool BareRegistry::ReadNumber(const wchar_t* name, std::uint32_t& value) const {
  DWORD type = 0;
  DWORD size = sizeof(value);
  return Read(applicationKey_, section_, name, type, &value, size);
}

bool BareRegistry::ReadText(const wchar_t* name, std::wstring& value) const {
  wchar_t text[256];
  DWORD type = 0;
  DWORD size = sizeof(text);
  if (!Read(applicationKey_, section_, name, type, text, size)) return false;
  value.assign(text, size / sizeof(wchar_t) - 1);
  return true;
}

void BareRegistry::Remove() const {
  ::RegDeleteTreeW(HKEY_CURRENT_USER,
                   (std::wstring(L"Software\\Orvel\\") + applicationKey_).c_str());
}
