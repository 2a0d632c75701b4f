// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

class MXmlDocument;

namespace Orvel::Detail::XmlFilerFormat {

/// What the tagged XML writer and reader agree on.
inline constexpr const wchar_t* kRootTag = L"ExceptionChain";
inline constexpr const wchar_t* kSubDocumentRootTag = L"MFilerTaggedXml";
inline constexpr std::wstring_view kTypeAttribute = L"type";

inline constexpr std::wstring_view kFloatType = L"float";
inline constexpr std::wstring_view kBoolType = L"bool";
inline constexpr std::wstring_view kByteType = L"byte";
inline constexpr std::wstring_view kUnsignedType = L"uint";
inline constexpr std::wstring_view kSignedType = L"int";
inline constexpr std::wstring_view kCharType = L"char";
inline constexpr std::wstring_view kStringType = L"string";

/// True when `text` is a document whose root element can become an element of another one.
[[nodiscard]] bool IsSubDocument(const std::wstring& text);

/// Writes the XML declaration and a root element into an empty document and enters the root.
[[nodiscard]] bool BeginDocument(MXmlDocument& document, const std::wstring& rootTag);

}  // namespace Orvel::Detail::XmlFilerFormat
