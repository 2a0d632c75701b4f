// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <mutex>
#include <stop_token>

namespace FolderAudit {

/// A request to stop, which is made once, by whichever thread is first. Work that looks at it
/// between two steps takes the token; what is to happen at the request is an `Action`.
///
/// Thread-safe.
class StopRequest {
 public:
  /// Has a function called when the stop is requested, on the thread that requests it; on this one,
  /// before the constructor returns, when it was requested before. A request has one action at a
  /// time.
  ///
  /// In place of std::stop_callback, whose destructor may wait for ever with a libstdc++ that has
  /// no futexes: it reads the value that it waits for before it takes the lock to sleep.
  class Action {
   public:
    /// `request` is borrowed. `action` must not raise, and not end the life of this object.
    Action(StopRequest& request, std::function<void()> action);
    /// Waits for a call that another thread makes at the moment.
    ~Action();
    Action(const Action&) = delete;
    Action& operator=(const Action&) = delete;

   private:
    StopRequest& request_;
  };

  /// False when the stop was requested before. Returns after the action did.
  bool Make();

  [[nodiscard]] std::stop_token GetToken() const noexcept { return source_.get_token(); }

 private:
  std::stop_source source_;
  std::mutex mutex_;              // held while the action runs
  std::function<void()> action_;  // under mutex_
};

}  // namespace FolderAudit
