// SPDX-License-Identifier: MIT
#include <cstring>

// What is the system's own affair and tested on it; here there is none of it.
#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/platform/c_locale.h"
#include "orvel/platform/com_apartment.h"
#include "orvel/platform/debugger_thread_name.h"
#include "orvel/platform/system_message.h"

bool MXmlDocument::LoadFile(const std::wstring&) { return false; }
bool MXmlDocument::SaveFile(const std::wstring&) { return false; }

namespace Orvel::Detail {

void* CreateCLocale(const char* name) noexcept { return const_cast<char*>(name); }
void FreeCLocale(void*) noexcept {}
std::wstring WidenText(const char* text) { return {text, text + std::strlen(text)}; }
void EnterMultithreadedApartment() noexcept {}
void LeaveApartment() noexcept {}
void AnnounceThreadName(std::uint32_t, const char*) noexcept {}
void DescribeCurrentThread(const wchar_t*) noexcept {}
std::wstring FindSystemMessage(std::uint32_t) { return {}; }

}  // namespace Orvel::Detail
