// SPDX-License-Identifier: MIT
#include "orvel/foundation/dyn_object.h"

std::unique_ptr<MDynObject> MDynObject::Clone() const { return nullptr; }

std::unique_ptr<MDynObject> MDynObject::CreateEmpty() const { return nullptr; }
