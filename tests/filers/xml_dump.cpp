// SPDX-License-Identifier: MIT
// Reads an XML document in UTF-8 from standard input and writes what was found in it, one line for
// each element in the order of the text: level, tag, attributes and text, separated by tabs. Ends
// with 1 and the error text when the document has an error.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

#include "orvel/filers/utf8.h"
#include "orvel/filers/xml_document.h"

namespace {

std::string ReadAll(std::FILE* input) {
  std::string bytes;
  char chunk[65536];
  for (std::size_t got = 0; (got = std::fread(chunk, 1, sizeof chunk, input)) > 0;)
    bytes.append(chunk, got);
  return bytes;
}

void AppendField(std::wstring_view field, std::wstring& line) {
  for (const wchar_t c : field) {
    constexpr std::wstring_view kSpecial = L"\\\t\n\r";
    constexpr std::wstring_view kLetters = L"\\tnr";
    const std::size_t special = kSpecial.find(c);
    if (special != std::wstring_view::npos) line += L'\\';
    line += special == std::wstring_view::npos ? c : kLetters[special];
  }
}

}  // namespace

int main() {
  const std::string bytes = ReadAll(stdin);
  std::wstring text;
  if (const auto offset = Orvel::Detail::DecodeUtf8(bytes, text)) {
    std::fprintf(stderr, "not UTF-8 at byte %zu\n", *offset);
    return 1;
  }
  MXmlDocument document;
  document.SetDocument(std::move(text));
  std::wstring output = document.GetErrorText();
  const bool failed = !output.empty();
  for (std::uint32_t element = 1; !failed && element < document.GetRecordCount(); ++element) {
    output += std::to_wstring(document.GetRecord(element).GetLevel());
    output += L'\t';
    AppendField(document.GetTagName(element), output);
    for (const MXmlAttribute& attribute : document.GetAttributes(element)) {
      output += L'\t';
      AppendField(attribute.name, output);
      output += L'=';
      AppendField(attribute.value, output);
    }
    output += L'\t';
    AppendField(document.GetData(element), output);
    output += L'\n';
  }
  std::string encoded;
  if (const auto offset = Orvel::Detail::EncodeUtf8(output, encoded)) {
    std::fprintf(stderr, "no code point at unit %zu of the output\n", *offset);
    return 1;
  }
  std::fwrite(encoded.data(), 1, encoded.size(), failed ? stderr : stdout);
  return failed ? 1 : 0;
}
