// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "orvel/foundation/dyn_object.h"
#include "orvel/foundation/filer_pair.h"
#include "orvel/foundation/source_context.h"
#include "orvel/foundation/whole_number.h"

class MException;

namespace Orvel::Detail {

/// Appends the errors of a chain's XML text to `chain`; does nothing when the text is not a chain.
void ReadChainText(MException& chain, std::wstring text);

/// How the text of `MError::GetChainText` is read. It is a virtual base, so the class of the whole
/// object initialises it: `MError` with null, since its text is empty, and each class derived from
/// it by default, without knowing. So the XML document, which reading needs, becomes part of the
/// programs that have such a class, and not of all that raise errors.
struct ChainTextLink {
  void (*readChainText)(MException& chain, std::wstring text) = &ReadChainText;
};

/// Values that errors take as numbers: whole numbers, characters, enumerations without `class`.
template <class Type>
concept ErrorNumber = WholeNumber<Type> || Character<Type> ||
    (std::is_enum_v<Type>&& std::convertible_to<Type, std::uint32_t>);

/// Objects that convert to a number by themselves, such as atomics.
template <class Type>
concept ErrorNumberObject =
    !std::is_arithmetic_v<Type> && !std::is_enum_v<Type> &&
    std::convertible_to<Type, std::uint32_t> && !std::convertible_to<Type, std::wstring>;

}  // namespace Orvel::Detail

// <windows.h> defines GetMessage as a macro, for GetMessageA or GetMessageW. The class below
// declares all three names, so that a call compiles and links whether <windows.h> was included
// before this header, after it, or not at all.
#pragma push_macro("GetMessage")
#undef GetMessage

/// One failure: a code, "Class.Function:ErrorName", and named text parameters in ordinal order of
/// their names. A value: copying copies everything.
///
/// Thread-compatible. Only the constructor that takes a raise site records in the flow log.
class MError : protected virtual Orvel::Detail::ChainTextLink, public MDynObject {
 public:
  /// Parameters by name, in ordinal order of the names.
  using ParameterMap = std::map<std::wstring, std::wstring, std::less<>>;

  /// An error without code and parameters.
  MError() : ChainTextLink{nullptr} {}
  /// An error with the code as it is passed.
  explicit MError(std::wstring code) : ChainTextLink{nullptr}, code_(std::move(code)) {}
  /// An error with the code "Class.Function:errorName", where an empty part and its separator are
  /// left out, recorded in the flow log: as a root error, or as a cascade error while a
  /// `std::exception` other than an `MException` is being handled. A source context converts to the
  /// site that was last stored in it, by any thread; `context.At(line, object)` returns the site of
  /// this raise.
  MError(const MRaiseSite& site, const wchar_t* errorName);

  ///@{
  /// Copies or moves code and parameters. An error that was moved from is valid, with unspecified
  /// content.
  MError(const MError&) = default;
  MError& operator=(const MError& other);
  MError(MError&&) = default;
  MError& operator=(MError&& other) noexcept;
  ///@}

  [[nodiscard]] const MDynClassRecord& GetClass() const noexcept override;
  [[nodiscard]] std::unique_ptr<MDynObject> Clone() const override;
  [[nodiscard]] std::unique_ptr<MDynObject> CreateEmpty() const override;
  /// Rebuilds the error from the first section `elementName` in the section that is open to the
  /// reader: "Code", then a section "Parameter" with "Name" and "Value" for each parameter. Returns
  /// true when every step succeeded. Returns false without a reader, and when there is no such
  /// section; this error is then unchanged. A section without "Code" leaves an empty error and
  /// returns false. Raises what the filer raises; the sections that were opened here are closed
  /// then, and what was read so far stays.
  virtual bool Read(const MFilerPair& filer, const std::wstring& elementName);
  /// Writes the error as a section of that form. Returns true when every step succeeded, and false
  /// without a writer. Raises what the filer raises; the sections that were opened here are closed
  /// then, and what was written stays.
  virtual bool Write(const MFilerPair& filer, const std::wstring& elementName) const;
  /// Returns the code; "Unspecified error" when it is empty.
  [[nodiscard]] virtual std::wstring GetMessage() const;
  /// XML text of an earlier chain of errors that this one follows, from which `MException` rebuilds
  /// that chain. Empty here; for subclasses that carry one.
  [[nodiscard]] virtual std::wstring GetChainText() const;

  /// Adds a parameter. A name that is there already keeps its first value. Null names are empty.
  void AddParameter(const wchar_t* name, std::wstring value);
  /// Adds a number of any width as decimal text, with a minus sign when it is negative, and without
  /// grouping in every locale. An enumeration without `class` adds the number that it stands for, a
  /// character its code. `double`, `bool` and scoped enumerations do not compile: cast them, or
  /// pass a text, to choose what is written.
  template <Orvel::Detail::ErrorNumber Number>
  void AddParameter(const wchar_t* name, Number value) {
    if constexpr (std::is_enum_v<Number>) {
      AddParameter(name, +static_cast<std::underlying_type_t<Number>>(value));
    } else if constexpr (Orvel::Detail::WholeNumber<Number> && std::is_signed_v<Number>) {
      AddSigned(name, value);
    } else {
      AddUnsigned(name, static_cast<std::make_unsigned_t<Number>>(value));
    }
  }
  /// Adds the number that an object converts to as an unsigned number of 32 bits.
  template <Orvel::Detail::ErrorNumberObject Object>
  void AddParameter(const wchar_t* name, const Object& object) {
    AddParameter(name, static_cast<std::uint32_t>(object));
  }
  /// Adds the bits of a number as hexadecimal text, two digits for each byte of its type: an
  /// `HRESULT` of E_ACCESSDENIED becomes "0x80070005".
  template <Orvel::Detail::WholeNumber Number>
  void AddHexParameter(const wchar_t* name, Number value) {
    AddHex(name, static_cast<std::make_unsigned_t<Number>>(value), 2 * sizeof value);
  }
  /// Adds an error number of the C runtime as signed decimal text under the name "errno".
  void AddErrnoParameter(long value);

  /// The same as `Read`, from the section that is open already, which stays open.
  bool ReadOpenSection(const MFilerPair& filer);

  /// Returns the code as it was built, which may be empty. Valid as long as this error exists.
  [[nodiscard]] const std::wstring& GetCode() const noexcept { return code_; }
  /// Returns the value of a parameter, owned by this error, or null when there is none of that
  /// name.
  [[nodiscard]] const std::wstring* FindParameter(std::wstring_view name) const;
  /// Returns all parameters. Valid as long as this error exists.
  [[nodiscard]] const ParameterMap& GetParameters() const noexcept { return parameters_; }

  /// The same as `GetMessage`, whose name <windows.h> changes to this one with `UNICODE`.
  [[nodiscard]] std::wstring GetMessageW() const { return GetMessage(); }
  /// The same for the name that <windows.h> uses without `UNICODE`; the text is wide here too.
  [[nodiscard]] std::wstring GetMessageA() const { return GetMessage(); }

 private:
  friend class MException;  // reads the chain text

  void AddSigned(const wchar_t* name, std::int64_t value);
  void AddUnsigned(const wchar_t* name, std::uint64_t value);
  void AddHex(const wchar_t* name, std::uint64_t value, std::size_t digits);

  std::wstring code_;
  ParameterMap parameters_;
};

#pragma pop_macro("GetMessage")
