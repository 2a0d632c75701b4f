// SPDX-License-Identifier: MIT
#pragma once

#include <string>

class MXmlDocument;

namespace Orvel::Detail::XmlFilerFormat {

/// What the tagged XML writer and reader agree on.
inline constexpr const wchar_t* kRootTag = L"ExceptionChain";
inline constexpr const wchar_t* kSubDocumentRootTag = L"MFilerTaggedXml";
inline constexpr const wchar_t* kTypeAttribute = L"type";

inline constexpr const wchar_t* kFloatType = L"float";
inline constexpr const wchar_t* kBoolType = L"bool";
inline constexpr const wchar_t* kByteType = L"byte";
inline constexpr const wchar_t* kUnsignedType = L"uint";
inline constexpr const wchar_t* kSignedType = L"int";
inline constexpr const wchar_t* kCharType = L"char";
inline constexpr const wchar_t* kStringType = L"string";

/// True when `text` is a document whose root element can become an element of another one.
[[nodiscard]] bool IsSubDocument(const std::wstring& text);

/// Writes the XML declaration and a root element into an empty document and enters the root.
[[nodiscard]] bool BeginDocument(MXmlDocument& document, const std::wstring& rootTag);

}  // namespace Orvel::Detail::XmlFilerFormat
