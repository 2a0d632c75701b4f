// SPDX-License-Identifier: MIT
#include "folder_audit/folder_audit.h"

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "folder_audit/hash_file_command.h"
#include "folder_audit/paths.h"

namespace FolderAudit {
namespace {

constexpr const wchar_t* kClassName = L"Audit";

}  // namespace

Audit::Audit(const Options& options, IAuditObserver& observer, StopRequest& stop)
    : observer_(observer),
      stopRequest_(stop),
      stop_(stop.GetToken()),
      root_(MakeExtendedPath(options.folder)),
      walker_(root_, options.skippedNames, stop_),
      hasher_(stop_, [&observer](std::uint64_t bytes) { observer.OnBytesRead(bytes); }) {
  static const MFlowPoint point(kClassName, kClassName);
  NameFlowObject(this, kClassName);
  point.Record(MFlowEvent::kConstruction, this);
  processor_.Start();
}

Audit::~Audit() {
  static const MFlowPoint point(kClassName, L"~Audit");
  point.Record(MFlowEvent::kDestruction, this);
}

AuditResult Audit::Run() {
  static const MFlowPoint point(kClassName, L"Run");
  const MFlowScope scope(point, this);
  const StopRequest::Action stopProcessor(stopRequest_, [this] { processor_.ForceStop(); });

  const auto start = std::chrono::steady_clock::now();
  AuditResult result;
  while (std::optional<FoundItem> item = walker_.Next()) {
    AuditEntry entry;
    entry.relativePath = std::move(item->relativePath);
    entry.error = std::move(item->error);
    if (!entry.error && !HashFile(entry)) break;
    observer_.OnEntry(entry);
    result.entries.push_back(std::move(entry));
  }
  result.interrupted = stop_.stop_requested();
  result.linkCount = walker_.GetLinkCount();
  result.duration = std::chrono::steady_clock::now() - start;
  return result;
}

/// Completes `entry`. False when the audit was stopped before the file was done.
bool Audit::HashFile(AuditEntry& entry) {
  static const MFlowPoint point(kClassName, L"HashFile");
  const MFlowScope scope(point, this);
  observer_.OnFileStarted(entry.relativePath);

  const auto error = std::make_shared<MException>();
  std::optional<FileDigest> digest;
  try {
    processor_.ExecuteSynchronously(
        std::make_unique<HashFileCommand>(error, hasher_, root_, entry.relativePath, digest));
  } catch (const MException& exception) {
    if (!stop_.stop_requested()) throw;
    // "CommandProcessingAborted" while this thread waited, "ProcessorStopped" before it did.
    RecordDismissed(point, this, exception);
    return false;
  }
  if (error->GetNewestError() != nullptr) {
    entry.error = std::move(*error);
  } else if (!digest) {
    return false;
  } else {
    entry.sizeInBytes = digest->sizeInBytes;
    entry.sha256 = std::move(digest->sha256);
  }
  return true;
}

}  // namespace FolderAudit
