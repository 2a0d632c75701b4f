// SPDX-License-Identifier: MIT
#include "folder_audit/file_reader.h"

#include "orvel/foundation/exception.h"
#include "orvel/foundation/system_error.h"

namespace FolderAudit {
namespace {

constexpr const wchar_t* kClassName = L"FileReader";

}  // namespace

FileReader::FileReader() {
  static const MFlowPoint point(kClassName, kClassName);
  NameFlowObject(this, kClassName);
  point.Record(MFlowEvent::kConstruction, this);
}

FileReader::~FileReader() {
  static const MFlowPoint point(kClassName, L"~FileReader");
  point.Record(MFlowEvent::kDestruction, this);
}

void FileReader::Open(const std::wstring& path) {
  static MSourceContext context(kClassName, L"Open");
  const MFlowScope scope(context, this);
  Close();

  MFileHandle file(::CreateFileW(path.c_str(), GENERIC_READ,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                 OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
  if (!file) {
    const DWORD code = ::GetLastError();
    RaiseSystemError(context.At(__LINE__, this), L"CannotOpenFile", code);
  }
  // Reading a pipe would wait until another program writes into it.
  if (::GetFileType(file.Get()) != FILE_TYPE_DISK) {
    RaiseError(context.At(__LINE__, this), L"NotAFile");
  }
  opened_ = QueryVersion(file.Get());
  file_ = std::move(file);
}

std::size_t FileReader::Read(std::span<unsigned char> buffer) {
  static MSourceContext context(kClassName, L"Read");
  DWORD count = 0;
  if (!::ReadFile(file_.Get(), buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr)) {
    const DWORD code = ::GetLastError();
    RaiseSystemError(context.At(__LINE__, this), L"CannotReadFile", code);
  }
  return count;
}

void FileReader::RequireUnchanged() const {
  static MSourceContext context(kClassName, L"RequireUnchanged");
  if (QueryVersion(file_.Get()) != opened_) {
    RaiseError(context.At(__LINE__, this), L"ChangedWhileRead");
  }
}

FileReader::Version FileReader::QueryVersion(HANDLE file) const {
  static MSourceContext context(kClassName, L"QueryVersion");
  LARGE_INTEGER size;
  FILETIME lastWrite;
  if (!::GetFileSizeEx(file, &size) || !::GetFileTime(file, nullptr, nullptr, &lastWrite)) {
    const DWORD code = ::GetLastError();
    RaiseSystemError(context.At(__LINE__, this), L"CannotQueryFile", code);
  }
  return {static_cast<std::uint64_t>(size.QuadPart),
          static_cast<std::uint64_t>(lastWrite.dwHighDateTime) << 32 | lastWrite.dwLowDateTime};
}

}  // namespace FolderAudit
