// SPDX-License-Identifier: MIT
// Parses a text and compares the outcome with a plain parser's, then reads everything in it.
#include "fuzz/fuzz_support.h"
#include "orvel/filers/xml/document/xml_document.h"
#include "tests/filers/xml_model.h"

using namespace Orvel::Fuzzing;
using namespace Orvel::Testing;

namespace {

void ReadAll(MXmlDocument& document) {
  for (std::uint32_t i = 1; i < document.GetRecordCount(); ++i) {
    (void)document.GetData(i);
    const std::wstring name = document.GetTagName(i);
    Require(document.GetSubDocument(i).starts_with(L"<" + name), "sub-document without its tag");
    for (const MXmlAttribute& attribute : document.GetAttributes(i)) {
      std::wstring value;
      Require(document.GetAttribute(i, attribute.name, value), "attribute not found");
    }
  }
  std::size_t nodes = 0;
  for (;;) {
    if (document.FindNode(static_cast<MXmlNodeKind>(0xFF))) {
      (void)document.GetNodeName();
      Require(!document.GetNodeText().empty(), "empty node");
      ++nodes;
      document.IntoElement();
    } else if (!document.OutOfElement()) {
      break;
    }
  }
  Require(nodes + 1 >= document.GetRecordCount(), "elements were passed over");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const bool ignoreCase = (data[0] & 1) != 0;
  const std::wstring text =
      WidenBytes(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
  MXmlDocument document(ignoreCase ? MXmlDocument::kIgnoreCase : 0);
  document.SetDocument(text);
  RequireNoFault(CheckRecords(document));
  RequireNoFault(CompareWithModel(document, ParseModel(text, ignoreCase)));
  (void)document.GetLineAndColumn(document.GetErrorOffset());
  ReadAll(document);
  return 0;
}
