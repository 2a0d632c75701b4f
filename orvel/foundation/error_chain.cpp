// SPDX-License-Identifier: MIT
// Errors and chains in tagged form. Of this layer only this file and error_chain_xml.cpp include
// the filers; this one needs only their interfaces, because every error has these operations.
#include <utility>

#include "orvel/filers/in_filer_tagged.h"
#include "orvel/filers/out_filer_tagged.h"
#include "orvel/foundation/error.h"
#include "orvel/foundation/exception.h"

namespace {

constexpr const wchar_t* kErrorElement = L"Error";
constexpr const wchar_t* kCodeElement = L"Code";
constexpr const wchar_t* kParameterElement = L"Parameter";
constexpr const wchar_t* kNameElement = L"Name";
constexpr const wchar_t* kValueElement = L"Value";

using BeginOperation = bool (IInFilerTagged::*)(const std::wstring&);

/// An element that is open in both members of a pair, as far as they exist, or in neither because
/// one refused. The destructor closes it, so that an exception leaves the filers where they were.
class Element {
 public:
  Element(const MFilerPair& filer, const std::wstring& tag,
          BeginOperation begin = &IInFilerTagged::BeginSection)
      : Element() {  // delegates, so that the destructor runs even when what follows raises
    if (filer.in != nullptr && !(filer.in->*begin)(tag)) return;
    in_ = filer.in;
    if (filer.out != nullptr && !filer.out->BeginSection(tag)) {
      Close();
      return;
    }
    out_ = filer.out;
    isOpen_ = true;
  }
  Element(const Element&) = delete;
  Element& operator=(const Element&) = delete;
  ~Element() { Close(); }

  explicit operator bool() const noexcept { return isOpen_; }

  /// Closes the element now. Returns true when every member has closed it.
  bool Close() {
    isOpen_ = false;
    IInFilerTagged* const in = std::exchange(in_, nullptr);
    IOutFilerTagged* const out = std::exchange(out_, nullptr);
    const bool readerClosed = in == nullptr || in->EndSection();
    const bool writerClosed = out == nullptr || out->EndSection();
    return readerClosed && writerClosed;
  }

 private:
  Element() = default;

  IInFilerTagged* in_ = nullptr;
  IOutFilerTagged* out_ = nullptr;
  bool isOpen_ = false;
};

bool ReadText(const MFilerPair& filer, const wchar_t* tag, std::wstring& text) {
  return filer.in != nullptr && filer.in->ReadString(tag, text, {});
}

bool WriteText(const MFilerPair& filer, const wchar_t* tag, const std::wstring& text) {
  return filer.out != nullptr && filer.out->WriteString(tag, text);
}

}  // namespace

bool MError::Read(const MFilerPair& filer, const std::wstring& elementName) {
  if (filer.in == nullptr) return false;
  Element element(filer, elementName);
  if (!element) return false;
  const bool isRead = ReadOpenSection(filer);
  return element.Close() && isRead;
}

bool MError::ReadOpenSection(const MFilerPair& filer) {
  code_.clear();
  parameters_.clear();
  if (!ReadText(filer, kCodeElement, code_)) return false;
  bool succeeded = true;
  while (Element parameter{filer, kParameterElement, &IInFilerTagged::BeginNextSection}) {
    std::wstring name;
    std::wstring value;
    succeeded = ReadText(filer, kNameElement, name) && succeeded;
    succeeded = ReadText(filer, kValueElement, value) && succeeded;
    succeeded = parameter.Close() && succeeded;
    AddParameter(name.c_str(), std::move(value));
  }
  return succeeded;
}

bool MError::Write(const MFilerPair& filer, const std::wstring& elementName) const {
  Element element(filer, elementName);
  if (!element) return false;
  bool succeeded = WriteText(filer, kCodeElement, code_);
  for (auto parameter = parameters_.begin(); succeeded && parameter != parameters_.end();
       ++parameter) {
    Element parameterElement(filer, kParameterElement);
    succeeded = parameterElement && WriteText(filer, kNameElement, parameter->first) &&
                WriteText(filer, kValueElement, parameter->second);
    succeeded = parameterElement.Close() && succeeded;
  }
  return element.Close() && succeeded;
}

bool MException::WriteChain(const MFilerPair& filer, const std::wstring& elementName) const {
  Element element(filer, elementName);
  if (!element) return false;
  bool succeeded = filer.out != nullptr;
  for (const auto& error : errors_) {
    if (error != nullptr) succeeded = error->Write(filer, kErrorElement) && succeeded;
  }
  return element.Close() && succeeded;
}

bool MException::ReadChain(const MFilerPair& filer) {
  if (filer.in == nullptr) return false;
  while (Element element{filer, kErrorElement, &IInFilerTagged::BeginNextSection}) {
    MError error;
    error.ReadOpenSection(filer);
    element.Close();
    Append(error);
  }
  return true;
}
