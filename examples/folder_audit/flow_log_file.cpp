// SPDX-License-Identifier: MIT
#include "folder_audit/flow_log_file.h"

#include <cerrno>
#include <filesystem>

#include "orvel/foundation/exception.h"
#include "orvel/logging/flow_log.h"

namespace FolderAudit {
namespace {

constexpr const wchar_t* kClassName = L"FlowLogFile";

}  // namespace

FlowLogFile::FlowLogFile(const std::wstring& name) : name_(name) {
  static MSourceContext context(kClassName, kClassName);
  NameFlowObject(this, kClassName);
  if (name_.empty()) return;
  stream_.open(std::filesystem::path(name_), std::ios::binary);
  if (!stream_) {
    const int code = errno;
    MError error(context.At(__LINE__, this), L"CannotCreateFlowLog");
    error.AddErrnoParameter(code);
    error.AddParameter(L"file", name_);
    throw MException(error);
  }
}

void FlowLogFile::Dump() {
  static MSourceContext context(kClassName, L"Dump");
  if (name_.empty()) return;
  flowLogger().dump(stream_);
  stream_.close();
  if (!stream_) {
    MError error(context.At(__LINE__, this), L"CannotWriteFlowLog");
    error.AddParameter(L"file", name_);
    throw MException(error);
  }
}

}  // namespace FolderAudit
