// SPDX-License-Identifier: MIT
#include "folder_audit/report.h"

#include <array>
#include <iomanip>
#include <new>
#include <sstream>

#include "folder_audit/error_text.h"
#include "orvel/foundation/locale.h"

namespace FolderAudit {
namespace {

constexpr std::chrono::milliseconds kProgressInterval{100};
constexpr double kMegabyte = 1e6;

/// A stream for text with numbers, which look the same for every user.
std::wostringstream MakeStream() {
  std::wostringstream stream;
  stream.imbue(MLocale::Instance().GetNumberLocale());
  stream << std::fixed;
  return stream;
}

}  // namespace

Report::Report(TerminalWriter& terminal, bool listsHashes)
    : terminal_(terminal),
      listsHashes_(listsHashes),
      nextProgress_(std::chrono::steady_clock::now() + kProgressInterval) {}

void Report::OnFileStarted(const std::wstring& relativePath) {
  if (!terminal_.ShowsProgress()) return;
  {
    const std::lock_guard lock(progressMutex_);
    currentFile_ = relativePath;
  }
  ShowProgress();
}

void Report::OnBytesRead(std::uint64_t bytes) noexcept {
  byteCount_.fetch_add(bytes, std::memory_order_relaxed);
  try {
    ShowProgress();
  } catch (const std::bad_alloc&) {
    // One line of progress less.
  }
}

void Report::OnEntry(const AuditEntry& entry) {
  fileCount_.fetch_add(1, std::memory_order_relaxed);
  if (entry.error) {
    terminal_.PrintError(L"unreadable: " + Printable(entry.relativePath) + L": " +
                         DescribeCause(*entry.error) + L'\n');
  } else if (listsHashes_) {
    terminal_.Print(std::wstring(entry.sha256.begin(), entry.sha256.end()) + L"  " +
                    Printable(entry.relativePath) + L'\n');
  }
}

void Report::PrintSummary(const AuditResult& result) {
  std::uint64_t bytes = 0;
  std::uint64_t unreadable = 0;
  for (const AuditEntry& entry : result.entries) {
    bytes += entry.sizeInBytes;
    if (entry.error) ++unreadable;
  }
  const std::uint64_t hashed = result.entries.size() - unreadable;
  const double seconds = std::chrono::duration<double>(result.duration).count();
  // An audit too short for the clock has no rate worth telling.
  const double perSecond = seconds > 0 ? 1 / seconds : 0;

  std::wostringstream text = MakeStream();
  if (result.interrupted) text << L"Interrupted. Up to then:\n";
  text << L"Files hashed  " << hashed << L'\n' << L"Bytes         " << bytes << L'\n'
       << L"Unreadable    " << unreadable << L'\n' << L"Links         " << result.linkCount
       << L" not followed\n"
       << L"Time          " << std::setprecision(3) << seconds << L" s\n"
       << L"Rate          " << std::setprecision(1)
       << static_cast<double>(bytes) / kMegabyte * perSecond << L" MB/s, " << std::setprecision(0)
       << static_cast<double>(hashed) * perSecond << L" files/s\n";
  terminal_.Print(text.str());
  terminal_.Flush();
}

void Report::PrintOtherFolder(const std::wstring& file, const std::wstring& folder) {
  terminal_.PrintError(L"note: the audit in " + Printable(file) + L" is of another folder: " +
                       Printable(folder) + L'\n');
}

void Report::PrintComparison(const std::vector<FileDifference>& differences) {
  using Kind = FileDifference::Kind;
  constexpr std::array kLabels = {L"added", L"changed", L"removed", L"unreadable",
                                  L"unreadable before"};
  std::array<std::uint64_t, kLabels.size()> counts{};
  for (const auto& [kind, entry] : differences) {
    const auto index = static_cast<std::size_t>(kind);
    ++counts[index];
    if (kind == Kind::kUnreadable) continue;  // reported when it was found
    std::wstring line = kLabels[index] + (L": " + Printable(entry->relativePath));
    if (entry->error) line += L": " + DescribeCause(*entry->error);
    terminal_.Print(line + L'\n');
  }
  std::wostringstream text = MakeStream();
  text << L"Compared      ";
  for (std::size_t index = 0; index < counts.size(); ++index) {
    text << (index != 0 ? L", " : L"") << counts[index] << L' ' << kLabels[index];
  }
  text << L'\n';
  terminal_.Print(text.str());
  terminal_.Flush();
}

void Report::ShowProgress() {
  if (!terminal_.ShowsProgress()) return;
  const std::lock_guard lock(progressMutex_);
  const auto now = std::chrono::steady_clock::now();
  if (now < nextProgress_) return;
  nextProgress_ = now + kProgressInterval;

  std::wostringstream stream = MakeStream();
  stream << fileCount_.load(std::memory_order_relaxed) << L" files, " << std::setprecision(1)
         << static_cast<double>(byteCount_.load(std::memory_order_relaxed)) / kMegabyte << L" MB  "
         << Printable(currentFile_);
  terminal_.ShowProgress(stream.str());
}

}  // namespace FolderAudit
