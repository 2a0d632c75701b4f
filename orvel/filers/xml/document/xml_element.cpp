// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/document/xml_element.h"

#include "orvel/filers/xml/document/xml_document.h"

std::wstring MXmlElement::GetTagName() const { return document_->GetTagName(number_); }

std::wstring MXmlElement::GetData() const { return document_->GetData(number_); }

std::optional<std::wstring> MXmlElement::GetAttribute(std::wstring_view name) const {
  std::wstring value;
  if (!document_->GetAttribute(number_, name, value)) return std::nullopt;
  return value;
}

std::vector<MXmlAttribute> MXmlElement::GetAttributes() const {
  return document_->GetAttributes(number_);
}

std::wstring MXmlElement::GetSubDocument() const { return document_->GetSubDocument(number_); }

MXmlChildren MXmlElement::GetChildren(std::wstring_view tagName) const noexcept {
  // 0 means no element here, but the document to GetChildren().
  return document_->GetChildren(number_ != 0 ? number_ : document_->GetRecordCount(), tagName);
}

MXmlChildren::Iterator MXmlChildren::begin() const noexcept {
  return {*document_, tagName_, document_->StepIn(parent_, tagName_)};
}

MXmlChildren::Iterator& MXmlChildren::Iterator::operator++() noexcept {
  number_ = document_->StepOn(number_, tagName_);
  return *this;
}
