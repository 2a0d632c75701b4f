// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string>

#include "orvel/platform/unique_handle.h"

namespace FolderAudit {

/// SHA-256 by the system's cryptography, one text after the other: `Begin`, `Add` as often as there
/// is something, `Finish`. Each raises "CryptographyFailed" with "ntStatus".
///
/// Thread-compatible. Long-lived, so that the flow log knows it by name.
class Sha256Hasher {
 public:
  Sha256Hasher();
  ~Sha256Hasher();
  Sha256Hasher(const Sha256Hasher&) = delete;
  Sha256Hasher& operator=(const Sha256Hasher&) = delete;

  /// Begins a new text and discards an unfinished one.
  void Begin();
  void Add(std::span<const unsigned char> bytes);
  /// The digest as 64 lower-case hexadecimal digits.
  [[nodiscard]] std::string Finish();

 private:
  struct AlgorithmPolicy {
    using Handle = void*;
    static Handle Empty() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept;
  };
  struct HashPolicy {
    using Handle = void*;
    static Handle Empty() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept;
  };

  MUniqueHandle<AlgorithmPolicy> algorithm_;
  MUniqueHandle<HashPolicy> hash_;  // of the text under way; dies before the algorithm
};

}  // namespace FolderAudit
