// SPDX-License-Identifier: MIT
#include "folder_audit/sha256_hasher.h"

#include <array>

#include "folder_audit/windows_api.h"
#include "orvel/foundation/exception.h"

#include <bcrypt.h>

namespace FolderAudit {
namespace {

constexpr const wchar_t* kClassName = L"Sha256Hasher";

void RequireSuccess(const MRaiseSite& site, NTSTATUS status) {
  if (status >= 0) return;
  RaiseError(site, L"CryptographyFailed", L"ntStatus", static_cast<std::uint32_t>(status));
}

}  // namespace

void Sha256Hasher::AlgorithmPolicy::Close(Handle handle) noexcept {
  ::BCryptCloseAlgorithmProvider(handle, 0);
}

void Sha256Hasher::HashPolicy::Close(Handle handle) noexcept { ::BCryptDestroyHash(handle); }

Sha256Hasher::Sha256Hasher() {
  static MSourceContext context(kClassName, kClassName);
  NameFlowObject(this, kClassName);
  context.Record(MFlowEvent::kConstruction, this);
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  RequireSuccess(context.At(__LINE__, this),
                 ::BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
  algorithm_ = MUniqueHandle<AlgorithmPolicy>(algorithm);
}

Sha256Hasher::~Sha256Hasher() {
  static const MFlowPoint point(kClassName, L"~Sha256Hasher");
  point.Record(MFlowEvent::kDestruction, this);
}

void Sha256Hasher::Begin() {
  static MSourceContext context(kClassName, L"Begin");
  BCRYPT_HASH_HANDLE hash = nullptr;
  RequireSuccess(context.At(__LINE__, this),
                 ::BCryptCreateHash(algorithm_.Get(), &hash, nullptr, 0, nullptr, 0, 0));
  hash_ = MUniqueHandle<HashPolicy>(hash);
}

void Sha256Hasher::Add(std::span<const unsigned char> bytes) {
  static MSourceContext context(kClassName, L"Add");
  RequireSuccess(context.At(__LINE__, this),
                 ::BCryptHashData(hash_.Get(), const_cast<PUCHAR>(bytes.data()),
                                  static_cast<ULONG>(bytes.size()), 0));
}

std::string Sha256Hasher::Finish() {
  static MSourceContext context(kClassName, L"Finish");
  std::array<unsigned char, 32> digest{};
  RequireSuccess(
      context.At(__LINE__, this),
      ::BCryptFinishHash(hash_.Get(), digest.data(), static_cast<ULONG>(digest.size()), 0));
  hash_ = {};

  constexpr const char* kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * digest.size());
  for (const unsigned char byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

}  // namespace FolderAudit
