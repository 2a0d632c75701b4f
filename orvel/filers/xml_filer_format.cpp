// SPDX-License-Identifier: MIT
#include "orvel/filers/xml_filer_format.h"

#include "orvel/filers/xml_document.h"

namespace Orvel::Detail::XmlFilerFormat {

bool IsSubDocument(const std::wstring& text) {
  MXmlDocument document;
  return document.SetDocument(text) && document.FindElement({}) &&
         !document.GetRecord(document.GetElement()).HasFlag(MXmlElementRecord::kNotEnded);
}

bool BeginDocument(MXmlDocument& document, const std::wstring& rootTag) {
  return document.AddNode(MXmlNodeKind::kInstruction, L"xml") &&
         document.SetAttribute(L"version", L"1.0") &&
         document.SetAttribute(L"encoding", L"UTF-8") && document.AddElement(rootTag) &&
         document.IntoElement();
}

}  // namespace Orvel::Detail::XmlFilerFormat
