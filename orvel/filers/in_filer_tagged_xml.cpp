// SPDX-License-Identifier: MIT
#include "orvel/filers/in_filer_tagged_xml.h"

#include <string_view>
#include <type_traits>
#include <utility>

#include "orvel/filers/xml_filer_format.h"
#include "orvel/foundation/number_text.h"

namespace Format = Orvel::Detail::XmlFilerFormat;

MInFilerTaggedXml::MInFilerTaggedXml() : document_(std::make_unique<MXmlDocument>()) {}

MInFilerTaggedXml::MInFilerTaggedXml(std::wstring text) : MInFilerTaggedXml() {
  EnterRoot(document_->SetDocument(std::move(text)));
}

std::unique_ptr<MInFilerTaggedXml> MInFilerTaggedXml::FromFile(const std::wstring& path) {
  std::unique_ptr<MInFilerTaggedXml> filer(new MInFilerTaggedXml());
  filer->EnterRoot(filer->document_->LoadFile(path));
  return filer;
}

MInFilerTaggedXml::~MInFilerTaggedXml() {
  balance_.CheckAtEnd(openSections_, L"MInFilerTaggedXml was destroyed with a section open");
}

void MInFilerTaggedXml::EnterRoot(bool isWellFormed) {
  errorText_ = document_->GetErrorText();
  if (!errorText_.empty() && !document_->GetDocumentText().empty()) {
    errorPlace_ = document_->GetLineAndColumn(document_->GetErrorOffset());
  }
  failure_ = document_->GetFailure();
  if (!isWellFormed) {
    if (failure_.step == MXmlStep::kNone) failure_ = {MXmlStep::kParse, 0, errorText_};
  } else if (document_->FindElement(Format::kRootTag)) {
    document_->IntoElement();
    return;
  } else {
    document_->FindElement({});
    failure_ = {MXmlStep::kRoot, 0,
                L"The root element is '" + document_->GetNodeName() + L"', not '" +
                    Format::kRootTag + L"'"};
  }
  document_.reset();
}

/// Returns the first element of the open section that has the tag; 0 if there is none.
std::uint32_t MInFilerTaggedXml::Find(const std::wstring& tag) {
  // The document takes an empty tag for any element's.
  return document_ == nullptr || tag.empty()
             ? 0
             : document_->FindFirstChild(document_->GetPosition().parent, tag);
}

template <class Convert>
bool MInFilerTaggedXml::ReadValue(const std::wstring& tag, const MXmlConstantAttribute& type,
                                  Convert convert) {
  if (document_ == nullptr) return false;
  const std::uint32_t element = Find(tag);
  if (!balance_.Note(element != 0)) return false;
  // Without an end tag it is unclear which text was meant.
  return balance_.Note(!document_->GetRecord(element).HasFlag(MXmlElementRecord::kNotEnded) &&
                       document_->GetAttribute(element, type.GetName(), attribute_) &&
                       attribute_ == type.GetValue() && convert(document_->GetData(element)));
}

template <class Extracted, class Value>
bool MInFilerTaggedXml::ReadInteger(const std::wstring& tag, const MXmlConstantAttribute& type,
                                    Value& value, Value defaultValue) {
  value = defaultValue;
  return ReadValue(tag, type, [&](const std::wstring& text) {
    Extracted extracted{};
    if (!Orvel::Detail::ParseInteger(text, GetLocale(), extracted)) return false;
    if constexpr (std::is_same_v<Value, bool>) {
      value = extracted != 0;
    } else {
      value = static_cast<Value>(extracted);
    }
    return true;
  });
}

bool MInFilerTaggedXml::ReadString(const std::wstring& tag, std::wstring& value,
                                   const std::wstring& defaultValue) {
  // The destination may be the tag as well.
  std::wstring found;
  const bool isRead = ReadValue(tag, Format::kStringType, [&found](std::wstring&& text) {
    found = std::move(text);
    return true;
  });
  if (isRead) {
    value = std::move(found);
  } else if (&value != &defaultValue) {
    value = defaultValue;
  }
  return isRead;
}

