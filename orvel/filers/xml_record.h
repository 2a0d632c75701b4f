// SPDX-License-Identifier: MIT
#pragma once

// Where this header was before; new programs include the one below.
#include "orvel/filers/xml/store/xml_record.h"
