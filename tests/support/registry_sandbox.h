// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "orvel/filers/filer_tagged_registry_base.h"

namespace Orvel::Testing {

/// Data of a registry value as it is stored.
struct RawRegistryValue {
  std::uint32_t type = 0;
  std::vector<std::uint8_t> bytes;
  bool operator==(const RawRegistryValue&) const = default;
};

/// An application key of this process, in which a test may do what it likes. It is removed, with
/// everything below it, when the object goes; what a process of the same id left behind when it
/// crashed, when one is made.
///
/// Paths of sections are relative to the application key, "" for the key itself. Thread-unsafe.
class RegistrySandbox {
 public:
  explicit RegistrySandbox(MRegistryRoot root = MRegistryRoot::kCurrentUser);
  RegistrySandbox(const RegistrySandbox&) = delete;
  RegistrySandbox& operator=(const RegistrySandbox&) = delete;
  ~RegistrySandbox();

  [[nodiscard]] const std::wstring& GetApplicationKey() const noexcept { return applicationKey_; }

  /// True when the key of a section exists.
  [[nodiscard]] bool HasSection(const std::wstring& path) const;
  /// The value as it is stored; nothing when it is missing.
  [[nodiscard]] std::optional<RawRegistryValue> Get(const std::wstring& path,
                                                    const std::wstring& name) const;
  /// Stores a value as it is given, creating the keys; false when the system refuses.
  [[nodiscard]] bool Set(const std::wstring& path, const std::wstring& name,
                         const RawRegistryValue& value) const;

 private:
  [[nodiscard]] std::wstring GetFullPath(const std::wstring& path) const;

  void* const root_;
  const std::wstring frameworkPath_;
  const std::wstring applicationKey_;
};

}  // namespace Orvel::Testing
