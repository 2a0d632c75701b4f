// SPDX-License-Identifier: MIT
#include "orvel/foundation/exception.h"

#include <atomic>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "orvel/foundation/dismissed_error.h"
#include "orvel/foundation/foreign_error.h"
#include "orvel/foundation/utf8.h"

namespace {

// Release in SetDismissedErrorHook, acquire where it is called.
constinit std::atomic<Orvel::Detail::DismissedErrorHook> dismissedErrorHook{nullptr};

void RecordAsDismissed(const MFlowPoint& point, const void* object,
                       const MException& exception) noexcept {
  const MError* const newest = exception.GetNewestError();
  try {
    const std::wstring message = newest != nullptr ? newest->GetMessage() : MError().GetMessage();
    point.RecordNamed(MFlowEvent::kDismissedError, object, message.c_str());
  } catch (const std::bad_alloc&) {
    point.RecordNamed(MFlowEvent::kDismissedError, object, L"OutOfMemory");
  } catch (...) {  // an error class of the application's own may raise anything
    point.RecordNamed(MFlowEvent::kDismissedError, object, L"NoMessage");
  }
}

}  // namespace

void Orvel::Detail::SetDismissedErrorHook(DismissedErrorHook hook) noexcept {
  dismissedErrorHook.store(hook, std::memory_order_release);
}

MException::MException(const MError& error) {
  if (error.readChainText != nullptr) {
    std::wstring chainText = error.GetChainText();
    if (!chainText.empty()) error.readChainText(*this, std::move(chainText));
  }
  Append(error);
}

MException::MException(const MException& other) : std::exception(other) {
  errors_.reserve(other.errors_.size());
  for (const auto& error : other.errors_) {
    if (error != nullptr) Append(*error);
  }
}

MException& MException::operator=(MException other) noexcept {
  Swap(other);
  return *this;
}

void MException::Append(const MDynObject& error) {
  if (errors_.size() == errors_.max_size()) throw std::length_error("list too long");
  std::unique_ptr<MDynObject> clone = error.Clone();
  auto* const clonedError = dynamic_cast<MError*>(clone.get());
  std::unique_ptr<MError> entry;
  if (clonedError != nullptr) {
    static_cast<void>(clone.release());
    entry.reset(clonedError);
  }
  errors_.push_back(std::move(entry));
}

const MError* MException::GetNewestError() const noexcept {
  return errors_.empty() ? nullptr : errors_.back().get();
}

std::wstring MException::GetChainDescription() const {
  std::wstring text;
  for (const auto& error : errors_) {
    if (error == nullptr) continue;
    text += error->GetMessage();
    const wchar_t* separator = L" (";
    for (const auto& [name, value] : error->GetParameters()) {
      text += separator;
      text += name;
      text += L" = ";
      text += value;
      separator = L", ";
    }
    if (!error->GetParameters().empty()) text += L')';
    text += L'\n';
  }
  return text;
}

std::string MException::GetChainDescriptionUtf8() const {
  return Orvel::Detail::EncodeUtf8Replacing(GetChainDescription());
}

const char* MException::what() const noexcept { return "Unknown exception"; }

void RaiseError(const MRaiseSite& site, const wchar_t* errorName) {
  throw MException(MError(site, errorName));
}

void RaiseError(const MRaiseSite& site, const wchar_t* errorName, const wchar_t* parameterName,
                std::wstring value) {
  MError error(site, errorName);
  error.AddParameter(parameterName, std::move(value));
  throw MException(error);
}

void RecordDismissed(const MFlowPoint& point, const void* object,
                     const MException& exception) noexcept {
  RecordAsDismissed(point, object, exception);
  const Orvel::Detail::DismissedErrorHook hook = dismissedErrorHook.load(std::memory_order_acquire);
  if (hook != nullptr) hook(point, object, exception);
}

MError Orvel::Detail::ForeignError(const MRaiseSite& site, const std::exception& exception) {
  const char* const what = exception.what();
  const std::string_view bytes = what != nullptr ? what : "";
  std::wstring text;
  if (DecodeUtf8(bytes, text)) {
    for (const char byte : bytes) text += static_cast<wchar_t>(static_cast<unsigned char>(byte));
  }
  MError error(site, L"StandardException");
  error.AddParameter(L"errorMessage", std::move(text));
  return error;
}
