// SPDX-License-Identifier: MIT
#include "folder_audit/folder_audit.h"

#include <chrono>
#include <optional>
#include <utility>

#include "folder_audit/paths.h"

namespace FolderAudit {
namespace {

constexpr const wchar_t* kClassName = L"Audit";
/// Enough for the other jobs to go on behind a large file, little enough to keep in memory.
constexpr std::size_t kPendingPerJob = 64;

/// The files that the run itself reads and writes.
std::vector<std::wstring> OwnFiles(const Options& options) {
  std::vector<std::wstring> files;
  for (const std::wstring* file : {&options.saveFile, &options.compareFile, &options.flowLogFile}) {
    if (!file->empty()) files.push_back(MakeExtendedPath(*file));
  }
  return files;
}

}  // namespace

Audit::Audit(const Options& options, IAuditObserver& observer, const std::stop_token& stop)
    : observer_(observer),
      stop_(stop),
      root_(MakeExtendedPath(options.folder)),
      walker_(root_, options.skippedNames, OwnFiles(options), stop),
      maxPending_(kPendingPerJob * options.jobs),
      jobs_(options.jobs, root_, stop, observer) {
  static const MFlowPoint point(kClassName, kClassName);
  NameFlowObject(this, kClassName);
  point.Record(MFlowEvent::kConstruction, this);
}

Audit::~Audit() {
  static const MFlowPoint point(kClassName, L"~Audit");
  point.Record(MFlowEvent::kDestruction, this);
}

AuditResult Audit::Run() {
  static const MFlowPoint point(kClassName, L"Run");
  const MFlowScope scope(point, this);
  const auto isFirstDone = [this] {
    const HashJobs::Result& digest = pending_.front().digest;
    return !digest.valid() || digest.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  };

  const auto start = std::chrono::steady_clock::now();
  AuditResult result;
  while (std::optional<FoundItem> item = walker_.Next()) {
    pending_.push_back(Begin(std::move(*item)));
    while (!pending_.empty() && (pending_.size() >= maxPending_ || isFirstDone())) {
      ReportFirst(result);
    }
  }
  while (!pending_.empty()) ReportFirst(result);
  result.interrupted = stop_.stop_requested();
  result.linkCount = walker_.GetLinkCount();
  result.duration = std::chrono::steady_clock::now() - start;
  return result;
}

Audit::Pending Audit::Begin(FoundItem&& item) {
  Pending pending;
  pending.entry.relativePath = std::move(item.relativePath);
  pending.entry.error = std::move(item.error);
  if (!pending.entry.error) pending.digest = jobs_.HashFile(pending.entry.relativePath);
  return pending;
}

/// Waits for the first pending entry and reports it, unless the audit was stopped before its end.
void Audit::ReportFirst(AuditResult& result) {
  Pending pending = std::move(pending_.front());
  pending_.pop_front();
  AuditEntry& entry = pending.entry;
  if (pending.digest.valid()) {
    try {
      std::optional<FileDigest> digest = pending.digest.get();
      if (!digest) return;
      entry.sizeInBytes = digest->sizeInBytes;
      entry.sha256 = std::move(digest->sha256);
    } catch (const MException& exception) {
      entry.error = exception;
    }
  }
  observer_.OnEntry(entry);
  result.entries.push_back(std::move(entry));
}

}  // namespace FolderAudit
