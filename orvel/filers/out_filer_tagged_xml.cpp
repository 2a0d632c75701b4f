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
    char narrow[kMaxLength] = {};
    const char* const end = std::to_chars(std::begin(narrow), std::end(narrow), value).ptr;
    length_ = static_cast<std::size_t>(end - narrow);
    for (std::size_t i = 0; i < kMaxLength; ++i) text_[i] = static_cast<wchar_t>(narrow[i]);
  }
  [[nodiscard]] std::wstring_view Get() const noexcept { return {text_, length_}; }

 private:
  static constexpr std::size_t kMaxLength = 16;  // for "-2147483648"; widened in one step
  wchar_t text_[kMaxLength] = {};
  std::size_t length_ = 0;
};

}  // namespace

MOutFilerTaggedXml::MOutFilerTaggedXml() : document_(std::make_unique<MXmlDocument>()) {
  if (!Format::BeginDocument(*document_, Format::kRootTag)) document_.reset();
}

MOutFilerTaggedXml::~MOutFilerTaggedXml() {
  balance_.CheckAtEnd(openSections_, L"MOutFilerTaggedXml was destroyed with a section open");
}

bool MOutFilerTaggedXml::WriteValue(const std::wstring& tag, std::wstring_view text,
                                    const MXmlConstantAttribute& type) {
  return balance_.Note(document_ != nullptr && document_->AddElement(tag, text, type));
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
  if (!balance_.Note(document_ != nullptr && document_->AddElement(tag) &&
                     document_->IntoElement())) {
    return false;
  }
  if (openSections_++ == 0) balance_.Start();
  return true;
}

bool MOutFilerTaggedXml::EndSection() {
  if (openSections_ == 0) return false;
  --openSections_;  // counted also when the text was taken: whoever opened it has ended it
  return document_ != nullptr && document_->OutOfElement();
}

bool MOutFilerTaggedXml::WriteSubDocument(const std::wstring& tag, const std::wstring& xmlText) {
  if (document_ == nullptr) return false;
  if (tag.empty()) return balance_.Note(WriteUnnamedSubDocument(xmlText));
  // Built apart and added in one step: neither a text that is refused nor a lack of memory leaves
  // an empty element behind.
  MXmlDocument element;
  return balance_.Note(element.AddElement(tag) && element.IntoElement() &&
                       element.AddSubDocument(xmlText) &&
                       document_->AddSubDocument(element.GetDocumentText()));
}

bool MOutFilerTaggedXml::WriteUnnamedSubDocument(const std::wstring& xmlText) {
  // An element without a name cannot be parsed, and so not be built apart.
  const std::size_t levels = Format::CountSubDocumentLevels(xmlText);
  const std::size_t levelsAround = openSections_ + 2;  // the root and the element are two
  if (levels == 0 || levelsAround + levels > std::size_t{MXmlElementRecord::kMaxLevel} + 1 ||
      !document_->AddElement({}) || !document_->IntoElement()) {
    return false;
  }
  const struct LevelCloser {
    ~LevelCloser() { document.OutOfElement(); }
    MXmlDocument& document;
  } closer{*document_};
  return document_->AddSubDocument(xmlText);
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
  if (document_ == nullptr) {
    failure_ = {MXmlStep::kEncode, 0, L"There is no text"};
    return false;
  }
  const bool isSaved = document_->SaveFile(path);
  failure_ = document_->GetFailure();
  return isSaved;
}
