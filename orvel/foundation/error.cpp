// SPDX-License-Identifier: MIT
#include "orvel/foundation/error.h"

#include <exception>
#include <utility>

#include "orvel/foundation/decimal_text.h"
#include "orvel/foundation/exception.h"

namespace {

std::wstring ComposeCode(const MSourceContext& context, const wchar_t* errorName) {
  std::wstring code = context.GetClassText();
  const std::wstring_view function = context.GetFunctionText();
  if (!function.empty()) {
    if (!code.empty()) code += L'.';
    code += function;
  }
  const std::wstring_view name = errorName != nullptr ? errorName : L"";
  if (!name.empty()) {
    if (!code.empty()) code += L':';
    code += name;
  }
  return code;
}

bool IsHandlingForeignException() noexcept {
  const std::exception_ptr current = std::current_exception();
  if (current == nullptr) return false;
  try {
    std::rethrow_exception(current);
  } catch (const MException&) {
    return false;
  } catch (const std::exception&) {
    return true;
  } catch (...) {
    // Neither the framework's nor the standard library's.
    return false;
  }
}

}  // namespace

MError::MError(const MRaiseSite& site, const wchar_t* errorName)
    : ChainTextLink{nullptr}, code_(ComposeCode(site.GetContext(), errorName)) {
  const MFlowEvent kind =
      IsHandlingForeignException() ? MFlowEvent::kCascadeError : MFlowEvent::kRootError;
  site.GetContext().RecordNamed(kind, site.GetObjectAddress(), errorName, site.GetLine());
}

// Not the link to the chain text's reader, which depends on the class of the object assigned to.
MError& MError::operator=(const MError& other) {
  MDynObject::operator=(other);
  code_ = other.code_;
  parameters_ = other.parameters_;
  return *this;
}

MError& MError::operator=(MError&& other) noexcept {
  MDynObject::operator=(other);
  code_ = std::move(other.code_);
  parameters_ = std::move(other.parameters_);
  return *this;
}

const MDynClassRecord& MError::GetClass() const noexcept { return MClassRecords::kError; }

std::unique_ptr<MDynObject> MError::Clone() const { return std::make_unique<MError>(*this); }

std::unique_ptr<MDynObject> MError::CreateEmpty() const { return std::make_unique<MError>(); }

std::wstring MError::GetMessage() const { return code_.empty() ? L"Unspecified error" : code_; }

std::wstring MError::GetChainText() const { return {}; }

// NOLINTNEXTLINE(performance-unnecessary-value-param): it is moved from
void MError::AddParameter(const wchar_t* name, std::wstring value) {
  parameters_.try_emplace(name != nullptr ? name : L"", std::move(value));
}

void MError::AddSigned(const wchar_t* name, std::int64_t value) {
  AddParameter(name, Orvel::Detail::DecimalText(value));
}

void MError::AddUnsigned(const wchar_t* name, std::uint64_t value) {
  AddParameter(name, Orvel::Detail::DecimalText(value));
}

void MError::AddHex(const wchar_t* name, std::uint64_t value, std::size_t digits) {
  AddParameter(name, Orvel::Detail::HexText(value, digits));
}

void MError::AddErrnoParameter(long value) { AddSigned(L"errno", value); }

const std::wstring* MError::FindParameter(std::wstring_view name) const {
  const auto found = parameters_.find(name);
  return found != parameters_.end() ? &found->second : nullptr;
}
