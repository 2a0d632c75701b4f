// SPDX-License-Identifier: MIT
#include "folder_audit/settings.h"

#include "folder_audit/error_text.h"
#include "orvel/filers/in_filer_tagged_registry.h"
#include "orvel/filers/out_filer_tagged_registry.h"
#include "orvel/filers/tagged_section.h"
#include "orvel/filers/tagged_values.h"
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

bool WriteSettings(IOutFilerTagged& out, const Settings& settings) {
  if (!WriteTagged(out, kFolderTag, settings.lastFolder) ||
      !WriteTagged(out, kAuditFileTag, settings.lastAuditFile)) {
    return false;
  }
  MTaggedSection counters(out, kCountersSection);
  return counters && WriteTagged(out, kRunTag, settings.auditsRun) &&
         WriteTagged(out, kInterruptedTag, settings.auditsInterrupted) && counters.Close();
}

}  // namespace

Settings LoadSettings(const std::wstring& applicationKey) {
  static const MFlowPoint point(L"Settings", L"LoadSettings");
  const MFlowScope scope(point, nullptr);
  Settings settings;
  IInFilerTaggedRegistry filer(kRoot, applicationKey);
  settings.lastFolder = ReadTagged<std::wstring>(filer, kFolderTag, {});
  settings.lastAuditFile = ReadTagged<std::wstring>(filer, kAuditFileTag, {});
  const MTaggedSection counters(filer, kCountersSection);
  settings.auditsRun = ReadTagged<std::uint32_t>(filer, kRunTag, 0);
  settings.auditsInterrupted = ReadTagged<std::uint32_t>(filer, kInterruptedTag, 0);
  return settings;
}

void SaveSettings(const std::wstring& applicationKey, const Settings& settings) {
  static MSourceContext context(L"Settings", L"SaveSettings");
  const MFlowScope scope(context, nullptr);
  IOutFilerTaggedRegistry filer(kRoot, applicationKey);
  if (!WriteSettings(filer, settings)) {
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
