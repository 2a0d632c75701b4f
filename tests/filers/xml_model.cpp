// SPDX-License-Identifier: MIT
#include "tests/filers/xml_model.h"

#include <algorithm>
#include <utility>

namespace Orvel::Testing {
namespace {

constexpr std::wstring_view kNameEnds = L" \t\n\r<>=\\/?!";

class ModelParser {
 public:
  ModelParser(std::wstring_view text, bool ignoreCase) : text_(text), compared_(text) {
    for (wchar_t& c : compared_) {
      if (ignoreCase && c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c + 32);
    }
    model_.elements.emplace_back();
  }

  XmlModel Parse() {
    if (text_.empty()) {
      Error(L"Empty document");
      return std::move(model_);
    }
    while (pos_ < text_.size()) {
      if (text_[pos_] == L'<') {
        Markup();
      } else {
        ++pos_;
      }
    }
    if (!open_.empty()) Error(L"Element " + DescribeInnermost() + L" not ended");
    while (!open_.empty()) CloseUnended();
    const auto roots = std::count_if(model_.elements.begin() + 1, model_.elements.end(),
                                     [](const auto& element) { return element.parent == 0; });
    model_.elements[0].length = text_.size();
    if (roots == 0) Error(L"No root element");
    if (roots > 1) Error(L"Root element has sibling");
    model_.isWellFormed =
        roots == 1 && (model_.elements[0].flags & MXmlElementRecord::kIllFormed) == 0;
    return std::move(model_);
  }

 private:
  [[nodiscard]] static std::wstring At(const std::wstring& what, std::size_t offset) {
    return what + L" at offset " + std::to_wstring(offset);
  }
  [[nodiscard]] static std::wstring NameAt(const std::wstring& text, std::size_t offset) {
    return text.substr(offset, text.find_first_of(kNameEnds, offset) - offset);
  }
  [[nodiscard]] std::size_t Current() const { return open_.empty() ? 0 : open_.back(); }
  [[nodiscard]] std::wstring DescribeInnermost() const {
    const std::size_t start = model_.elements[open_.back()].start;
    return At(L"'" + NameAt(text_, start + 1) + L"'", start);
  }

  void Error(const std::wstring& error) {
    if (model_.error.empty()) model_.error = error;
  }
  void Fault(const std::wstring& error) {
    model_.elements[0].flags |= MXmlElementRecord::kIllFormed;
    model_.elements[Current()].flags |= MXmlElementRecord::kErrorInside;
    Error(error);
  }
  void Incorrect(const std::wstring& what) {
    Fault(At(L"Incorrect " + what, pos_));
    ++pos_;
  }
  void Unterminated(const std::wstring& what) {
    Fault(At(what, pos_) + L" unterminated");
    pos_ = text_.size();
  }
  void SkipBehind(std::wstring_view ending, std::size_t from, const wchar_t* what) {
    const std::size_t found = text_.find(ending, pos_ + from);
    if (found == std::wstring::npos) return Unterminated(what);
    pos_ = found + ending.size();
  }

  void Markup() {
    const std::wstring_view rest = std::wstring_view(text_).substr(pos_);
    for (const wchar_t* const cutShort : {L"<", L"<!", L"<!-"})
      if (rest == cutShort) return Unterminated(L"tag");
    if (rest[1] == L'/') return EndTag();
    if (rest[1] == L'?') return SkipBehind(L"?>", 2, L"Processing instruction");
    if (rest.starts_with(L"<![")) return SkipBehind(L"]]>", 3, L"CDATA Section");
    if (rest.starts_with(L"<!--")) return SkipBehind(L"-->", 4, L"Comment");
    if (rest.starts_with(L"<!-")) return Incorrect(L"comment tag");
    if (rest[1] == L'!') return Declaration(rest[2]);
    if (kNameEnds.find(rest[1]) != std::wstring_view::npos) return Incorrect(L"tag name character");
    StartTag();
  }

  void Declaration(wchar_t kind) {
    if (kind != L'D' && kind != L'E' && kind != L'A' && kind != L'N') return Incorrect(L"! tag");
    int depth = 0;
    for (std::size_t i = pos_; i < text_.size(); ++i) {
      if (text_[i] == L'<') ++depth;
      if (text_[i] != L'>' || --depth != 0) continue;
      pos_ = i + 1;
      return;
    }
    Unterminated(L"Doctype");
  }

  void StartTag() {
    wchar_t quote = 0;
    for (std::size_t i = text_.find_first_of(kNameEnds, pos_ + 1); i < text_.size(); ++i) {
      const wchar_t c = text_[i];
      if (quote != 0) {
        if (c == quote) quote = 0;
      } else if (c == L'"' || c == L'\'') {
        quote = c;
      } else if (c == L'>') {
        return OpenTag(i + 1);
      }
    }
    Unterminated(L"Element tag");
  }

