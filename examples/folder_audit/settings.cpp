// SPDX-License-Identifier: MIT
#include "folder_audit/settings.h"

#include "folder_audit/error_text.h"
#include "orvel/filers/in_filer_tagged_registry.h"
#include "orvel/filers/out_filer_tagged_registry.h"
#include "orvel/foundation/exception.h"

namespace FolderAudit {
namespace {

constexpr MRegistryRoot kRoot = MRegistryRoot::kCurrentUser;
constexpr const wchar_t* kFolderTag = L"LastFolder";
constexpr const wchar_t* kAuditFileTag = L"LastAuditFile";
constexpr const wchar_t* kCountersSection = L"Counters";
constexpr const wchar_t* kRunTag = L"AuditsRun";
constexpr const wchar_t* kInterruptedTag = L"AuditsInterrupted";

std::wstring OrNone(const std::wstring& path) {
  return path.empty() ? L"none yet" : Printable(path);
}

}  // namespace

Settings LoadSettings(const std::wstring& applicationKey) {
  static const MFlowPoint point(L"Settings", L"LoadSettings");
  const MFlowScope scope(point, nullptr);
  Settings settings;
  IInFilerTaggedRegistry filer(kRoot, applicationKey);
  // Whether a value was found does not matter: without it the default stands.
  filer.ReadString(kFolderTag, settings.lastFolder, {});
  filer.ReadString(kAuditFileTag, settings.lastAuditFile, {});
  filer.BeginSection(kCountersSection);
  filer.ReadUnsignedInt(kRunTag, settings.auditsRun, 0);
  filer.ReadUnsignedInt(kInterruptedTag, settings.auditsInterrupted, 0);
  filer.EndSection();
  return settings;
}

void SaveSettings(const std::wstring& applicationKey, const Settings& settings) {
  static MSourceContext context(L"Settings", L"SaveSettings");
  const MFlowScope scope(context, nullptr);
  IOutFilerTaggedRegistry filer(kRoot, applicationKey);
  const bool isWritten =
      filer.WriteString(kFolderTag, settings.lastFolder) &&
      filer.WriteString(kAuditFileTag, settings.lastAuditFile) &&
      filer.BeginSection(kCountersSection) && filer.WriteUnsignedInt(kRunTag, settings.auditsRun) &&
      filer.WriteUnsignedInt(kInterruptedTag, settings.auditsInterrupted) && filer.EndSection();
  if (!isWritten) {
    MError error(context.At(__LINE__, nullptr), L"CannotSave");
    error.AddParameter(L"key", applicationKey);
    throw MException(error);
  }
}

std::wstring DescribeSettings(const std::wstring& applicationKey, const Settings& settings) {
  return L"Last folder      " + OrNone(settings.lastFolder) + L"\nLast audit file  " +
         OrNone(settings.lastAuditFile) + L"\nAudits run       " +
         std::to_wstring(settings.auditsRun) + L", " + std::to_wstring(settings.auditsInterrupted) +
         L" of them interrupted\nKept in          HKEY_CURRENT_USER\\Software\\Orvel\\" +
         Printable(applicationKey) + L'\n';
}

}  // namespace FolderAudit
