// SPDX-License-Identifier: MIT
// Parses, writes, reads and edits documents of shapes that make a careless implementation slow,
// each at one and at two units of size, and ends with 1 when the second takes 2.5 times as long as
// the first or more. Depends on nothing that needs Windows, so it runs on any machine. An argument
// picks the shapes whose names hold it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/foundation/utf8.h"

namespace {

constexpr double kHighestRatio = 2.5;
constexpr std::size_t kRounds = 7;
constexpr std::size_t kTagsPerUnit = 5000;  // few enough for the caches at both sizes
constexpr double kShortestTotal = 200.0;    // milliseconds of all rounds

struct Shape {
  const char* name;
  std::function<std::wstring(std::size_t)> makeText;         // for a size of 1 or 2 units
  std::function<void(MXmlDocument&, std::size_t)> exercise;  // timed, after the text was made
};

std::wstring Repeat(std::wstring_view piece, std::size_t count) {
  std::wstring text;
  text.reserve(piece.size() * count);
  for (std::size_t i = 0; i < count; ++i) text += piece;
  return text;
}

std::wstring InRoot(const std::wstring& content) { return L"<r>" + content + L"</r>"; }

std::wstring NumberedTags(std::size_t count, bool close) {
  std::wstring text;
  for (std::size_t i = 0; i < count; ++i) {
    text += close ? L"</t" : L"<t";
    text += std::to_wstring(i);
    text += L'>';
  }
  return text;
}

void OnlyParse(MXmlDocument&, std::size_t) {}

void ReadRoot(MXmlDocument& document, std::size_t) {
  (void)document.GetData(1);
  (void)document.GetAttributes(1);
}

void EncodeUnpaired(MXmlDocument&, std::size_t units) {
  (void)Orvel::Detail::EncodeUtf8Replacing(std::wstring(100000 * units, L'\xD83D'));
}

void WriteFlat(MXmlDocument& document, std::size_t units) {
  document.AddElement(L"r");
  document.IntoElement();
  for (std::size_t i = 0; i < 100000 * units; ++i) document.AddElement(L"value", L"1");
}

void WriteFlatInTwoSteps(MXmlDocument& document, std::size_t units) {
  document.AddElement(L"r");
  document.IntoElement();
  for (std::size_t i = 0; i < 100000 * units; ++i) {
    document.AddElement(L"value", L"1");
    document.SetAttribute(L"type", L"int");
    (void)document.GetDocumentText();
  }
}

void WriteDeep(MXmlDocument& document, std::size_t units) {
  for (std::size_t i = 0; i < 30000 * units; ++i) {
    document.AddElement(L"value", L"1");
    document.AddElement(L"section");
    document.IntoElement();
  }
  while (document.OutOfElement()) document.AddElement(L"value", L"2");
}

void WriteManySections(MXmlDocument& document, std::size_t units) {
  for (int i = 0; i < 1000; ++i) {
    document.AddElement(L"deep");
    document.IntoElement();
  }
  for (std::size_t i = 0; i < 30000 * units; ++i) {
    document.AddElement(L"section");
    document.IntoElement();
    document.AddElement(L"value", L"1");
    document.OutOfElement();
  }
}

std::wstring ManyTags(std::size_t units) {
  std::wstring text;
  for (std::size_t i = 0; i < kTagsPerUnit * units; ++i)
    text += L"<t" + std::to_wstring(i) + L">v<x/></t" + std::to_wstring(i) + L">";
  return InRoot(text);
}

void OpenForEachTag(MXmlDocument& document, std::size_t units) {
  for (std::size_t i = kTagsPerUnit * units; i-- > 0;) {
    document.FindFirstElement(L"r");
    document.IntoElement();
    document.FindFirstElement(L"t" + std::to_wstring(i));
    document.OutOfElement();
  }
}

void ReadByTagBackwards(MXmlDocument& document, std::size_t units) {
  document.FindElement(L"r");
  document.IntoElement();
  for (std::size_t i = kTagsPerUnit * units; i-- > 0;) {
    document.FindFirstElement(L"t" + std::to_wstring(i));
    (void)document.GetData(document.GetElement());
    document.IntoElement();
    document.FindFirstElement(L"missing");
    document.OutOfElement();
  }
}

/// 10,000 elements for each unit, one behind the other.
std::wstring FlatElements(std::size_t units) {
  return InRoot(Repeat(L"<a x='1'>text</a>\n", 10000 * units));
}

/// 10,000 elements for each unit, in sections of sections, and one behind them all.
std::wstring NestedElements(std::size_t units) {
  std::wstring text;
  for (std::size_t i = 0; i < 5 * units; ++i)
    text += L"<s>" + Repeat(L"<t>", 1000) + Repeat(L"</t><a/>", 999) + L"</t></s>";
  return InRoot(text + L"<last/>");
}

void SetAttributes(MXmlDocument& document, std::size_t) {
  for (std::uint32_t i = 1; i < document.GetRecordCount(); ++i)
    document.SetAttribute(i, L"n", L"value");
}

void SetDataOfAll(MXmlDocument& document, std::size_t) {
  for (std::uint32_t i = 2; i < document.GetRecordCount(); ++i) document.SetData(i, L"other data");
}

void RenameAll(MXmlDocument& document, std::size_t) {
  for (std::uint32_t i = 2; i < document.GetRecordCount(); ++i) document.SetTagName(i, L"other");
}

void RemoveAllAsFound(MXmlDocument& document, std::size_t units) {
  document.FindElement(L"r");
  document.IntoElement();
  for (std::size_t i = kTagsPerUnit * units; i-- > 0;) {
    document.FindFirstElement(L"t" + std::to_wstring(i));
    document.RemoveElement();
  }
}

/// Removes the elements that are in sections, the innermost first, and then the sections.
void RemoveAllBackwards(MXmlDocument& document, std::size_t) {
  for (std::uint32_t i = document.GetRecordCount(); --i > 0;) document.RemoveElement(i);
}

void RemoveAllInWalk(MXmlDocument& document, std::size_t) {
  for (const MXmlElement element : document.GetChildren(1))
    document.RemoveElement(element.GetNumber());
}

/// Adds a child to every element of every level, on the way back from those inside.
void AddChildren(MXmlDocument& document, std::size_t) {
  for (;;) {
    if (document.FindElement(L"")) {
      if (document.GetRecord(document.GetElement()).firstChild != 0) {
        document.IntoElement();
        continue;
      }
      document.IntoElement();
      document.AddElement(L"n", L"1");
    } else {
      document.AddElement(L"n", L"1");
    }
    if (!document.OutOfElement()) return;
  }
}

std::wstring TwoSections(std::size_t units) {
  return L"<r>" + ManyTags(units) + ManyTags(units) + L"</r>";
}

void AddBehindEachTag(MXmlDocument& document, std::size_t units) {
  document.FindElement(L"r");
  document.IntoElement();
  for (std::size_t i = 0; i < kTagsPerUnit * units; ++i) {
    document.FindFirstElement(L"t" + std::to_wstring(i));
    document.AddElement(L"n", L"1");
  }
}

void ReadSectionsByTurns(MXmlDocument& document, std::size_t units) {
  document.FindElement(L"r");
  document.IntoElement();
  for (std::size_t i = 0; i < kTagsPerUnit * units; ++i) {
    document.ResetToLevelStart();
    while (document.FindElement(L"r")) {
      document.IntoElement();
      document.FindFirstElement(L"t" + std::to_wstring(i));
      (void)document.GetData(document.GetElement());
      document.OutOfElement();
    }
  }
}

const Shape kShapes[] = {
    {"flat siblings", [](std::size_t n) { return InRoot(Repeat(L"<a>x</a>", 300000 * n)); },
     OnlyParse},
    {"nesting to the limit",
     [](std::size_t n) { return Repeat(L"<a>", 32768 * n) + Repeat(L"</a>", 32768 * n); },
     OnlyParse},
    {"nesting past the limit",
     [](std::size_t n) { return Repeat(L"<a>", 500000 * n) + Repeat(L"</a>", 500000 * n); },
     OnlyParse},
    {"unclosed tags of one name", [](std::size_t n) { return Repeat(L"<a>", 300000 * n); },
     OnlyParse},
    {"unclosed tags, closed by the root",
     [](std::size_t n) { return InRoot(NumberedTags(30000 * n, false)); }, OnlyParse},
    {"unclosed pairs", [](std::size_t n) { return InRoot(Repeat(L"<a><b></a>", 200000 * n)); },
     OnlyParse},
    {"end tags without start", [](std::size_t n) { return InRoot(Repeat(L"</a>", 300000 * n)); },
     OnlyParse},
    {"end tags without start in many open ones",
     [](std::size_t n) { return Repeat(L"<a>", 32000 * n) + NumberedTags(100000 * n, true); },
     OnlyParse},
    {"tags of brackets",
     [](std::size_t n) {
       return Repeat(L"<a[x>", 30000 * n) + L"<" + Repeat(L"[", 300000 * n) + L">" +
              Repeat(L"</a[y>", 100000 * n);
     },
     OnlyParse},
    {"attributes on one element",
     [](std::size_t n) { return L"<r" + Repeat(L" a='1'", 100000 * n) + L"/>"; }, ReadRoot},
    {"one long text", [](std::size_t n) { return InRoot(std::wstring(8000000 * n, L'x')); },
     ReadRoot},
    {"references", [](std::size_t n) { return InRoot(Repeat(L"&amp;", 1000000 * n)); }, ReadRoot},
    {"ampersands", [](std::size_t n) { return InRoot(Repeat(L"&", 2000000 * n)); }, ReadRoot},
    {"references without end", [](std::size_t n) { return InRoot(Repeat(L"&#0", 1000000 * n)); },
     ReadRoot},
    {"comments", [](std::size_t n) { return InRoot(Repeat(L"<!---->", 1000000 * n)); }, ReadRoot},
    {"comments without end", [](std::size_t n) { return InRoot(Repeat(L"<!--", 500000 * n)); },
     ReadRoot},
    {"incorrect tags", [](std::size_t n) { return InRoot(Repeat(L"<<", 500000 * n)); }, ReadRoot},
    {"document type with nesting",
     [](std::size_t n) {
       return L"<!DOCTYPE r [" + Repeat(L"<!", 350000 * n) + Repeat(L">", 350000 * n) + L"]><r/>";
     },
     OnlyParse},
    {"start tags past their limit",
     [](std::size_t n) {
       return InRoot(Repeat(L"<a b='" + std::wstring(4200000, L'x') + L"'/>", 2 * n));
     },
     ReadRoot},
    {"end tags past their limit",
     [](std::size_t n) {
       return InRoot(Repeat(L"</" + std::wstring(1100, L'a') + L">", 8000 * n));
     },
     ReadRoot},
    {"unpaired surrogates as UTF-8", [](std::size_t) { return std::wstring(); }, EncodeUnpaired},
    {"writing a flat level", [](std::size_t) { return std::wstring(); }, WriteFlat},
    {"writing with the text looked at", [](std::size_t) { return std::wstring(); },
     WriteFlatInTwoSteps},
    {"writing deep nesting", [](std::size_t) { return std::wstring(); }, WriteDeep},
    {"writing sections deep inside", [](std::size_t) { return std::wstring(); }, WriteManySections},
    {"reading by tag, backwards", ManyTags, ReadByTagBackwards},
    {"reading by tag, the level opened each time", ManyTags, OpenForEachTag},
    {"reading two sections by turns", TwoSections, ReadSectionsByTurns},
    {"an element added behind each that is found", ManyTags, AddBehindEachTag},
    {"an attribute set in every element", FlatElements, SetAttributes},
    {"an attribute set in nested elements", NestedElements, SetAttributes},
    {"data set in every element", FlatElements, SetDataOfAll},
    {"every element renamed", FlatElements, RenameAll},
    {"every element removed in a walk", FlatElements, RemoveAllInWalk},
    {"every element removed as found by tag", ManyTags, RemoveAllAsFound},
    {"nested elements removed backwards", NestedElements, RemoveAllBackwards},
    {"a child added to every element", FlatElements, AddChildren},
    {"a child added to nested elements", NestedElements, AddChildren},
};

/// Milliseconds of the processor for one run.
double Run(const Shape& shape, const std::wstring& text, std::size_t units) {
  std::wstring copy = text;
  const std::clock_t start = std::clock();
  MXmlDocument document;
  if (!copy.empty()) document.SetDocument(std::move(copy));
  shape.exercise(document, units);
  return 1000.0 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

struct Result {
  double one = 1e9;  // the shortest run at each size
  double two = 1e9;
  double ratio = 0.0;  // the median of pairs, not two / one
};

/// The sizes take turns, and the ratio is the median of those of neighbouring runs: if the
/// machine's speed changes from second to second, it is about the same for both runs of a pair.
Result Measure(const Shape& shape) {
  const std::wstring textOfOne = shape.makeText(1);
  const std::wstring textOfTwo = shape.makeText(2);
  Result result;
  std::vector<double> ratios;
  double total = 0.0;
  while (ratios.size() < kRounds || total < kShortestTotal) {
    const double one = Run(shape, textOfOne, 1);
    const double two = Run(shape, textOfTwo, 2);
    result.one = (std::min)(result.one, one);
    result.two = (std::min)(result.two, two);
    ratios.push_back(two / one);
    total += one + two;
  }
  const auto middle = ratios.begin() + static_cast<std::ptrdiff_t>(ratios.size() / 2);
  std::nth_element(ratios.begin(), middle, ratios.end());
  result.ratio = *middle;
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  int failures = 0;
  for (const Shape& shape : kShapes) {
    if (argc > 1 && std::string_view(shape.name).find(argv[1]) == std::string_view::npos) continue;
    const auto [one, two, ratio] = Measure(shape);
    const bool failed = ratio >= kHighestRatio;
    failures += failed ? 1 : 0;
    std::printf("%-42s %9.2f ms %9.2f ms  ratio %4.2f%s\n", shape.name, one, two, ratio,
                failed ? "  TOO SLOW" : "");
    std::fflush(stdout);
  }
  return failures == 0 ? 0 : 1;
}