bool MInFilerTaggedXml::ReadChar(const std::wstring& tag, char& value, char defaultValue) {
  value = defaultValue;
  return ReadValue(tag, Format::kCharType, [&](const std::wstring& text) {
    if (text.size() == 1) {
      value = static_cast<char>(static_cast<unsigned>(text.front()) & 0xFFu);
      return true;
    }
    std::int16_t number = 0;
    if (!Orvel::Detail::ParseInteger(text, GetLocale(), number)) return false;
    value = static_cast<char>(number);
    return true;
  });
}

bool MInFilerTaggedXml::ReadDouble(const std::wstring& tag, double& value, double defaultValue) {
  value = defaultValue;
  return ReadValue(tag, Format::kFloatType, [&](const std::wstring& text) {
    return Orvel::Detail::ParseDouble(text, GetLocale(), value);
  });
}

bool MInFilerTaggedXml::ReadFloat(const std::wstring& tag, float& value, float defaultValue) {
  double wide = 0.0;
  const bool isRead = ReadDouble(tag, wide, 0.0);
  value = isRead ? Orvel::Detail::NarrowToFloat(wide) : defaultValue;
  return isRead;
}

bool MInFilerTaggedXml::ReadBool(const std::wstring& tag, bool& value, bool defaultValue) {
  return ReadInteger<std::int32_t>(tag, Format::kBoolType, value, defaultValue);
}

bool MInFilerTaggedXml::ReadByte(const std::wstring& tag, std::uint8_t& value,
                                 std::uint8_t defaultValue) {
  return ReadInteger<std::int16_t>(tag, Format::kByteType, value, defaultValue);
}

bool MInFilerTaggedXml::ReadUnsignedShort(const std::wstring& tag, std::uint16_t& value,
                                          std::uint16_t defaultValue) {
  return ReadInteger<unsigned short>(tag, Format::kUnsignedType, value, defaultValue);
}

bool MInFilerTaggedXml::ReadShort(const std::wstring& tag, std::int16_t& value,
                                  std::int16_t defaultValue) {
  return ReadInteger<std::int16_t>(tag, Format::kSignedType, value, defaultValue);
}

bool MInFilerTaggedXml::ReadUnsignedInt(const std::wstring& tag, std::uint32_t& value,
                                        std::uint32_t defaultValue) {
  return ReadInteger<unsigned int>(tag, Format::kUnsignedType, value, defaultValue);
}

bool MInFilerTaggedXml::ReadInt(const std::wstring& tag, std::int32_t& value,
                                std::int32_t defaultValue) {
  return ReadInteger<std::int32_t>(tag, Format::kSignedType, value, defaultValue);
}

bool MInFilerTaggedXml::ReadChangeStamp(std::uint32_t&) { return false; }

bool MInFilerTaggedXml::BeginSection(const std::wstring& tag) {
  return balance_.Note(document_ != nullptr && !tag.empty() && document_->FindFirstElement(tag)) &&
         EnterSection();
}

bool MInFilerTaggedXml::BeginNextSection(const std::wstring& tag) {
  // Not noted: it is no failure that there is no other section.
  return document_ != nullptr && !tag.empty() && document_->FindElement(tag) && EnterSection();
}

bool MInFilerTaggedXml::EnterSection() {
  if (!document_->IntoElement()) return false;
  if (openSections_++ == 0) balance_.Start();
  return true;
}

bool MInFilerTaggedXml::EndSection() {
  if (document_ == nullptr || openSections_ == 0 || !document_->OutOfElement()) return false;
  --openSections_;
  return true;
}

bool MInFilerTaggedXml::ReadSubDocument(const std::wstring& tag, std::wstring& xmlText) {
  std::wstring element;
  if (const std::uint32_t number = Find(tag)) element = document_->GetSubDocument(number);
  xmlText.clear();
  MXmlDocument standAlone;
  if (!balance_.Note(!element.empty() &&
                     Format::BeginDocument(standAlone, Format::kSubDocumentRootTag) &&
                     standAlone.AddSubDocument(element))) {
    return false;
  }
  xmlText = standAlone.TakeDocumentText();
  return true;
}
