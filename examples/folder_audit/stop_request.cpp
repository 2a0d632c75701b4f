// SPDX-License-Identifier: MIT
#include "folder_audit/stop_request.h"

#include <utility>

namespace FolderAudit {

StopRequest::Action::Action(StopRequest& request, std::function<void()> action)
    : request_(request) {
  const std::lock_guard lock(request_.mutex_);
  request_.action_ = std::move(action);
  if (request_.source_.stop_requested()) request_.action_();
}

StopRequest::Action::~Action() {
  const std::lock_guard lock(request_.mutex_);
  request_.action_ = nullptr;
}

bool StopRequest::Make() {
  const std::lock_guard lock(mutex_);
  if (!source_.request_stop()) return false;
  if (action_ != nullptr) action_();
  return true;
}

}  // namespace FolderAudit
