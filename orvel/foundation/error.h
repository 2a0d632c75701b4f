// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "orvel/foundation/dyn_object.h"
#include "orvel/foundation/filer_pair.h"
#include "orvel/foundation/source_context.h"

// <windows.h> defines GetMessage as a macro. The class below has the operation whatever was
// included before, and answers to both names that a macro defined later may give the call.
#pragma push_macro("GetMessage")
#undef GetMessage

/// One failure: a code, "Class.Function:ErrorName", and named text parameters in ordinal order of
/// their names. A value: copying copies everything.
///
/// Thread-compatible. Only the constructor that takes a raise site talks to the flow log.
class MError : public MDynObject {
 public:
  using ParameterMap = std::map<std::wstring, std::wstring, std::less<>>;

  /// An error without code and parameters.
  MError() = default;
  /// An error with the code as it is passed.
  explicit MError(std::wstring code) : code_(std::move(code)) {}
  /// An error with the code "Class.Function:errorName", where an empty part and its separator are
  /// left out, recorded in the flow log: as a root error, or as a cascade error while a
  /// `std::exception` other than an `MException` is being handled. A source context serves as the
  /// site with what was last stored in it; `context.At(line, object)` says it for this raise.
  MError(const MRaiseSite& site, const wchar_t* errorName);

  MError(const MError&) = default;
  MError& operator=(const MError&) = default;
  MError(MError&&) = default;
  MError& operator=(MError&&) = default;

  [[nodiscard]] const MDynClassRecord& GetClass() const noexcept override;
  [[nodiscard]] std::unique_ptr<MDynObject> Clone() const override;
  [[nodiscard]] std::unique_ptr<MDynObject> CreateEmpty() const override;
  /// Rebuilds the error from the first section `elementName` that is open to the reader: "Code",
  /// then a section "Parameter" with "Name" and "Value" for each parameter. True when every step
  /// succeeded. False without a reader and, with this error unchanged, when there is no such
  /// section; a section without "Code" gives false and an empty error.
  virtual bool Read(const MFilerPair& filer, const std::wstring& elementName);
  /// Writes the error as a section of that form. True when every step succeeded; false without a
  /// writer.
  virtual bool Write(const MFilerPair& filer, const std::wstring& elementName) const;
  /// The code; "Unspecified error" when it is empty.
  [[nodiscard]] virtual std::wstring GetMessage() const;
  /// XML text of an earlier chain of errors that this one follows, from which `MException` rebuilds
  /// that chain. Empty here; for subclasses that carry one.
  [[nodiscard]] virtual std::wstring GetChainText() const;

  /// Adds a parameter. A name that is there already keeps its first value. Null names are empty.
  void AddParameter(const wchar_t* name, std::wstring value);
  /// Adds a number as unsigned decimal text, without grouping in every locale.
  void AddParameter(const wchar_t* name, std::uint32_t value);
  /// Adds an error number of the C runtime as signed decimal text under the name "errno".
  void AddErrnoParameter(long value);

  /// The same as `Read`, from the section that is open already, which stays open.
  bool ReadOpenSection(const MFilerPair& filer);

  [[nodiscard]] const std::wstring& GetCode() const noexcept { return code_; }
  /// The parameter's value, owned by this error; null when there is none of that name.
  [[nodiscard]] const std::wstring* FindParameter(std::wstring_view name) const;
  [[nodiscard]] const ParameterMap& GetParameters() const noexcept { return parameters_; }

  /// What `GetMessage()` becomes where <windows.h> was included after this header.
  [[nodiscard]] std::wstring GetMessageW() const { return GetMessage(); }
  /// The same, without UNICODE; the text is wide all the same.
  [[nodiscard]] std::wstring GetMessageA() const { return GetMessage(); }

 private:
  std::wstring code_;
  ParameterMap parameters_;
};

#pragma pop_macro("GetMessage")
