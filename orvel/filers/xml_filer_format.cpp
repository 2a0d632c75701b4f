// SPDX-License-Identifier: MIT
#include "orvel/filers/xml_filer_format.h"

#include <algorithm>
#include <cstdint>

#include "orvel/filers/xml/document/xml_document.h"

namespace Orvel::Detail::XmlFilerFormat {

std::size_t CountSubDocumentLevels(const std::wstring& text) {
  MXmlDocument document;
  if (!document.SetDocument(text) || !document.FindElement({}) ||
      document.GetRecord(document.GetElement()).HasFlag(MXmlElementRecord::kNotEnded)) {
    return 0;
  }
  std::uint32_t innermost = 0;
  for (std::uint32_t element = 1; element < document.GetRecordCount(); ++element) {
    innermost = (std::max)(innermost, document.GetRecord(element).GetLevel());
  }
  return std::size_t{innermost} + 1;
}

bool BeginDocument(MXmlDocument& document, const std::wstring& rootTag) {
  return document.AddNode(MXmlNodeKind::kInstruction, L"xml") &&
         document.SetAttribute(L"version", L"1.0") &&
         document.SetAttribute(L"encoding", L"UTF-8") && document.AddElement(rootTag) &&
         document.IntoElement();
}

}  // namespace Orvel::Detail::XmlFilerFormat
