// SPDX-License-Identifier: MIT
#include "folder_audit/hash_job.h"

#include <utility>

#include "folder_audit/paths.h"
#include "orvel/foundation/exception.h"

namespace FolderAudit {
namespace {

constexpr const wchar_t* kClassName = L"HashJob";

}  // namespace

HashJob::HashJob(const std::wstring& name, std::stop_token stop,
                 std::function<void(std::uint64_t)> onBytesRead)
    : name_(name), hasher_(std::move(stop), std::move(onBytesRead)) {
  static const MFlowPoint point(kClassName, kClassName);
  NameFlowObject(this, name_.c_str());
  point.Record(MFlowEvent::kConstruction, this);
  processor_.Start();
}

HashJob::~HashJob() {
  static const MFlowPoint point(kClassName, L"~HashJob");
  point.Record(MFlowEvent::kDestruction, this);
}

std::optional<FileDigest> HashJob::HashFile(const std::wstring& root,
                                            const std::wstring& relativePath) {
  static MSourceContext context(kClassName, L"HashFile");
  const MFlowScope scope(context, this);
  try {
    return hasher_.HashFile(JoinPath(root, relativePath));
  } catch (MException& exception) {
    MError error(context.At(__LINE__, this), L"FileNotHashed");
    error.AddParameter(L"file", relativePath);
    exception.Append(error);
    throw;
  }
}

}  // namespace FolderAudit
