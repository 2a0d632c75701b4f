// SPDX-License-Identifier: MIT
#include "orvel/filers/in_filer_tagged.h"

bool IInFilerTagged::BeginNextSection(const std::wstring&) { return false; }
