// SPDX-License-Identifier: MIT
#pragma once

namespace Orvel::Libraries {

/// Base of classes that can be neither copied nor assigned. Has no state: thread-safe.
class NonCopyable {
 public:
  NonCopyable(const NonCopyable&) = delete;
  NonCopyable& operator=(const NonCopyable&) = delete;

 protected:
  NonCopyable() = default;
  ~NonCopyable() = default;
};

}  // namespace Orvel::Libraries
