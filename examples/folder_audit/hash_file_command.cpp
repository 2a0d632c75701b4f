// SPDX-License-Identifier: MIT
#include "folder_audit/hash_file_command.h"

#include <utility>

#include "folder_audit/paths.h"

namespace FolderAudit {

HashFileCommand::HashFileCommand(std::shared_ptr<MException> errorSlot, FileHasher& hasher,
                                 const std::wstring& root, std::wstring relativePath,
                                 std::optional<FileDigest>& digest)
    : MCommandSynchronous(std::move(errorSlot)),
      hasher_(hasher),
      relativePath_(std::move(relativePath)),
      path_(JoinPath(root, relativePath_)),
      digest_(digest) {}

void HashFileCommand::ExecuteCommand() {
  // A command is too brief to have a name in the flow log: its hasher stands for it.
  static MSourceContext context(L"HashFileCommand", L"ExecuteCommand");
  const MFlowScope scope(context, &hasher_);
  try {
    digest_ = hasher_.HashFile(path_);
  } catch (MException& exception) {
    MError error(context.At(__LINE__, &hasher_), L"FileNotHashed");
    error.AddParameter(L"file", relativePath_);
    exception.Append(error);
    throw;
  }
}

}  // namespace FolderAudit