  void OpenTag(std::size_t end) {
    const std::size_t start = std::exchange(pos_, end);
    const std::size_t length = end - start;
    if (length > MXmlElementRecord::kMaxStartTagLength)
      return Fault(At(L"Element tag", start) + L" too long");
    if (open_.size() > MXmlElementRecord::kMaxLevel)
      return Fault(At(L"Nesting", start) + L" too deep");
    const std::size_t number = model_.elements.size();
    const bool isFirstChild = number == Current() + 1;
    const bool isSelfClosed = text_[end - 2] == L'/';
    XmlModel::Element element;
    element.start = start;
    element.startTagLength = length;
    if (isFirstChild) element.flags |= MXmlElementRecord::kFirstChild;
    if (isSelfClosed) element.flags |= MXmlElementRecord::kSelfClosed;
    element.level = open_.size();
    element.parent = Current();
    element.length = length;
    model_.elements.push_back(element);
    if (!isSelfClosed) open_.push_back(number);
  }

  /// True for the name of an end tag that closes an element: its name, or what stands in it before
  /// a bracket.
  [[nodiscard]] static bool Closes(const std::wstring& endName, const std::wstring& startName) {
    return startName.starts_with(endName) &&
           (endName.size() == startName.size() || startName[endName.size()] == L'[' ||
            startName[endName.size()] == L']');
  }

  void EndTag() {
    const std::size_t close = text_.find(L'>', pos_);
    if (close == std::wstring::npos) return Unterminated(L"Element end tag");
    const std::size_t start = std::exchange(pos_, close + 1);
    if (pos_ - start > MXmlElementRecord::kMaxEndTagLength)
      return Fault(At(L"Element end tag", start) + L" too long");
    const std::wstring tag = At(L"tag '" + NameAt(text_, start + 2) + L"'", start);
    const std::wstring name = NameAt(compared_, start + 2);
    std::size_t depth = open_.size();
    while (depth > 0 &&
           !Closes(name, NameAt(compared_, model_.elements[open_[depth - 1]].start + 1))) {
      --depth;
    }
    if (depth == 0) return Fault(L"No start tag for end " + tag);
    if (depth < open_.size())
      Error(L"End " + tag + L" does not match start tag " + DescribeInnermost());
    while (open_.size() > depth) CloseUnended();
    XmlModel::Element& element = model_.elements[open_.back()];
    element.length = pos_ - element.start;
    element.endTagLength = pos_ - start;
    open_.pop_back();
  }

  void CloseUnended() {
    const std::size_t number = open_.back();
    XmlModel::Element& element = model_.elements[number];
    XmlModel::Element& parent = model_.elements[element.parent];
    element.flags |= MXmlElementRecord::kNotEnded;
    parent.flags |= element.flags & MXmlElementRecord::kErrorInside;
    element.flags &= ~std::size_t{MXmlElementRecord::kErrorInside};
    for (std::size_t i = number + 1; i < model_.elements.size(); ++i) {
      if (model_.elements[i].parent == number) model_.elements[i].parent = element.parent;
    }
    open_.pop_back();
  }

