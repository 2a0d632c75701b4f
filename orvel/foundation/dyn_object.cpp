// SPDX-License-Identifier: MIT
#include "orvel/foundation/dyn_object.h"

// Not in the header: the class's virtual table is made once, where the first of them is defined.

std::unique_ptr<MDynObject> MDynObject::Clone() const { return nullptr; }

std::unique_ptr<MDynObject> MDynObject::CreateEmpty() const { return nullptr; }
