// SPDX-License-Identifier: MIT
#include "orvel/diagnostics/crash_report_folder.h"

#include <string_view>
#include <utility>

#include "orvel/platform/unique_handle.h"
#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {
namespace {

constexpr std::wstring_view kTextEnding = L".txt";
constexpr const wchar_t* kEndings[] = {L".txt", L".flow.log", L".dmp"};

/// Writes into a path; what does not fit is left out.
class PathWriter {
 public:
  explicit PathWriter(CrashPath& path) noexcept : path_(path) {}

  PathWriter& operator<<(std::wstring_view text) noexcept {
    for (const wchar_t c : text) {
      if (length_ + 1 < path_.size()) path_[length_++] = c;
    }
    path_[length_] = L'\0';
    return *this;
  }
  /// A number with at least `digits` digits.
  PathWriter& Add(std::uint32_t number, int digits) noexcept {
    wchar_t text[10];
    std::size_t start = std::size(text);
    for (; start > 0 && (number != 0 || digits > 0); --digits, number /= 10) {
      text[--start] = static_cast<wchar_t>(L'0' + number % 10);
    }
    return *this << std::wstring_view(text + start, std::size(text) - start);
  }

 private:
  CrashPath& path_;
  std::size_t length_ = 0;
};

bool IsDigit(wchar_t c) noexcept { return c >= L'0' && c <= L'9'; }

}  // namespace

CrashReportFolder::CrashReportFolder(std::wstring folder, std::wstring programName,
                                     std::size_t reportsKept)
    : folder_(std::move(folder)), programName_(std::move(programName)), reportsKept_(reportsKept) {}

CrashPath CrashReportFolder::MakeStem(std::uint32_t attempt) const noexcept {
  SYSTEMTIME time;
  ::GetSystemTime(&time);
  CrashPath path;
  PathWriter writer(path);
  writer << folder_ << L"\\" << programName_ << L"-";
  writer.Add(time.wYear, 4).Add(time.wMonth, 2).Add(time.wDay, 2) << L"-";
  writer.Add(time.wHour, 2).Add(time.wMinute, 2).Add(time.wSecond, 2) << L"-";
  writer.Add(::GetCurrentProcessId(), 1);
  if (attempt > 1) (writer << L"-").Add(attempt, 1);
  return path;
}

CrashPath CrashReportFolder::Join(const CrashPath& stem, const wchar_t* ending) noexcept {
  CrashPath path;
  PathWriter(path) << stem.data() << ending;
  return path;
}

const wchar_t* CrashReportFolder::NameOf(const CrashPath& path) noexcept {
  const std::wstring_view text = path.data();
  const std::size_t backslash = text.rfind(L'\\');
  return path.data() + (backslash == std::wstring_view::npos ? 0 : backslash + 1);
}

std::uint32_t CrashReportFolder::Create() const noexcept {
  // From the top down. The system refuses what exists already, drives included; that does not
  // matter.
  std::uint32_t code = 0;
  for (std::size_t end = 0; end != folder_.size();) {
    end = folder_.find(L'\\', end + 1);
    if (end == std::wstring::npos) end = folder_.size();
    CrashPath path;
    PathWriter(path) << std::wstring_view(folder_).substr(0, end);
    code = ::CreateDirectoryW(path.data(), nullptr) != FALSE ? 0 : ::GetLastError();
  }
  const DWORD attributes = ::GetFileAttributesW(folder_.c_str());
  const bool isThere =
      attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  if (isThere) return 0;
  return code != 0 ? code : ERROR_PATH_NOT_FOUND;
}

bool CrashReportFolder::IsReport(const wchar_t* name) const noexcept {
  std::wstring_view rest = name;
  if (!rest.starts_with(programName_) || !rest.ends_with(kTextEnding)) return false;
  rest.remove_prefix(programName_.size());
  if (rest.size() < kTextEnding.size()) return false;
  rest.remove_suffix(kTextEnding.size());
  // A pattern's 0 stands for a digit; then come the process and, perhaps, an attempt.
  constexpr std::wstring_view kPattern = L"-00000000-000000-0";
  if (rest.size() < kPattern.size()) return false;
  for (std::size_t i = 0; i < kPattern.size(); ++i) {
    if (kPattern[i] == L'0' ? !IsDigit(rest[i]) : rest[i] != kPattern[i]) return false;
  }
  rest.remove_prefix(kPattern.size());
  return rest.find_first_not_of(L"-0123456789") == std::wstring_view::npos;
}

void CrashReportFolder::RemoveOldest() const noexcept {
  if (reportsKept_ == 0) return;
  CrashPath pattern;
  PathWriter(pattern) << folder_ << L"\\" << programName_ << L"-*" << kTextEnding;
  CrashPath last{};  // of those that were to be removed
  for (;;) {
    std::size_t count = 0;
    CrashPath oldest{};
    WIN32_FIND_DATAW found;
    MFindHandle search(::FindFirstFileW(pattern.data(), &found));
    if (!search) return;
    do {
      const std::wstring_view name = found.cFileName;
      // One that could not be removed comes up again and counts no more.
      if (!IsReport(found.cFileName) || name <= last.data()) continue;
      ++count;
      if (oldest[0] == L'\0' || name < oldest.data()) PathWriter(oldest) << name;
    } while (::FindNextFileW(search.Get(), &found) != FALSE);
    search.Close();
    if (count <= reportsKept_) return;
    last = oldest;
    const std::wstring_view stem =
        std::wstring_view(oldest.data())
            .substr(0, std::wstring_view(oldest.data()).size() - kTextEnding.size());
    for (const wchar_t* ending : kEndings) {
      CrashPath path;
      PathWriter(path) << folder_ << L"\\" << stem << ending;
      ::DeleteFileW(path.data());
    }
  }
}

}  // namespace Orvel::Detail