  const std::wstring text_;
  std::wstring compared_;  // the text in the case in which names are compared
  std::size_t pos_ = 0;
  std::vector<std::size_t> open_;  // innermost last
  XmlModel model_;
};

std::vector<XmlModel::Element> ListElements(const MXmlDocument& document) {
  std::vector<XmlModel::Element> elements;
  for (std::uint32_t i = 0; i < document.GetRecordCount(); ++i) {
    const MXmlElementRecord record = document.GetRecord(i);
    if (i != 0 && record.GetStartTagLength() == 0) continue;  // it was removed
    elements.push_back(
        {record.start, record.length, record.GetStartTagLength(), record.GetEndTagLength(),
         record.flagsAndLevel & ~MXmlElementRecord::kMaxLevel, record.GetLevel(), record.parent});
  }
  return elements;
}

/// The document and its elements in the order in which they begin. Parents are told by one more
/// than their start, for an edit numbers elements otherwise than a parser, which gives elements
/// that were in one that is not ended other levels, too.
std::vector<XmlModel::Element> ListByStart(const MXmlDocument& document) {
  std::vector<XmlModel::Element> elements = ListElements(document);
  for (XmlModel::Element& element : elements) {
    element.flags &= MXmlElementRecord::kSelfClosed | MXmlElementRecord::kNotEnded;
    element.level = 0;
    if (element.parent != 0) {
      element.parent = document.GetRecord(static_cast<std::uint32_t>(element.parent)).start + 1;
    }
  }
  std::stable_sort(elements.begin(), elements.end(),
                   [](const auto& a, const auto& b) { return a.start < b.start; });
  return elements;
}

std::string Compare(const std::vector<XmlModel::Element>& got,
                    const std::vector<XmlModel::Element>& wanted) {
  using Element = XmlModel::Element;
  constexpr std::pair<const char*, std::size_t Element::*> kFields[] = {
      {"start", &Element::start},
      {"length", &Element::length},
      {"start tag", &Element::startTagLength},
      {"end tag", &Element::endTagLength},
      {"flags", &Element::flags},
      {"level", &Element::level},
      {"parent", &Element::parent}};
  if (got.size() != wanted.size()) return "the numbers of elements differ";
  for (std::size_t i = 0; i < got.size(); ++i) {
    for (const auto& [name, field] : kFields) {
      if (got[i].*field == wanted[i].*field) continue;
      return std::string(name) + " of element " + std::to_string(i) + " is " +
             std::to_string(got[i].*field) + ", should be " + std::to_string(wanted[i].*field);
    }
  }
  return "";
}

}  // namespace

XmlModel ParseModel(std::wstring_view text, bool ignoreCase) {
  return ModelParser(text, ignoreCase).Parse();
}

std::string CompareWithModel(const MXmlDocument& document, const XmlModel& model) {
  if (document.GetErrorText() != model.error) return "the error texts differ";
  if (document.IsWellFormed() != model.isWellFormed) return "IsWellFormed() is wrong";
  return Compare(ListElements(document), model.elements);
}

std::string CheckRecords(const MXmlDocument& document) {
  const std::wstring& text = document.GetDocumentText();
  std::size_t linked = 1;
  std::size_t removed = 0;
  for (std::uint32_t i = 0; i < document.GetRecordCount(); ++i) {
    const auto fault = [i](const char* what) {
      return "fault in the " + std::string(what) + " of element " + std::to_string(i);
    };
    const MXmlElementRecord record = document.GetRecord(i);
    std::size_t place = std::size_t{record.start} + record.GetStartTagLength();
    std::size_t end = std::size_t{record.start} + record.length;
    if (end > text.size() || place > end) return fault("length");
    if (i != 0 && record.length == 0) {
      ++removed;
      continue;
    }
    if (i != 0) {
      if (text[record.start] != L'<' || text[place - 1] != L'>') return fault("start tag");
      if (text[end - 1] != L'>') return fault("end");
      end -= record.GetEndTagLength();
      if (record.GetEndTagLength() != 0 && text.substr(end, 2) != L"</") return fault("end tag");
    }
    std::uint32_t last = 0;
    for (std::uint32_t number = record.firstChild; number != 0;) {
      const MXmlElementRecord child = document.GetRecord(number);
      if (++linked > document.GetRecordCount()) return fault("children's number");
      if (child.parent != i || (last != 0 && child.previousSibling != last))
        return fault("children's links");
      if (child.start < place) return fault("children's order");
      place = std::size_t{child.start} + child.length;
      last = std::exchange(number, child.nextSibling);
    }
    if (last != 0 && document.GetRecord(record.firstChild).previousSibling != last)
      return fault("first child's link to the last");
    if (place > end) return fault("content");
  }
  return linked + removed == document.GetRecordCount() ? "" : "an element is not linked";
}

std::string CheckPosition(MXmlDocument& document) {
  const MXmlPosition position = document.GetPosition();
  if (position.parent != 0 && document.GetTagName(position.parent).empty())
    return "a position in an element that is not there";
  if (position.child != 0 && document.GetRecord(position.child).parent != position.element)
    return "another child was current";
  document.SavePosition(L"CheckPosition");
  document.ResetToLevelStart();
  const auto isElement = position.kind == MXmlNodeKind::kElement;
  const auto isText = Intersects(position.kind, MXmlNodeKind::kText | MXmlNodeKind::kWhitespace);
  std::string fault;
  if (position.kind == MXmlNodeKind::kNone) {
    if (position.element != 0) fault = "an element before the first node";
  } else if (isText) {
    while (document.GetElement() != position.element && document.FindElement({})) continue;
    const MXmlElementRecord before = document.GetRecord(document.GetElement());
    const std::size_t end = std::size_t{position.nodeStart} + position.nodeLength;
    if (document.GetElement() != position.element) fault = "the element before a text is not there";
    if (position.nodeStart < std::size_t{before.start} + before.length && before.start != 0)
      fault = "a text before the element before it";
    if (document.FindElement({}) && end > document.GetRecord(document.GetElement()).start)
      fault = "a text behind the element behind it";
    if (document.GetDocumentText().substr(position.nodeStart, position.nodeLength).find(L'<') !=
        std::wstring::npos)
      fault = "not a text";
  } else {
    const auto isThere = [&] {
      const MXmlPosition found = document.GetPosition();
      return found.kind == position.kind && found.element == position.element &&
             (isElement ||
              (found.nodeStart == position.nodeStart && found.nodeLength == position.nodeLength));
    };
    while (!isThere() && fault.empty()) {
      if (!document.FindNode(static_cast<MXmlNodeKind>(255))) fault = "a node that is not there";
    }
  }
  document.RestorePosition(L"CheckPosition");
  return fault;
}

std::string CompareTrees(const MXmlDocument& edited, const MXmlDocument& parsed) {
  return Compare(ListByStart(edited), ListByStart(parsed));
}

}  // namespace Orvel::Testing
