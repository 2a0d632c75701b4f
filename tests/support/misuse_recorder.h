// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "orvel/platform/misuse.h"
#include "orvel/threads/non_copyable.h"

namespace Orvel::Testing {

/// Takes reports of misuse while it lives, so that they do not end the program. One at a time;
/// reports may come from any thread.
class MisuseRecorder : public Libraries::NonCopyable {
 public:
  MisuseRecorder() : previous_(Detail::ReplaceMisuseHandler(Record)) { Take(); }
  ~MisuseRecorder() { Detail::ReplaceMisuseHandler(previous_); }

  /// The messages since the last call. None where the library was built without assertions.
  std::vector<std::wstring> Take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(messages_, {});
  }

 private:
  static void Record(const wchar_t* message) noexcept {
    const std::lock_guard lock(mutex_);
    messages_.emplace_back(message);
  }

  static inline std::mutex mutex_;
  static inline std::vector<std::wstring> messages_;
  const Detail::MisuseHandler previous_;
};

}  // namespace Orvel::Testing
