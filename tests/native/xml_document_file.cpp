// SPDX-License-Identifier: MIT
// Files are the system's own affair and tested on it; here there are none.
#include "orvel/filers/xml_document.h"

bool MXmlDocument::LoadFile(const std::wstring&) { return false; }

bool MXmlDocument::SaveFile(const std::wstring&) { return false; }
