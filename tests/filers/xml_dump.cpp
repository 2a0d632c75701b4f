// SPDX-License-Identifier: MIT
// Reads an XML document in UTF-8 from standard input and writes what was found in it, one record
// for each element in the order of the text: level, tag, attributes and text. Fields end with the
// character 31, records with 30, neither of which a document may hold. Ends with 1 and the error
// text when the document has an error.
#include <cstdint>
#include <iostream>
#include <iterator>
#include <string>
#include <utility>

#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/foundation/utf8.h"

int main() {
  const std::string bytes(std::istreambuf_iterator<char>(std::cin), {});
  std::wstring text;
  if (const auto offset = Orvel::Detail::DecodeUtf8(bytes, text)) {
    std::cerr << "not UTF-8 at byte " << *offset << '\n';
    return 1;
  }
  MXmlDocument document;
  document.SetDocument(std::move(text));
  std::wstring output = document.GetErrorText();
  const bool failed = !output.empty();
  for (std::uint32_t element = 1; !failed && element < document.GetRecordCount(); ++element) {
    output += std::to_wstring(document.GetRecord(element).GetLevel()) + L'\x1F';
    output += document.GetTagName(element) + L'\x1F';
    for (const MXmlAttribute& attribute : document.GetAttributes(element))
      output += attribute.name + L'=' + attribute.value + L'\x1F';
    output += document.GetData(element) + L'\x1E';
  }
  std::string encoded;
  if (const auto offset = Orvel::Detail::EncodeUtf8(output, encoded)) {
    std::cerr << "no code point at unit " << *offset << " of the output\n";
    return 1;
  }
  (failed ? std::cerr : std::cout) << encoded;
  return failed ? 1 : 0;
}
