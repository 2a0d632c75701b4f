// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/logging/flow_logger.h"

/// A place in the code that records flow events: a class and one of its functions. Kept as a
/// static of that function:
///
///     static const MFlowPoint point(L"Importer", L"Open");
///     const MFlowScope scope(point, this);
///
/// Construction registers both names with the process's flow logger; recording with Record or Trace
/// afterwards is one record, without lock, allocation or work on text. Immutable, so any thread may
/// use it, and trivially destructible, so it works to the very end of the process. Raises nothing.
class MFlowPoint {
 public:
  /// In a constructor, pass the class's name twice. The strings are borrowed for the point's life;
  /// null counts as empty.
  MFlowPoint(const wchar_t* className, const wchar_t* functionName) noexcept;

  ///@{
  /// Return the names that the point was built with; never null.
  [[nodiscard]] const wchar_t* GetClassText() const noexcept { return className_; }
  [[nodiscard]] const wchar_t* GetFunctionText() const noexcept { return functionName_; }
  ///@}
  ///@{
  /// The same, under the names that these operations had first.
  [[nodiscard]] const wchar_t* ClassText() const noexcept { return GetClassText(); }
  [[nodiscard]] const wchar_t* FunctionText() const noexcept { return GetFunctionText(); }
  ///@}

  /// Records an event of `kind` at this point, concerning `object` (null: none).
  void Record(MFlowEvent kind, const void* object, std::int32_t arg1 = 0,
              std::int32_t arg2 = 0) const noexcept;
  /// Records that this point was reached (kTimingPoint).
  void Trace(const void* object) const noexcept { Record(MFlowEvent::kTimingPoint, object); }
  /// Registers `name` as a label and records it with an error or warning kind; `arg2` is by
  /// custom the source line. Takes a lock and, for a new name, allocates; without memory the name
  /// is dropped.
  void RecordNamed(MFlowEvent kind, const void* object, const wchar_t* name,
                   std::int32_t arg2 = 0) const noexcept;
  /// Registers the name of a state of this point's class. Takes a lock and, for a new name,
  /// allocates; without memory the name is dropped.
  void NameState(std::int32_t state, const wchar_t* name) const noexcept;

 private:
  const wchar_t* className_;
  const wchar_t* functionName_;
  std::int32_t classId_;
  std::int32_t functionId_;
};

/// Records that a scope is entered when built, and left when destroyed, even by an exception.
/// Thread-affine, like any local variable.
class [[nodiscard]] MFlowScope {
 public:
  /// Borrows `point`, in practice a static. `object` may be null and is never dereferenced.
  MFlowScope(const MFlowPoint& point, const void* object) noexcept
      : point_(point), object_(object) {
    point_.Record(MFlowEvent::kScopePush, object_);
  }
  /// Deleted: a temporary point is destroyed before the scope ends.
  MFlowScope(const MFlowPoint&& point, const void* object) = delete;
  MFlowScope(const MFlowScope&) = delete;
  MFlowScope& operator=(const MFlowScope&) = delete;
  ~MFlowScope() { point_.Record(MFlowEvent::kScopePop, object_); }

 private:
  const MFlowPoint& point_;
  const void* object_;
};

/// Names an object in dumps by its address. The first name of an address stays for good, so this
/// is for objects that live long; takes a lock and may allocate. Any thread. Raises nothing.
void NameFlowObject(const void* object, const wchar_t* name) noexcept;
