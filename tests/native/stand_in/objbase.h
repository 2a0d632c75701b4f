// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

HRESULT CoInitializeEx(void* reserved, DWORD apartment);
void CoUninitialize();
