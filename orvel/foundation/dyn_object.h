// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

/// Run-time record of a framework class: its name and its base class's record. One constant per
/// class, usable before and after every other static object. Immutable.
class MDynClassRecord {
 public:
  /// `name` is borrowed for good; `base` is null for the root.
  constexpr MDynClassRecord(const wchar_t* name, const MDynClassRecord* base) noexcept
      : name_(name), base_(base) {}
  MDynClassRecord(const MDynClassRecord&) = delete;
  MDynClassRecord& operator=(const MDynClassRecord&) = delete;

  /// Returns the class's name, for example "MError".
  [[nodiscard]] constexpr const wchar_t* GetName() const noexcept { return name_; }
  /// Returns the record of the base class; null for the root.
  [[nodiscard]] constexpr const MDynClassRecord* GetBase() const noexcept { return base_; }
  /// Returns true for `ancestor` itself and for every class below it.
  [[nodiscard]] constexpr bool IsKindOf(const MDynClassRecord& ancestor) const noexcept {
    for (const MDynClassRecord* record = this; record != nullptr; record = record->base_) {
      if (record == &ancestor) return true;
    }
    return false;
  }

 private:
  const wchar_t* name_;
  const MDynClassRecord* base_;
};

/// Records of the framework's own classes. The five below `MError` name categories of error and
/// have no class of their own: they differ from `MError` in the record only.
namespace MClassRecords {
///@{
/// The record of the class of that name.
inline constexpr MDynClassRecord kDynObject{L"MDynObject", nullptr};
inline constexpr MDynClassRecord kError{L"MError", &kDynObject};
inline constexpr MDynClassRecord kErrorOutOfMemory{L"MErrorOutOfMemory", &kError};
inline constexpr MDynClassRecord kErrorInternal{L"MErrorInternal", &kError};
inline constexpr MDynClassRecord kErrorDivisionByZero{L"MErrorDivisionByZero", &kError};
inline constexpr MDynClassRecord kErrorBadInput{L"MErrorBadInput", &kError};
inline constexpr MDynClassRecord kErrorUserEscape{L"MErrorUserEscape", &kError};
///@}
}  // namespace MClassRecords

/// Root of framework objects that know their class at run time and can be copied and created
/// through it. Thread-compatible.
class MDynObject {
 public:
  virtual ~MDynObject() = default;
  /// Returns the record of the object's class.
  [[nodiscard]] virtual const MDynClassRecord& GetClass() const noexcept = 0;
  /// Returns a copy of the object. The default returns null: the class cannot be copied.
  [[nodiscard]] virtual std::unique_ptr<MDynObject> Clone() const;
  /// Returns a new object of the same class in its empty state. The default returns null.
  [[nodiscard]] virtual std::unique_ptr<MDynObject> CreateEmpty() const;

 protected:
  MDynObject() = default;
  ///@{
  /// Copies what this class holds, for subclasses that can be copied.
  MDynObject(const MDynObject&) = default;
  MDynObject& operator=(const MDynObject&) = default;
  ///@}

  /// 1 in a new object, copied with it; reserved for subclasses, no operation interprets it.
  std::int32_t reserved_ = 1;
};
