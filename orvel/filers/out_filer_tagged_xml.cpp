// SPDX-License-Identifier: MIT
#include "orvel/filers/out_filer_tagged_xml.h"

#include <charconv>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>

#include "orvel/filers/xml_filer_format.h"
#include "orvel/foundation/number_text.h"

namespace {

namespace Format = Orvel::Detail::XmlFilerFormat;

constexpr int kDoubleDigits = 15;
constexpr int kFloatDigits = 8;

/// Decimal text of an integer, without allocation.
class IntegerText {
 public:
  template <class Integer>
  explicit IntegerText(Integer value) {
    char narrow[kLongest] = {};
    const char* const end = std::to_chars(std::begin(narrow), std::end(narrow), value).ptr;
    length_ = static_cast<std::size_t>(end - narrow);
    for (std::size_t i = 0; i < kLongest; ++i) text_[i] = static_cast<wchar_t>(narrow[i]);
  }
  [[nodiscard]] std::wstring_view Get() const noexcept { return {text_, length_}; }

 private:
  static constexpr std::size_t kLongest = 16;  // for "-2147483648"; widened in one step
  wchar_t text_[kLongest] = {};
  std::size_t length_ = 0;
};

}  // namespace

MOutFilerTaggedXml::MOutFilerTaggedXml() : document_(std::make_unique<MXmlDocument>()) {
  if (!Format::BeginDocument(*document_, Format::kRootTag)) document_.reset();
}

bool MOutFilerTaggedXml::WriteValue(const std::wstring& tag, std::wstring_view text,
                                    const MXmlConstantAttribute& type) {
  return document_ != nullptr && document_->AddElement(tag, text, type);
}

bool MOutFilerTaggedXml::WriteChar(const std::wstring& tag, char value) {
  // As the "C" locale widens a byte. Runtimes that ask the system's code page instead would give
  // one character different texts.
  const wchar_t wide = static_cast<unsigned char>(value);
  return WriteValue(tag, std::wstring_view(&wide, 1), Format::kCharType);
}

bool MOutFilerTaggedXml::WriteString(const std::wstring& tag, const std::wstring& value) {
  return WriteValue(tag, value, Format::kStringType);
}

bool MOutFilerTaggedXml::WriteDouble(const std::wstring& tag, double value) {
  return WriteValue(tag, Orvel::Detail::ScientificText(value, kDoubleDigits, GetLocale()),
                    Format::kFloatType);
}

bool MOutFilerTaggedXml::WriteFloat(const std::wstring& tag, float value) {
  return WriteValue(tag, Orvel::Detail::ScientificText(double{value}, kFloatDigits, GetLocale()),
                    Format::kFloatType);
}

bool MOutFilerTaggedXml::WriteBool(const std::wstring& tag, bool value) {
  return WriteValue(tag, value ? L"1" : L"0", Format::kBoolType);
}

bool MOutFilerTaggedXml::WriteByte(const std::wstring& tag, std::uint8_t value) {
  return WriteValue(tag, IntegerText(value).Get(), Format::kByteType);
}

bool MOutFilerTaggedXml::WriteUnsignedShort(const std::wstring& tag, std::uint16_t value) {
  return WriteValue(tag, IntegerText(value).Get(), Format::kUnsignedType);
}

bool MOutFilerTaggedXml::WriteShort(const std::wstring& tag, std::int16_t value) {
  return WriteValue(tag, IntegerText(value).Get(), Format::kSignedType);
}

bool MOutFilerTaggedXml::WriteUnsignedInt(const std::wstring& tag, std::uint32_t value) {
  return WriteValue(tag, IntegerText(value).Get(), Format::kUnsignedType);
}

bool MOutFilerTaggedXml::WriteInt(const std::wstring& tag, std::int32_t value) {
  return WriteValue(tag, IntegerText(value).Get(), Format::kSignedType);
}

bool MOutFilerTaggedXml::BeginSection(const std::wstring& tag) {
  if (document_ == nullptr || !document_->AddElement(tag) || !document_->IntoElement()) {
    return false;
  }
  ++openSections_;
  return true;
}

bool MOutFilerTaggedXml::EndSection() {
  if (document_ == nullptr || openSections_ == 0 || !document_->OutOfElement()) return false;
  --openSections_;
  return true;
}

bool MOutFilerTaggedXml::WriteSubDocument(const std::wstring& tag, const std::wstring& xmlText) {
  if (document_ == nullptr) return false;
  // Checked first, so that a text that is refused leaves no empty element behind. It comes below
  // the root, the sections and the element of the tag.
  const std::size_t levels = Format::CountSubDocumentLevels(xmlText);
  const std::size_t levelsAround = static_cast<std::size_t>(openSections_) + 2;
  if (levels == 0 || levelsAround + levels > std::size_t{MXmlElementRecord::kMaxLevel} + 1) {
    return false;
  }
  if (!document_->AddElement(tag) || !document_->IntoElement()) return false;
  const bool isPlaced = document_->AddSubDocument(xmlText);
  return document_->OutOfElement() && isPlaced;
}

std::wstring MOutFilerTaggedXml::GetText() const {
  return document_ != nullptr ? document_->GetDocumentText() : std::wstring();
}

std::wstring MOutFilerTaggedXml::TakeText() {
  std::wstring text;
  if (document_ != nullptr) text = document_->TakeDocumentText();
  document_.reset();
  return text;
}

bool MOutFilerTaggedXml::SaveFile(const std::wstring& path) {
  return document_ != nullptr && document_->SaveFile(path);
}
