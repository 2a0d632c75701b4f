// SPDX-License-Identifier: MIT
#include "orvel/commands/command_synchronous.h"

#include <utility>

#include "orvel/commands/abort_protocol.h"
#include "orvel/threads/event_operations.h"

MCommandSynchronous::MCommandSynchronous(std::shared_ptr<MException> errorSlot)
    : errorSlot_(std::move(errorSlot)) {}

MCommandSynchronous::~MCommandSynchronous() = default;

void MCommandSynchronous::Execute() {
  static MSourceContext context(L"MCommandSynchronous", L"ExecuteGenericCommand");
  // The processor stands for the object: it has a name, and commands are too brief to get one.
  const void* const object = completion_ != nullptr ? completion_->GetProcessor() : nullptr;
  const MFlowScope scope(context, object);
  if (completion_ != nullptr && !completion_->TryBeginRun()) return;

  if (errorSlot_ != nullptr) MException().Swap(*errorSlot_);
  try {
    ExecuteCommand();
  } catch (const MException& exception) {
    if (errorSlot_ != nullptr) {
      MException(exception).Swap(*errorSlot_);
    } else {
      RecordDismissed(context, object, exception);
    }
  }
  if (completion_ != nullptr) {
    completion_->EndRun();
    Orvel::Detail::SetEventOrRaise(context.At(__LINE__, object), completion_->GetEvent());
  }
}
