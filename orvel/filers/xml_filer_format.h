// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

#include "orvel/filers/xml/document/xml_constant_attribute.h"

class MXmlDocument;

namespace Orvel::Detail::XmlFilerFormat {

/// The root elements that the tagged XML writer and reader agree on.
inline constexpr const wchar_t* kRootTag = L"ExceptionChain";
inline constexpr const wchar_t* kSubDocumentRootTag = L"MFilerTaggedXml";

// The attribute of a value, for each kind of value.
inline constexpr MXmlConstantAttribute kFloatType(L"type", L"float");
inline constexpr MXmlConstantAttribute kBoolType(L"type", L"bool");
inline constexpr MXmlConstantAttribute kByteType(L"type", L"byte");
inline constexpr MXmlConstantAttribute kUnsignedType(L"type", L"uint");
inline constexpr MXmlConstantAttribute kSignedType(L"type", L"int");
inline constexpr MXmlConstantAttribute kCharType(L"type", L"char");
inline constexpr MXmlConstantAttribute kStringType(L"type", L"string");

/// Returns the number of element levels of a document; 0 when its root element cannot become an
/// element of another document, because the text is not well-formed or the root has no end tag.
[[nodiscard]] std::size_t CountSubDocumentLevels(const std::wstring& text);

/// Writes the XML declaration and a root element into an empty document and enters the root.
[[nodiscard]] bool BeginDocument(MXmlDocument& document, const std::wstring& rootTag);

}  // namespace Orvel::Detail::XmlFilerFormat
