// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "orvel/filers/filer_tagged_registry_base.h"
#include "orvel/threads/non_copyable.h"

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
class RegistrySandbox : public Libraries::NonCopyable {
 public:
  explicit RegistrySandbox(MRegistryRoot root = MRegistryRoot::kCurrentUser);
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
  [[nodiscard]] std::wstring FullPath(const std::wstring& path) const;

  void* const root_;
  const std::wstring applicationKey_;
  const std::wstring path_;
};

/// Stands between the library and the registry while it lives, in this program's import table:
/// records the calls and lets calls fail. One at a time, and for one thread.
class RegistrySeam : public Libraries::NonCopyable {
 public:
  RegistrySeam();
  ~RegistrySeam();

  /// Asked before each call but closing; when true, the call fails without reaching the registry.
  std::function<bool(const std::wstring& call)> refuses;
  /// Where set, gives what a query finds; the query behaves as the system's, and what lies in the
  /// buffer behind the data becomes garbage.
  std::function<RawRegistryValue()> finds;
  /// What a query then returns for a value that is larger than the buffer.
  std::int32_t statusOfTooLittleRoom = 234;  // ERROR_MORE_DATA

  /// In the order made: what is done, for keys the access that is asked for ("r" or "rw"), and the
  /// path of a key or the name of a value: "create rw Orvel". Without the closing of keys.
  std::vector<std::wstring> calls;
};

}  // namespace Orvel::Testing
