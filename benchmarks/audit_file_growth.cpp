// SPDX-License-Identifier: MIT
// What saving, loading and comparing audits of folder_audit costs a file, for audits of several
// sizes: the same for each as long as the time grows linearly. The shortest of some rounds counts.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "folder_audit/audit_comparison.h"
#include "folder_audit/audit_file.h"

namespace {

using FolderAudit::AuditEntry;

constexpr int kRounds = 5;

std::vector<AuditEntry> MakeEntries(std::size_t count) {
  std::vector<AuditEntry> entries(count);
  for (std::size_t i = 0; i < count; ++i) {
    entries[i].relativePath =
        L"folder " + std::to_wstring(i / 100) + L"\\file " + std::to_wstring(i) + L".txt";
    entries[i].sizeInBytes = i;
    entries[i].sha256 = std::string(64, "0123456789abcdef"[i % 16]);
  }
  return entries;
}

template <class Operation>
void Time(Operation operation, double& shortest) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  operation();
  shortest =
      (std::min)(shortest, std::chrono::duration<double, std::micro>(Clock::now() - start).count());
}

}  // namespace

int main() {
  const std::wstring file = (std::filesystem::temp_directory_path() / L"audit.xml").wstring();
  bool isRight = true;
  for (const std::size_t count : {12500u, 25000u, 50000u, 100000u}) {
    constexpr double kNever = std::numeric_limits<double>::infinity();
    double saving = kNever;
    double loading = kNever;
    double comparing = kNever;
    const std::vector<AuditEntry> entries = MakeEntries(count);
    for (int round = 0; round < kRounds; ++round) {
      std::vector<AuditEntry> loaded;
      Time([&] { FolderAudit::SaveAudit(file, L"folder", entries); }, saving);
      Time([&] { loaded = FolderAudit::LoadAudit(file).entries; }, loading);
      Time([&] { isRight &= FolderAudit::CompareAudits(loaded, entries).empty(); }, comparing);
      isRight &= loaded.size() == count;
    }
    const auto each = [count](double microseconds) {
      return microseconds / static_cast<double>(count);
    };
    std::printf("%7zu files: saved in %.2f us each, loaded in %.2f us, compared in %.2f us\n",
                count, each(saving), each(loading), each(comparing));
  }
  std::filesystem::remove(file);
  return isRight ? 0 : 1;
}
