// SPDX-License-Identifier: MIT
#include "orvel/filers/filer_tagged_registry_base.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <string_view>
#include <utility>

#include "orvel/platform/registry_key.h"

namespace {

using Orvel::Detail::kMaxRegistryKeyName;
using Orvel::Detail::kMaxRegistryLevelsAtOnce;
using Orvel::Detail::kMaxRegistryValueName;
using Orvel::Detail::RegistryAccess;
using Orvel::Detail::RegistryKey;

constexpr const wchar_t* kFrameworkKey = L"Orvel";
constexpr wchar_t kSeparator = L'\\';

// Relaxed: the numbers differ, nothing else is ordered by them.
constinit std::atomic<std::uint32_t> changeCount{0};

bool IsKeyName(std::wstring_view name) noexcept {
  return !name.empty() && name.size() <= kMaxRegistryKeyName &&
         name.find(kSeparator) == std::wstring_view::npos &&
         name.find(L'\0') == std::wstring_view::npos;
}

bool IsKeyPath(std::wstring_view path) noexcept {
  for (;;) {
    const std::size_t end = (std::min)(path.find(kSeparator), path.size());
    if (!IsKeyName(path.substr(0, end))) return false;
    if (end == path.size()) return true;
    path.remove_prefix(end + 1);
  }
}

/// Where the names end that one call can create, in a path with a separator before each name.
std::size_t FindStretchEnd(std::wstring_view path, std::size_t begin) noexcept {
  for (std::size_t names = 0; names < kMaxRegistryLevelsAtOnce && begin < path.size(); ++names) {
    begin = (std::min)(path.find(kSeparator, begin + 1), path.size());
  }
  return begin;
}

RegistryKey OpenSoftwareKey(MRegistryRoot root) noexcept {
  const bool isUser = root == MRegistryRoot::kCurrentUser;
  void* const rootKey =
      isUser ? Orvel::Detail::CurrentUserRegistryRoot() : Orvel::Detail::LocalMachineRegistryRoot();
  // Spelled out, so that machine-wide settings are found by programs of either width.
  const wchar_t* const path = isUser ? L"Software" : L"Software\\Wow6432Node";
  RegistryKey key = RegistryKey::Open(rootKey, path, RegistryAccess::kReadWrite);
  return key ? std::move(key) : RegistryKey::Open(rootKey, path, RegistryAccess::kRead);
}

}  // namespace

IFilerTaggedRegistryBase::IFilerTaggedRegistryBase(MRegistryRoot root, std::wstring applicationKey)
    : root_(root),
      applicationKey_(IsKeyPath(applicationKey) ? std::move(applicationKey) : std::wstring()) {}

IFilerTaggedRegistryBase::~IFilerTaggedRegistryBase() {
  balance_.CheckAtEnd(openTags_.size(), L"a registry filer was destroyed with a section open");
}

RegistryKey IFilerTaggedRegistryBase::OpenToRead(void* parent, const wchar_t* path) {
  return RegistryKey::Open(parent, path, RegistryAccess::kRead);
}

RegistryKey IFilerTaggedRegistryBase::CreateToReadAndWrite(void* parent, const wchar_t* path) {
  return RegistryKey::Create(parent, path, RegistryAccess::kReadWrite);
}

RegistryKey IFilerTaggedRegistryBase::CreateToReadAtLeast(void* parent, const wchar_t* path) {
  RegistryKey key = RegistryKey::Create(parent, path, RegistryAccess::kReadWrite);
  return key ? std::move(key) : RegistryKey::Create(parent, path, RegistryAccess::kRead);
}

RegistryKey IFilerTaggedRegistryBase::OpenValueKey(OpenOperation frameworkKey,
                                                   OpenOperation applicationKey,
                                                   OpenOperation sectionKeys) const {
  if (applicationKey_.empty() || !CanNameKeys()) return {};
  RegistryKey key = OpenSoftwareKey(root_);
  if (key) key = frameworkKey(key.Get(), kFrameworkKey);
  if (key) key = applicationKey(key.Get(), applicationKey_.c_str());
  for (std::size_t begin = 0; key && begin < path_.size();) {
    const std::size_t end = FindStretchEnd(path_, begin);
    // A copy only where the path is too long for one call.
    key = end == path_.size()
              ? sectionKeys(key.Get(), path_.c_str() + begin + 1)
              : sectionKeys(key.Get(), path_.substr(begin + 1, end - begin - 1).c_str());
    begin = end;
  }
  return key;
}

void IFilerTaggedRegistryBase::BeginTag(std::wstring_view tag) {
  path_.reserve(path_.size() + 1 + tag.size());
  openTags_.push_back({path_.size(), CanNameKeys() && IsKeyPath(tag)});
  path_ += kSeparator;
  path_ += tag;
  if (openTags_.size() == 1) balance_.Start();
}

bool IFilerTaggedRegistryBase::EndTag() noexcept {
  if (openTags_.empty()) return false;
  DropTag();
  changeStamp_ = changeCount.fetch_add(1, std::memory_order_relaxed) + 1;
  return true;
}

void IFilerTaggedRegistryBase::DropTag() noexcept {
  path_.resize(openTags_.back().pathLength);
  openTags_.pop_back();
}

bool IFilerTaggedRegistryBase::IsValueName(const std::wstring& tag) noexcept {
  return tag.size() <= kMaxRegistryValueName && tag.find(L'\0') == std::wstring::npos;
}
