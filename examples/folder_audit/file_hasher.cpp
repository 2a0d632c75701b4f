// SPDX-License-Identifier: MIT
#include "folder_audit/file_hasher.h"

#include <cstddef>
#include <utility>

#include "orvel/foundation/exception.h"
#include "orvel/threads/generic_guard.h"

namespace FolderAudit {
namespace {

constexpr const wchar_t* kClassName = L"FileHasher";
constexpr std::size_t kChunkSize = 256 * 1024;  // about a millisecond's work

}  // namespace

FileHasher::FileHasher(std::stop_token stop, std::function<void(std::uint64_t)> onBytesRead)
    : stop_(std::move(stop)), onBytesRead_(std::move(onBytesRead)), buffer_(kChunkSize) {
  static const MFlowPoint point(kClassName, kClassName);
  NameFlowObject(this, kClassName);
  point.Record(MFlowEvent::kConstruction, this);
}

FileHasher::~FileHasher() {
  static const MFlowPoint point(kClassName, L"~FileHasher");
  point.Record(MFlowEvent::kDestruction, this);
}

std::optional<FileDigest> FileHasher::HashFile(const std::wstring& path) {
  static const MFlowPoint point(kClassName, L"HashFile");
  const MFlowScope scope(point, this);
  reader_.Open(path);
  const Orvel::Libraries::GenericGuard closing(nullptr, [this] { reader_.Close(); });

  hasher_.Begin();
  FileDigest digest;
  for (;;) {
    if (stop_.stop_requested()) return std::nullopt;
    const std::size_t count = reader_.Read(buffer_);
    if (count == 0) break;
    hasher_.Add({buffer_.data(), count});
    digest.sizeInBytes += count;
    if (onBytesRead_ != nullptr) onBytesRead_(count);
  }
  reader_.RequireUnchanged();
  digest.sha256 = hasher_.Finish();
  return digest;
}

}  // namespace FolderAudit
