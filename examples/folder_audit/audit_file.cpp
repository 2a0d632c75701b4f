// SPDX-License-Identifier: MIT
#include "folder_audit/audit_file.h"
#include "folder_audit/windows_api.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/filers/tagged_section.h"
#include "orvel/filers/tagged_values.h"
#include "orvel/platform/unique_handle.h"

namespace FolderAudit {
namespace {

constexpr std::uint32_t kFormat = 1;
constexpr const wchar_t* kAuditSection = L"Audit";
constexpr const wchar_t* kFormatTag = L"Format";
constexpr const wchar_t* kFolderTag = L"Folder";
constexpr const wchar_t* kEntrySection = L"File";
constexpr const wchar_t* kPathTag = L"Path";
constexpr const wchar_t* kPathUnitsTag = L"PathUnits";
constexpr const wchar_t* kSizeTag = L"Size";
constexpr const wchar_t* kHashTag = L"Sha256";
constexpr const wchar_t* kErrorSection = L"Exception";

constexpr std::wstring_view kHexDigits = L"0123456789abcdef";
constexpr std::size_t kHashLength = 64;
constexpr std::size_t kDigitsPerUnit = 4;

/// `text` with U+FFFD in place of surrogates without their other half, which the system allows in
/// names and no file of text can hold.
std::wstring ValidText(std::wstring_view text) {
  std::wstring valid(text);
  for (std::size_t i = 0; i < valid.size(); ++i) {
    if (IS_HIGH_SURROGATE(valid[i]) && i + 1 < valid.size() && IS_LOW_SURROGATE(valid[i + 1])) {
      ++i;
    } else if (IS_HIGH_SURROGATE(valid[i]) || IS_LOW_SURROGATE(valid[i])) {
      valid[i] = L'\xFFFD';
    }
  }
  return valid;
}

MException ValidText(const MException& exception) {
  MException valid;
  for (const auto& error : exception.GetErrors()) {
    if (error == nullptr) continue;
    MError copy(ValidText(error->GetCode()));
    for (const auto& [name, value] : error->GetParameters()) {
      copy.AddParameter(name.c_str(), ValidText(value));
    }
    valid.Append(copy);
  }
  return valid;
}

std::wstring ToHex(std::wstring_view text) {
  std::wstring hex;
  hex.reserve(kDigitsPerUnit * text.size());
  for (const wchar_t unit : text) {
    for (int shift = 12; shift >= 0; shift -= 4) {
      hex += kHexDigits[(static_cast<unsigned>(unit) >> shift) & 0xF];
    }
  }
  return hex;
}

bool FromHex(std::wstring_view hex, std::wstring& text) {
  if (hex.size() % kDigitsPerUnit != 0) return false;
  text.clear();
  for (std::size_t i = 0; i < hex.size(); i += kDigitsPerUnit) {
    unsigned unit = 0;
    for (const wchar_t digit : hex.substr(i, kDigitsPerUnit)) {
      const std::size_t value = kHexDigits.find(digit);
      if (value == kHexDigits.npos) return false;
      unit = unit << 4 | static_cast<unsigned>(value);
    }
    text += static_cast<wchar_t>(unit);
  }
  return true;
}

bool IsHash(std::wstring_view text) {
  return text.size() == kHashLength && text.find_first_not_of(kHexDigits) == text.npos;
}

bool WriteEntry(IOutFilerTagged& out, const AuditEntry& entry) {
  const std::wstring path = ValidText(entry.relativePath);
  const bool isWhole = path == entry.relativePath;
  MTaggedSection section(out, kEntrySection);
  return section && WriteTagged(out, kPathTag, path) &&
         (isWhole || WriteTagged(out, kPathUnitsTag, ToHex(entry.relativePath))) &&
         WriteTagged(out, kSizeTag, entry.sizeInBytes) &&
         WriteTagged(out, kHashTag, std::wstring(entry.sha256.begin(), entry.sha256.end())) &&
         (!entry.error || ValidText(*entry.error).WriteChain({nullptr, &out}, kErrorSection)) &&
         section.Close();
}

/// Reads the entry that is open. What makes no sense is false as well: the file may be anybody's.
bool ReadEntry(IInFilerTagged& in, AuditEntry& entry) {
  std::wstring hash;
  std::wstring units;
  if (!ReadTagged(in, kPathTag, entry.relativePath, {}) ||
      !ReadTagged(in, kSizeTag, entry.sizeInBytes, 0) || !ReadTagged(in, kHashTag, hash, {})) {
    return false;
  }
  if (ReadTagged(in, kPathUnitsTag, units, {}) && !FromHex(units, entry.relativePath)) return false;
  if (entry.relativePath.empty()) return false;
  if (MTaggedSection chain(in, kErrorSection); chain) {
    entry.error.emplace();
    return hash.empty() && entry.error->ReadChain({&in, nullptr}) && chain.Close();
  }
  for (const wchar_t digit : hash) entry.sha256 += static_cast<char>(digit);
  return IsHash(hash);
}

}  // namespace

void RequireSavable(const std::wstring& file) {
  static MSourceContext context(L"AuditFile", L"RequireSavable");
  const MFlowScope scope(context, nullptr);
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const MFileHandle present(::CreateFileW(file.c_str(), GENERIC_WRITE, kShareAll, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD code = present ? ERROR_SUCCESS : ::GetLastError();
  if (code == ERROR_FILE_NOT_FOUND) {
    // Whether a file can be made shows by making it; it goes with its handle.
    const MFileHandle made(::CreateFileW(file.c_str(), GENERIC_WRITE | DELETE, kShareAll, nullptr,
                                         CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    code = made ? ERROR_SUCCESS : ::GetLastError();
  }
  if (code == ERROR_SUCCESS) return;
  MError error(context.At(__LINE__, nullptr), L"CannotSave");
  error.AddParameter(L"file", file);
  error.AddParameter(L"winErrorCode", code);
  throw MException(error);
}

void SaveAudit(const std::wstring& file, const std::wstring& folder,
               const std::vector<AuditEntry>& entries) {
  static MSourceContext context(L"AuditFile", L"SaveAudit");
  const MFlowScope scope(context, nullptr);
  MOutFilerTaggedXml filer;
  MTaggedSection audit(filer, kAuditSection);
  bool isWritten = audit && WriteTagged(filer, kFormatTag, kFormat) &&
                   WriteTagged(filer, kFolderTag, ValidText(folder));
  for (const AuditEntry& entry : entries) isWritten = isWritten && WriteEntry(filer, entry);
  if (!isWritten || !audit.Close() || !filer.SaveFile(file)) {
    MError error(context.At(__LINE__, nullptr), L"CannotSave");
    error.AddParameter(L"file", file);
    if (const std::wstring reason = filer.GetFailure().GetText(); !reason.empty()) {
      error.AddParameter(L"reason", reason);
    }
    throw MException(error);
  }
}

StoredAudit LoadAudit(const std::wstring& file) {
  static MSourceContext context(L"AuditFile", L"LoadAudit");
  const MFlowScope scope(context, nullptr);
  const std::unique_ptr<MInFilerTaggedXml> filer = MInFilerTaggedXml::FromFile(file);
  const MTaggedSection section(*filer, kAuditSection);
  StoredAudit audit;
  bool isRead = section && ReadTagged<std::uint32_t>(*filer, kFormatTag, 0) == kFormat &&
                ReadTagged(*filer, kFolderTag, audit.folder, {});
  while (isRead) {
    MTaggedSection entry = MTaggedSection::Next(*filer, kEntrySection);
    if (!entry) break;
    isRead = ReadEntry(*filer, audit.entries.emplace_back()) && entry.Close();
  }
  if (!isRead) {
    MError error(context.At(__LINE__, nullptr), L"CannotLoad");
    error.AddParameter(L"file", file);
    if (const std::wstring reason = filer->GetFailure().GetText(); !reason.empty()) {
      error.AddParameter(L"reason", reason);
    } else if (!audit.entries.empty()) {
      error.AddParameter(L"reason",
                         L"entry " + std::to_wstring(audit.entries.size()) + L" makes no sense");
    } else {
      error.AddParameter(L"reason", L"not an audit");
    }
    if (const auto& place = filer->GetErrorPlace()) {
      error.AddParameter(L"line", place->line);
      error.AddParameter(L"column", place->column);
    }
    throw MException(error);
  }
  return audit;
}

}  // namespace FolderAudit
