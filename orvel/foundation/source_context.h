// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

#include "orvel/logging/flow_trace.h"

class MRaiseSite;

/// Where errors come from: the class and function that raise them. One static object per function,
/// which also serves as the function's flow point:
///
///     static MSourceContext context(L"Importer", L"Open");
///     const MFlowScope scope(context, this);
///     ...
///     RaiseError(context.At(__LINE__, this), L"NoSuchFile");
///
/// Thread-safe, and trivially destructible, so that errors can be raised to the end of the process.
class MSourceContext : public MFlowPoint {
 public:
  /// The names are those of an `MFlowPoint`: in a constructor, pass the class's name twice.
  MSourceContext(const wchar_t* className, const wchar_t* functionName) noexcept
      : MFlowPoint(className, functionName) {}
  MSourceContext(const MSourceContext&) = delete;
  MSourceContext& operator=(const MSourceContext&) = delete;

  /// Stores line and object and returns them as the site of one raise. `object` is null outside
  /// member functions.
  MRaiseSite At(std::int32_t line, const void* object) noexcept;

  ///@{
  /// Stores one part of the site that the context converts to.
  void SetLine(std::int32_t line) noexcept { line_.store(line, std::memory_order_relaxed); }
  void SetObject(const void* object) noexcept {
    object_.store(FlowObject(object), std::memory_order_relaxed);
  }
  ///@}
  /// Returns the line stored last, by any thread; -1 before the first.
  [[nodiscard]] std::int32_t GetLine() const noexcept {
    return line_.load(std::memory_order_relaxed);
  }
  /// Returns the object's address stored last, by any thread; 0 before the first.
  [[nodiscard]] std::uint64_t GetObjectValue() const noexcept {
    return object_.load(std::memory_order_relaxed);
  }

 private:
  // Relaxed: for readers of the log, nothing is ordered by them.
  std::atomic<std::uint64_t> object_{0};
  std::atomic<std::int32_t> line_{-1};
};

/// One raise of an error: the function it happens in, and this raise's own line and object, so that
/// two threads that raise from one function do not read each other's. Borrows the context; never
/// dereferences the object. Immutable.
class MRaiseSite {
 public:
  /// The site with the line and object last stored in `context`.
  MRaiseSite(const MSourceContext& context) noexcept  // NOLINT(google-explicit-constructor)
      : MRaiseSite(
            context, context.GetLine(),
            reinterpret_cast<const void*>(static_cast<std::uintptr_t>(context.GetObjectValue()))) {}
  /// The site with this line and object, whatever is stored in `context`.
  MRaiseSite(const MSourceContext& context, std::int32_t line, const void* object) noexcept
      : context_(context), line_(line), object_(object) {}

  ///@{
  /// Return what the site was built from.
  [[nodiscard]] const MSourceContext& GetContext() const noexcept { return context_; }
  [[nodiscard]] std::int32_t GetLine() const noexcept { return line_; }
  [[nodiscard]] const void* GetObjectAddress() const noexcept { return object_; }
  ///@}

 private:
  const MSourceContext& context_;
  std::int32_t line_;
  const void* object_;
};

inline MRaiseSite MSourceContext::At(std::int32_t line, const void* object) noexcept {
  SetLine(line);
  SetObject(object);
  return MRaiseSite(*this, line, object);
}
