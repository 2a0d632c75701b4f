// SPDX-License-Identifier: MIT
#include "folder_audit/audit_file.h"

#include <cwchar>
#include <memory>
#include <utility>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"

namespace FolderAudit {
namespace {

constexpr std::uint32_t kFormat = 1;
constexpr const wchar_t* kAuditSection = L"Audit";
constexpr const wchar_t* kFormatTag = L"Format";
constexpr const wchar_t* kFolderTag = L"Folder";
constexpr const wchar_t* kEntrySection = L"File";
constexpr const wchar_t* kPathTag = L"Path";
constexpr const wchar_t* kSizeTag = L"Size";
constexpr const wchar_t* kHashTag = L"Sha256";
constexpr const wchar_t* kErrorSection = L"Exception";

bool WriteEntry(MOutFilerTaggedXml& filer, const AuditEntry& entry) {
  // Sizes have 64 bits, which no kind of number has: they go as text.
  return filer.BeginSection(kEntrySection) && filer.WriteString(kPathTag, entry.relativePath) &&
         filer.WriteString(kSizeTag, std::to_wstring(entry.sizeInBytes)) &&
         filer.WriteString(kHashTag, std::wstring(entry.sha256.begin(), entry.sha256.end())) &&
         (!entry.error || entry.error->WriteChain({nullptr, &filer}, kErrorSection)) &&
         filer.EndSection();
}

bool ReadEntry(MInFilerTaggedXml& filer, AuditEntry& entry) {
  std::wstring size;
  std::wstring hash;
  if (!filer.ReadString(kPathTag, entry.relativePath, {}) ||
      !filer.ReadString(kSizeTag, size, {}) || !filer.ReadString(kHashTag, hash, {})) {
    return false;
  }
  entry.sizeInBytes = std::wcstoull(size.c_str(), nullptr, 10);
  for (const wchar_t digit : hash) entry.sha256.push_back(static_cast<char>(digit));
  if (filer.BeginSection(kErrorSection)) {
    entry.error.emplace();
    return entry.error->ReadChain({&filer, nullptr}) && filer.EndSection();
  }
  return true;
}

}  // namespace

void SaveAudit(const std::wstring& file, const std::wstring& folder,
               const std::vector<AuditEntry>& entries) {
  static MSourceContext context(L"AuditFile", L"SaveAudit");
  const MFlowScope scope(context, nullptr);
  MOutFilerTaggedXml filer;
  bool isWritten = filer.BeginSection(kAuditSection) &&
                   filer.WriteUnsignedInt(kFormatTag, kFormat) &&
                   filer.WriteString(kFolderTag, folder);
  for (const AuditEntry& entry : entries) isWritten = isWritten && WriteEntry(filer, entry);
  if (!isWritten || !filer.EndSection() || !filer.SaveFile(file)) {
    MError error(context.At(__LINE__, nullptr), L"CannotSave");
    error.AddParameter(L"file", file);
    throw MException(error);
  }
}

std::vector<AuditEntry> LoadAudit(const std::wstring& file) {
  static MSourceContext context(L"AuditFile", L"LoadAudit");
  const MFlowScope scope(context, nullptr);
  const std::unique_ptr<MInFilerTaggedXml> filer = MInFilerTaggedXml::FromFile(file);
  std::vector<AuditEntry> entries;
  std::uint32_t format = 0;
  bool isRead = filer->BeginSection(kAuditSection) &&
                filer->ReadUnsignedInt(kFormatTag, format, 0) && format == kFormat;
  while (isRead && filer->BeginNextSection(kEntrySection)) {
    AuditEntry entry;
    isRead = ReadEntry(*filer, entry) && filer->EndSection();
    entries.push_back(std::move(entry));
  }
  if (!isRead) {
    MError error(context.At(__LINE__, nullptr), L"CannotLoad");
    error.AddParameter(L"file", file);
    if (!filer->GetErrorText().empty()) error.AddParameter(L"reason", filer->GetErrorText());
    if (const auto& place = filer->GetErrorPlace()) {
      error.AddParameter(L"line", static_cast<std::uint32_t>(place->line));
      error.AddParameter(L"column", static_cast<std::uint32_t>(place->column));
    }
    throw MException(error);
  }
  return entries;
}

}  // namespace FolderAudit
