// SPDX-License-Identifier: MIT
#include "folder_audit/folder_walker.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <string_view>
#include <utility>

#include "folder_audit/paths.h"
#include "folder_audit/windows_api.h"
#include "orvel/platform/unique_handle.h"

namespace FolderAudit {
namespace {

constexpr const wchar_t* kClassName = L"FolderWalker";

/// True for what stands for another place. Other reparse points (compressed or offline files) are
/// read like any file. A point without a tag is taken for a link.
bool IsLink(const WIN32_FIND_DATAW& found) noexcept {
  if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return false;
  return found.dwReserved0 == 0 || IsReparseTagNameSurrogate(found.dwReserved0);
}

bool IsFolder(const WIN32_FIND_DATAW& found) noexcept {
  return (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool HoldsName(const std::vector<std::wstring>& names, std::wstring_view name) noexcept {
  return std::any_of(names.begin(), names.end(),
                     [name](const std::wstring& held) { return IsSameName(held, name); });
}

/// Appends what was found in one folder in reverse, because the walk takes from the end.
void StackUp(std::vector<std::wstring>& stack, std::vector<std::wstring>&& found) {
  std::sort(found.begin(), found.end(), std::greater<>());
  stack.insert(stack.end(), std::move_iterator(found.begin()), std::move_iterator(found.end()));
}

}  // namespace

FolderWalker::FolderWalker(std::wstring root, std::vector<std::wstring> skippedNames,
                           std::vector<std::wstring> skippedFiles, std::stop_token stop)
    : root_(std::move(root)),
      skippedNames_(std::move(skippedNames)),
      skippedFiles_(std::move(skippedFiles)),
      stop_(std::move(stop)) {
  static const MFlowPoint point(kClassName, kClassName);
  NameFlowObject(this, kClassName);
  point.Record(MFlowEvent::kConstruction, this);
  ListFolder(L"");
}

FolderWalker::~FolderWalker() {
  static const MFlowPoint point(kClassName, L"~FolderWalker");
  point.Record(MFlowEvent::kDestruction, this);
}

std::optional<FoundItem> FolderWalker::Next() {
  while (!stop_.stop_requested()) {
    if (!files_.empty()) {
      FoundItem item{std::move(files_.back()), std::nullopt};
      files_.pop_back();
      return item;
    }
    if (folders_.empty()) return std::nullopt;
    std::wstring folder = std::move(folders_.back());
    folders_.pop_back();
    try {
      ListFolder(folder);
    } catch (const MException& exception) {
      return FoundItem{std::move(folder), exception};
    }
  }
  return std::nullopt;
}

void FolderWalker::ListFolder(const std::wstring& relativePath) {
  static MSourceContext context(kClassName, L"ListFolder");
  const MFlowScope scope(context, this);

  std::vector<std::wstring> files;
  std::vector<std::wstring> folders;
  const std::wstring folder = JoinPath(root_, relativePath);
  const std::wstring pattern = JoinPath(folder, L"*");
  WIN32_FIND_DATAW found;
  const MFindHandle search(::FindFirstFileExW(pattern.c_str(), FindExInfoBasic, &found,
                                              FindExSearchNameMatch, nullptr,
                                              FIND_FIRST_EX_LARGE_FETCH));
  DWORD code = search ? ERROR_SUCCESS : ::GetLastError();
  while (code == ERROR_SUCCESS) {
    const std::wstring_view name = found.cFileName;
    if (name == L"." || name == L"..") {
      // The folder itself and the one above it.
    } else if (IsLink(found)) {
      ++linkCount_;
    } else if (!IsFolder(found)) {
      if (!HoldsName(skippedFiles_, JoinPath(folder, name))) {
        files.push_back(JoinPath(relativePath, name));
      }
    } else if (!HoldsName(skippedNames_, name)) {
      folders.push_back(JoinPath(relativePath, name));
    }
    if (!::FindNextFileW(search.Get(), &found)) code = ::GetLastError();
  }

  // What was found before a failure is good.
  StackUp(files_, std::move(files));
  StackUp(folders_, std::move(folders));
  // Only the root of an empty drive has no file at all, not even itself.
  if (code == ERROR_NO_MORE_FILES || code == ERROR_FILE_NOT_FOUND) return;
  MError error(context.At(__LINE__, this), L"CannotListFolder");
  error.AddParameter(L"folder", folder);
  error.AddParameter(L"winErrorCode", code);
  throw MException(error);
}

}  // namespace FolderAudit
