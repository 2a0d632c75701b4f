// SPDX-License-Identifier: MIT
// Reads a text through the tagged reader, in an order that the input chooses. What is read has to
// come back when it is written and read again; where nothing is, the default has to. Input: how the
// text is framed, the number of operations, the operations, the text.
#include <cmath>
#include <type_traits>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/filers/tagged_values.h"
#include "orvel/foundation/exception.h"
#include "tests/filers/xml_checks.h"

using Orvel::Testing::Require;

namespace {

constexpr const wchar_t* kTypes[] = {L"string", L"char", L"float", L"bool",
                                     L"byte",   L"uint", L"int",   L"other"};

constexpr const wchar_t* kTags[] = {L"",     L"a",         L"b",    L"Exception", L"Error",
                                    L"Code", L"Parameter", L"Name", L"Value",     L"ExceptionChain",
                                    L"a<",   L"c",         L"d",    L"e",         L"f",
                                    L"g"};

std::wstring Frame(std::uint8_t kind, const std::wstring& text) {
  switch (kind % 4) {
    case 0:
      return text;
    case 1:
      return L"<ExceptionChain>" + text + L"</ExceptionChain>";
    case 2:
      return L"<ExceptionChain><Exception><Error>" + text +
             L"</Error></Exception></ExceptionChain>";
    default:
      return L"<ExceptionChain><a type='" + std::wstring(kTypes[kind / 4 % 8]) + L"'>" + text +
             L"</a></ExceptionChain>";
  }
}

template <class Value>
bool IsSame(const Value& a, const Value& b) {
  if constexpr (std::is_floating_point_v<Value>) {
    // Writing shortens a floating number to its printed digits.
    if (std::isnan(a) && std::isnan(b)) return true;
    return a == b || std::fabs(a - b) <= 1e-14 * std::fabs(a);
  }
  return a == b;
}

class Session {
 public:
  explicit Session(const std::wstring& text) : reader_(text) {}

  void Perform(std::uint8_t operation) {
    static constexpr void (*kOperations[])(Session&, const std::wstring&) = {
        [](Session& s, const std::wstring& tag) { s.Read(tag, std::wstring(L"default")); },
        [](Session& s, const std::wstring& tag) { s.Read(tag, 'd'); },
        [](Session& s, const std::wstring& tag) {
          s.Read(tag, 0.5F);
          s.Read(tag, 0.5);
        },
        [](Session& s, const std::wstring& tag) { s.Read(tag, true); },
        [](Session& s, const std::wstring& tag) { s.Read(tag, std::uint8_t{1}); },
        [](Session& s, const std::wstring& tag) { s.Read(tag, std::uint16_t{1}); },
        [](Session& s, const std::wstring& tag) { s.Read(tag, std::int16_t{1}); },
        [](Session& s, const std::wstring& tag) { s.Read(tag, 1U); },
        [](Session& s, const std::wstring& tag) { s.Read(tag, 1); },
        [](Session& s, const std::wstring& tag) { s.ReadSubDocument(tag); },
        [](Session& s, const std::wstring& tag) { s.depth_ += s.reader_.BeginSection(tag); },
        [](Session& s, const std::wstring& tag) { s.depth_ += s.reader_.BeginSection(tag); },
        [](Session& s, const std::wstring& tag) { s.depth_ += s.reader_.BeginNextSection(tag); },
        [](Session& s, const std::wstring&) {
          Require(s.reader_.EndSection() == (s.depth_ > 0), "end of section");
          s.depth_ -= s.depth_ > 0 ? 1 : 0;
        },
        [](Session& s, const std::wstring& tag) {
          MError().Read({&s.reader_, nullptr}, tag);
        },
        [](Session& s, const std::wstring&) { s.ReadChain(); }};
    kOperations[operation & 15U](*this, kTags[operation >> 4U]);
  }

  void Leave() {
    for (; depth_ > 0; --depth_) Require(reader_.EndSection(), "sections are open");
    Require(!reader_.EndSection(), "more sections are open");
  }

 private:
  template <class Value>
  void Read(const std::wstring& tag, const Value& fallback) {
    Value value{};
    const bool isRead = ReadTagged(reader_, tag, value, fallback);
    Require(isRead || IsSame(value, fallback), "no default");
    MOutFilerTaggedXml writer;
    Require(WriteTagged(writer, L"v", value), "not written");
    MInFilerTaggedXml again(writer.TakeText());
    Value back{};
    Require(ReadTagged(again, L"v", back, fallback) && IsSame(back, value), "not read back");
  }

  void ReadSubDocument(const std::wstring& tag) {
    std::wstring text = L"old";
    MXmlDocument document;
    const bool isRead = reader_.ReadSubDocument(tag, text);
    Require(isRead ? document.SetDocument(text) : text.empty(), "no sub-document");
  }

  void ReadChain() {
    MException chain;
    Require(chain.ReadChain({&reader_, nullptr}), "chain is not read");
    MException copy;
    Require(copy.AppendChainXml(chain.GetChainXml()), "chain is not read back");
    Require(copy.GetChainDescription() == chain.GetChainDescription(), "another chain");
  }

  MInFilerTaggedXml reader_;
  int depth_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t begin = 2;
  const std::size_t count = data[1] % (size - 1);
  // One unit of text for each byte: scanners look at ASCII only.
  Session session(Frame(data[0], std::wstring(data + begin + count, data + size)));
  for (std::size_t i = 0; i < count; ++i) session.Perform(data[begin + i]);
  session.Leave();
  return 0;
}
