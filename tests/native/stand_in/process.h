// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

std::uintptr_t _beginthreadex(void* security, unsigned stackSize, unsigned (*entry)(void*),
                              void* argument, unsigned flags, unsigned* threadId);
