// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "orvel/foundation/error.h"
#include "orvel/foundation/source_context.h"

/// The framework's only exception: a chain of errors, oldest cause first, the error raised last at
/// the end. Thrown by value and caught by reference. Owns its errors; copies hold clones.
///
/// Thread-compatible.
class MException : public std::exception {
 public:
  using ErrorList = std::vector<std::unique_ptr<MError>>;

  /// An empty chain.
  MException() = default;
  /// A chain of `error` alone.
  explicit MException(const MError& error);
  /// Clones every error; null entries are left out.
  MException(const MException& other);
  MException(MException&& other) noexcept = default;
  MException& operator=(MException other) noexcept;
  ~MException() override = default;

  /// Appends a clone of `error`; a null entry when the object's clone is no `MError`. Raises
  /// `std::length_error` ("list too long") when no list can be longer.
  void Append(const MDynObject& error);

  /// The errors, oldest first. Entries may be null; the list is this object's.
  [[nodiscard]] const ErrorList& GetErrors() const noexcept { return errors_; }
  /// The error raised last, or null when there is none.
  [[nodiscard]] const MError* GetNewestError() const noexcept;
  /// The chain for people: a line per error, oldest first, its parameters in brackets.
  [[nodiscard]] std::wstring GetChainDescription() const;

  /// Always "Unknown exception", in every runtime: the text of a failure is in the chain.
  [[nodiscard]] const char* what() const noexcept override;

  void Swap(MException& other) noexcept { errors_.swap(other.errors_); }

 private:
  ErrorList errors_;
};

/// Raises an `MException` of one error without parameters.
[[noreturn]] void RaiseError(const MRaiseSite& site, const wchar_t* errorName);
/// Raises an `MException` of one error with one number, written as unsigned decimal.
[[noreturn]] void RaiseError(const MRaiseSite& site, const wchar_t* errorName,
                             const wchar_t* parameterName, std::uint32_t value);

/// Records in the flow log that `exception` was caught and swallowed at `point`, labelled with its
/// newest error's message. `object` is the one that swallowed it. Raises nothing.
void RecordDismissed(const MFlowPoint& point, const void* object,
                     const MException& exception) noexcept;
