// SPDX-License-Identifier: MIT
// Reads a text through the tagged reader, in an order that the input chooses. What is read has to
// come back when it is written and read again; where nothing is, the default has to. Input: how the
// text is framed, the number of operations, the operations, the text.
#include <cmath>

#include "fuzz/fuzz_support.h"
#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/foundation/exception.h"

using namespace Orvel::Fuzzing;

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
  return a == b || (a != a && b != b);
}

/// Writing shortens a floating number to its printed digits.
bool IsSame(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b)) || std::fabs(a - b) <= 1e-14 * std::fabs(a);
}

class Session {
 public:
  explicit Session(const std::wstring& text) : reader_(text) {}

  void Perform(std::uint8_t operation) {
    const std::wstring tag = kTags[operation >> 4U];
    using In = IInFilerTagged;
    using Out = IOutFilerTagged;
    switch (operation & 15U) {
      case 0:
        return Read<std::wstring>(tag, L"default", &In::ReadString, &Out::WriteString);
      case 1:
        return Read<char>(tag, 'd', &In::ReadChar, &Out::WriteChar);
      case 2:
        Read<float>(tag, 0.5F, &In::ReadFloat, &Out::WriteFloat);
        return Read<double>(tag, 0.5, &In::ReadDouble, &Out::WriteDouble);
      case 3:
        return Read<bool>(tag, true, &In::ReadBool, &Out::WriteBool);
      case 4:
        return Read<std::uint8_t>(tag, 1, &In::ReadByte, &Out::WriteByte);
      case 5:
        return Read<std::uint16_t>(tag, 1, &In::ReadUnsignedShort, &Out::WriteUnsignedShort);
      case 6:
        return Read<std::int16_t>(tag, 1, &In::ReadShort, &Out::WriteShort);
      case 7:
        return Read<std::uint32_t>(tag, 1, &In::ReadUnsignedInt, &Out::WriteUnsignedInt);
      case 8:
        return Read<std::int32_t>(tag, 1, &In::ReadInt, &Out::WriteInt);
      case 9:
        return ReadSubDocument(tag);
      case 10:
      case 11:
        depth_ += reader_.BeginSection(tag) ? 1 : 0;
        return;
      case 12:
        depth_ += reader_.BeginNextSection(tag) ? 1 : 0;
        return;
      case 13:
        Require(reader_.EndSection() == (depth_ > 0), "end of section");
        depth_ -= depth_ > 0 ? 1 : 0;
        return;
      case 14: {
        MError error;
        return static_cast<void>(error.Read({&reader_, nullptr}, tag));
      }
      default:
        return ReadChain();
    }
  }

  void Leave() {
    for (; depth_ > 0; --depth_) Require(reader_.EndSection(), "sections are open");
    Require(!reader_.EndSection(), "more sections are open");
  }

 private:
  template <class Value, class Default>
  void Read(const std::wstring& tag, const Value& fallback,
            bool (IInFilerTagged::*read)(const std::wstring&, Value&, Default),
            bool (IOutFilerTagged::*write)(const std::wstring&, Default)) {
    Value value{};
    const bool isRead = (reader_.*read)(tag, value, fallback);
    Require(isRead || IsSame(value, fallback), "no default");
    MOutFilerTaggedXml writer;
    Require((writer.*write)(L"v", value), "not written");
    MInFilerTaggedXml again(writer.TakeText());
    Value back{};
    Require((again.*read)(L"v", back, fallback) && IsSame(back, value), "not read back");
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
  const std::string bytes(reinterpret_cast<const char*>(data) + begin + count,
                          size - begin - count);
  Session session(Frame(data[0], WidenBytes(bytes)));
  for (std::size_t i = 0; i < count; ++i) session.Perform(data[begin + i]);
  session.Leave();
  return 0;
}
