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
  /// The errors of a chain, oldest first.
  using ErrorList = std::vector<std::unique_ptr<MError>>;

  /// An empty chain.
  MException() = default;
  /// The chain that the error carries as XML text (`MError::GetChainText`), then the error itself.
  /// A text that is not such a chain is left out silently.
  explicit MException(const MError& error);
  /// Clones every error; leaves out null entries.
  MException(const MException& other);
  /// Takes the errors over; the other chain is empty afterwards.
  MException(MException&& other) noexcept = default;
  /// Replaces the chain by the errors of `other`, which is copied or moved into the parameter.
  MException& operator=(MException other) noexcept;
  ~MException() override = default;

  /// Appends a clone of `error`; a null entry when the object's clone is no `MError`. Raises
  /// `std::length_error` ("list too long") when no list can be longer.
  void Append(const MDynObject& error);

  /// Returns the errors, oldest first, which this object owns. Entries may be null.
  [[nodiscard]] const ErrorList& GetErrors() const noexcept { return errors_; }
  /// Returns the error raised last, or null when there is none.
  [[nodiscard]] const MError* GetNewestError() const noexcept;
  /// Returns the chain as text for people: a line per error, oldest first, with its parameters in
  /// brackets.
  [[nodiscard]] std::wstring GetChainDescription() const;

  /// The same as UTF-8; unpaired surrogates become U+FFFD.
  [[nodiscard]] std::string GetChainDescriptionUtf8() const;

  /// Writes the chain as a section `elementName` with a section "Error" for each error, oldest
  /// first. Returns true when every step succeeded, and false without a writer. Raises what the
  /// filer raises; the sections that were opened here are closed then, and what was written stays.
  bool WriteChain(const MFilerPair& filer, const std::wstring& elementName) const;
  /// Appends every error stored as a section "Error" in the section that is open to the reader.
  /// Returns true, even when there is none; false without a reader. Raises what the filer and
  /// `Append` raise; the sections that were opened here are closed then, and the errors before
  /// stay.
  bool ReadChain(const MFilerPair& filer);
  /// Returns the chain as an XML document: the root "ExceptionChain", in it "Exception", in it the
  /// errors. Returns an empty text when it cannot be written. For `MError::GetChainText` and for
  /// stores that keep XML text, such as the registry filers' sub-documents.
  [[nodiscard]] std::wstring GetChainXml() const;
  /// Appends the errors of such a document. Returns false, and appends nothing, when the text is
  /// not one. When memory runs out, `std::bad_alloc` is raised and the chain is unchanged.
  bool AppendChainXml(std::wstring xmlText);

  /// Returns "Unknown exception" in every runtime: the text of a failure is in the chain.
  [[nodiscard]] const char* what() const noexcept override;

  /// Exchanges the two chains.
  void Swap(MException& other) noexcept { errors_.swap(other.errors_); }

 private:
  ErrorList errors_;
};

/// Raises an `MException` of one error without parameters, or `std::bad_alloc` when memory runs
/// out. Any thread.
[[noreturn]] void RaiseError(const MRaiseSite& site, const wchar_t* errorName);
/// The same for an error with one text.
[[noreturn]] void RaiseError(const MRaiseSite& site, const wchar_t* errorName,
                             const wchar_t* parameterName, std::wstring value);
/// The same for an error with one number of any width, written as `MError::AddParameter` writes it.
template <Orvel::Detail::ErrorNumber Number>
[[noreturn]] void RaiseError(const MRaiseSite& site, const wchar_t* errorName,
                             const wchar_t* parameterName, Number value) {
  MError error(site, errorName);
  error.AddParameter(parameterName, value);
  throw MException(error);
}
/// The same for the number that an object converts to as an unsigned number of 32 bits.
template <Orvel::Detail::ErrorNumberObject Object>
[[noreturn]] void RaiseError(const MRaiseSite& site, const wchar_t* errorName,
                             const wchar_t* parameterName, const Object& object) {
  RaiseError(site, errorName, parameterName, static_cast<std::uint32_t>(object));
}

/// Records in the flow log that `exception` was caught and dismissed at `point`: labelled with the
/// message of its newest error (of an empty error when there is none), with "OutOfMemory" when
/// there is no memory for that message, and with "NoMessage" when asking for it raises anything
/// else. `object` is the one that dismissed it. Any thread. Raises nothing.
void RecordDismissed(const MFlowPoint& point, const void* object,
                     const MException& exception) noexcept;
