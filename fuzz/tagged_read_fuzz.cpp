// SPDX-License-Identifier: MIT
// Reads a text through the tagged reader, in an order that the input chooses, and compares every
// answer with what is found by walking from element to element, converting with the C and C++
// runtime. Input: how the text is framed, the number of operations, the operations, the text.
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <locale>
#include <sstream>
#include <type_traits>
#include <vector>

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
                                    L"a<"};

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

template <class Number>
bool StreamNumber(const std::wstring& text, Number& number) {
  std::wistringstream stream(text);
  stream.imbue(std::locale::classic());
  return !(stream >> number).fail();
}

bool ConvertNumber(const std::wstring& text, double& number) {
  std::string narrow;
  for (const wchar_t c : text)  // no hexadecimal numbers
    narrow += c < 128 && c != L'x' && c != L'X' ? static_cast<char>(c) : '?';
  char* end = nullptr;
  number = std::strtod(narrow.c_str(), &end);
  return end != narrow.c_str();
}

bool IsSame(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

void RequireSameErrors(const MException& a, const MException& b) {
  Require(a.GetErrors().size() == b.GetErrors().size(), "another number of errors");
  for (std::size_t i = 0; i < a.GetErrors().size(); ++i) {
    Require(a.GetErrors()[i]->GetCode() == b.GetErrors()[i]->GetCode(), "another code");
    Require(a.GetErrors()[i]->GetParameters() == b.GetErrors()[i]->GetParameters(),
            "other parameters");
  }
}

class Session {
 public:
  explicit Session(const std::wstring& text) : reader_(text) {
    plain_.SetDocument(text);
    Require(reader_.GetErrorText() == plain_.GetErrorText(), "another error text");
    const std::uint32_t root = plain_.GetRecord(0).firstChild;
    const bool isValid = plain_.IsWellFormed() && plain_.GetTagName(root) == L"ExceptionChain";
    Require(reader_.IsValid() == isValid, "validity");
    if (isValid) levels_.push_back({root, 0});
  }

  void Perform(std::uint8_t operation) {
    const std::wstring tag = ChooseTag(operation >> 4U);
    switch (operation & 15U) {
      case 0:
        return ReadText(tag);
      case 1:
        return ReadCharacter(tag);
      case 2:
        return ReadFloating(tag);
      case 3:
        return ReadNumber<int>(tag, L"bool", &IInFilerTagged::ReadBool,
                               &IOutFilerTagged::WriteBool);
      case 4:
        return ReadNumber<short>(tag, L"byte", &IInFilerTagged::ReadByte,
                                 &IOutFilerTagged::WriteByte);
      case 5:
        return ReadNumber<unsigned short>(tag, L"uint", &IInFilerTagged::ReadUnsignedShort,
                                          &IOutFilerTagged::WriteUnsignedShort);
      case 6:
        return ReadNumber<short>(tag, L"int", &IInFilerTagged::ReadShort,
                                 &IOutFilerTagged::WriteShort);
      case 7:
        return ReadNumber<unsigned>(tag, L"uint", &IInFilerTagged::ReadUnsignedInt,
                                    &IOutFilerTagged::WriteUnsignedInt);
      case 8:
        return ReadNumber<int>(tag, L"int", &IInFilerTagged::ReadInt, &IOutFilerTagged::WriteInt);
      case 9:
        return ReadSubDocument(tag);
      case 10:
      case 11:
        return Require(reader_.BeginSection(tag) == Begin(FindFirst(tag)), "first section");
      case 12:
        return Require(reader_.BeginNextSection(tag) == Begin(FindNext(tag)), "next section");
      case 13:
        return Require(reader_.EndSection() == End(), "end of section");
      case 14:
        return ReadError(tag);
      default:
        return ReadChain();
    }
  }

  void Leave() {
    while (levels_.size() > 1) Require(reader_.EndSection() && End(), "sections are open");
    Require(!reader_.EndSection(), "more sections are open");
  }

 private:
  struct Level {
    std::uint32_t parent;
    std::uint32_t current;  // the section closed last; 0 before the first
  };

  [[nodiscard]] std::wstring ChooseTag(std::size_t choice) const {
    if (choice < std::size(kTags)) return kTags[choice];
    std::uint32_t child = levels_.empty() ? 0 : plain_.GetRecord(levels_.back().parent).firstChild;
    for (choice -= std::size(kTags); choice > 0; --choice)
      child = plain_.GetRecord(child).nextSibling;
    return plain_.GetTagName(child);
  }

  [[nodiscard]] std::uint32_t FindFrom(std::uint32_t child, const std::wstring& tag) const {
    while (child != 0 && plain_.GetTagName(child) != tag)
      child = plain_.GetRecord(child).nextSibling;
    return child;
  }
  [[nodiscard]] std::uint32_t FindFirst(const std::wstring& tag) const {
    return levels_.empty() ? 0 : FindFrom(plain_.GetRecord(levels_.back().parent).firstChild, tag);
  }
  [[nodiscard]] std::uint32_t FindNext(const std::wstring& tag) const {
    if (levels_.empty() || levels_.back().current == 0) return FindFirst(tag);
    return FindFrom(plain_.GetRecord(levels_.back().current).nextSibling, tag);
  }
  bool Begin(std::uint32_t section) {
    if (section == 0) return false;
    levels_.back().current = section;
    levels_.push_back({section, 0});
    return true;
  }
  bool End() {
    if (levels_.size() < 2) return false;
    levels_.pop_back();
    return true;
  }

  /// The text of a value, if there is one of that tag and type.
  bool FindValue(const std::wstring& tag, const wchar_t* type, std::wstring& text) const {
    const std::uint32_t element = FindFirst(tag);
    for (const MXmlAttribute& attribute : plain_.GetAttributes(element)) {
      if (attribute.name != L"type") continue;
      text = plain_.GetData(element);
      return attribute.value == type &&
             !plain_.GetRecord(element).HasFlag(MXmlElementRecord::kNotEnded);
    }
    return false;
  }

  /// Writes what was read and reads it again.
  template <class Value, class Default>
  static Value PassOn(const Value& value,
                      bool (IInFilerTagged::*read)(const std::wstring&, Value&, Default),
                      bool (IOutFilerTagged::*write)(const std::wstring&, Default)) {
    MOutFilerTaggedXml writer;
    Require((writer.*write)(L"v", value), "not written");
    MInFilerTaggedXml reader(writer.TakeText());
    Value back{};
    Require((reader.*read)(L"v", back, Value{}), "not read back");
    return back;
  }

  void ReadText(const std::wstring& tag) {
    std::wstring expected;
    const bool exists = FindValue(tag, L"string", expected);
    if (!exists) expected = L"default";
    std::wstring value = L"old";
    Require(reader_.ReadString(tag, value, L"default") == exists, "string is there");
    Require(value == expected, "string");
    Require(PassOn(value, &IInFilerTagged::ReadString, &IOutFilerTagged::WriteString) == value,
            "string written and read");
  }

  void ReadCharacter(const std::wstring& tag) {
    std::wstring text;
    short number = 0;
    char expected = 'd';
    bool exists = FindValue(tag, L"char", text);
    if (exists && text.size() == 1) {
      expected = static_cast<char>(text[0]);
    } else if (exists) {
      exists = StreamNumber(text, number);
      if (exists) expected = static_cast<char>(number);
    }
    char value = 'o';
    Require(reader_.ReadChar(tag, value, 'd') == exists, "char is there");
    Require(value == expected, "char");
    Require(PassOn(value, &IInFilerTagged::ReadChar, &IOutFilerTagged::WriteChar) == value,
            "char written and read");
  }

  template <class Streamed, class Value>
  void ReadNumber(const std::wstring& tag, const wchar_t* type,
                  bool (IInFilerTagged::*read)(const std::wstring&, Value&, Value),
                  bool (IOutFilerTagged::*write)(const std::wstring&, Value)) {
    std::wstring text;
    Streamed streamed{};
    const bool exists = FindValue(tag, type, text) && StreamNumber(text, streamed);
    Value expected = true;
    if (exists) {
      if constexpr (std::is_same_v<Value, bool>)
        expected = streamed != 0;
      else
        expected = static_cast<Value>(streamed);
    }
    Value value{};
    Require((reader_.*read)(tag, value, Value{true}) == exists, "number is there");
    Require(value == expected, "number");
    Require(PassOn(value, read, write) == value, "number written and read");
  }

  void ReadFloating(const std::wstring& tag) {
    std::wstring text;
    double expected = 0.0;
    const bool exists = FindValue(tag, L"float", text) && ConvertNumber(text, expected);
    if (!exists) expected = 0.5;
    double wide = 0.0;
    float narrow = 0.0F;
    Require(reader_.ReadDouble(tag, wide, 0.5) == exists, "double is there");
    Require(reader_.ReadFloat(tag, narrow, 0.5F) == exists, "float is there");
    if (text.find(L'#') == std::wstring::npos) Require(IsSame(wide, expected), "double");
    if (std::isinf(narrow)) {
      Require(std::fabs(wide) > double{FLT_MAX} && std::signbit(wide) == std::signbit(narrow),
              "float out of range");
    } else {
      Require(IsSame(double{static_cast<float>(wide)}, double{narrow}), "float");
    }
    const double back = PassOn(wide, &IInFilerTagged::ReadDouble, &IOutFilerTagged::WriteDouble);
    Require(IsSame(back, wide) || std::fabs(back - wide) <= 1e-15 * std::fabs(wide),
            "double written and read");
    Require(IsSame(double{PassOn(narrow, &IInFilerTagged::ReadFloat, &IOutFilerTagged::WriteFloat)},
                   double{narrow}),
            "float written and read");
  }

  void ReadSubDocument(const std::wstring& tag) {
    const std::uint32_t element = FindFirst(tag);
    std::wstring text = L"old";
    if (!reader_.ReadSubDocument(tag, text)) {
      Require(text.empty(), "refused sub-document has a text");
      Require(element == 0 || plain_.GetRecord(element).HasFlag(MXmlElementRecord::kNotEnded),
              "sub-document is refused");
      return;
    }
    MXmlDocument document;
    Require(document.SetDocument(text), "sub-document is not well-formed");
    const std::uint32_t root = document.GetRecord(0).firstChild;
    Require(document.GetTagName(root) == L"MFilerTaggedXml", "root of the sub-document");
    Require(document.GetSubDocument(document.GetRecord(root).firstChild) ==
                plain_.GetSubDocument(element),
            "another sub-document");
  }

  void ReadError(const std::wstring& tag) {
    MError error;
    const bool isRead = error.Read({&reader_, nullptr}, tag);
    const bool exists = Begin(FindFirst(tag));
    Require(exists || !isRead, "error from nowhere");
    if (!exists) return;
    std::wstring code;
    if (!FindValue(L"Code", L"string", code)) code.clear();
    Require(error.GetCode() == code, "code of an error");
    End();
  }

  void ReadChain() {
    MException chain;
    const bool isRead = chain.ReadChain({&reader_, nullptr});
    Require(isRead, "chain is not read");
    std::size_t count = 0;
    for (; Begin(FindNext(L"Error")); End()) ++count;
    Require(chain.GetErrors().size() == count, "errors of a chain");
    MException copy;
    Require(copy.AppendChainXml(chain.GetChainXml()), "chain is not read back");
    RequireSameErrors(chain, copy);
  }

  MInFilerTaggedXml reader_;
  MXmlDocument plain_;
  std::vector<Level> levels_;  // empty when there is nothing to read
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
