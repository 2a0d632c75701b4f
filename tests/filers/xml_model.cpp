// SPDX-License-Identifier: MIT
#include "tests/filers/xml_model.h"

#include <algorithm>
#include <utility>

namespace Orvel::Testing {
namespace {

constexpr std::wstring_view kNameEnds = L" \t\n\r<>=\\/?!";

class ModelParser {
 public:
  ModelParser(std::wstring_view text, bool ignoreCase) : text_(text), ignoreCase_(ignoreCase) {
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
    if (!open_.empty()) {
      Error(At(L"Element '" + open_.back().name + L"'", GetStart(open_.back())) + L" not ended");
    }
    while (!open_.empty()) CloseUnended();
    const auto& top = model_.elements[0].children;
    model_.elements[0].length = text_.size();
    if (top.empty()) Error(L"No root element");
    if (top.size() > 1) Error(L"Root element has sibling");
    return std::move(model_);
  }

 private:
  struct Open {
    std::size_t number;
    std::wstring name;
    std::wstring foldedName;  // as names are compared
  };

  [[nodiscard]] static std::wstring At(const std::wstring& what, std::size_t offset) {
    return what + L" at offset " + std::to_wstring(offset);
  }
  [[nodiscard]] std::wstring Fold(std::wstring name) const {
    for (wchar_t& c : name) {
      if (ignoreCase_ && c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c + 32);
    }
    return name;
  }
  [[nodiscard]] std::size_t GetStart(const Open& open) const {
    return model_.elements[open.number].start;
  }
  [[nodiscard]] std::size_t Current() const { return open_.empty() ? 0 : open_.back().number; }
  [[nodiscard]] bool AtEnd(std::size_t count) const { return pos_ + count >= text_.size(); }

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
    if (found == std::wstring_view::npos) return Unterminated(what);
    pos_ = found + ending.size();
  }

  void Markup() {
    if (AtEnd(1)) return Unterminated(L"tag");
    const wchar_t c = text_[pos_ + 1];
    if (c == L'/') return EndTag();
    if (c == L'?') return SkipBehind(L"?>", 2, L"Processing instruction");
    if (c != L'!') {
      if (kNameEnds.find(c) != std::wstring_view::npos) return Incorrect(L"tag name character");
      return StartTag();
    }
    if (AtEnd(2)) return Unterminated(L"tag");
    const wchar_t d = text_[pos_ + 2];
    if (d == L'[') return SkipBehind(L"]]>", 3, L"CDATA Section");
    if (d == L'-') {
      if (AtEnd(3)) return Unterminated(L"tag");
      if (text_[pos_ + 3] != L'-') return Incorrect(L"comment tag");
      return SkipBehind(L"-->", 4, L"Comment");
    }
    if (d != L'D' && d != L'E' && d != L'A' && d != L'N') return Incorrect(L"! tag");
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
    const std::size_t nameEnd = text_.find_first_of(kNameEnds, pos_ + 1);
    wchar_t quote = 0;
    for (std::size_t i = nameEnd; i < text_.size(); ++i) {
      const wchar_t c = text_[i];
      if (quote != 0) {
        if (c == quote) quote = 0;
      } else if (c == L'"' || c == L'\'') {
        quote = c;
      } else if (c == L'>') {
        return OpenTag(nameEnd, i + 1);
      }
    }
    Unterminated(L"Element tag");
  }

  void OpenTag(std::size_t nameEnd, std::size_t end) {
    const std::size_t start = std::exchange(pos_, end);
    const std::size_t length = end - start;
    if (length > MXmlElementRecord::kMaxStartTagLength)
      return Fault(At(L"Element tag", start) + L" too long");
    if (open_.size() > MXmlElementRecord::kMaxLevel)
      return Fault(At(L"Nesting", start) + L" too deep");
    XmlModel::Element element;
    element.start = start;
    element.startTagLength = length;
    element.level = open_.size();
    element.parent = Current();
    auto& siblings = model_.elements[element.parent].children;
    if (siblings.empty()) element.flags |= MXmlElementRecord::kFirstChild;
    siblings.push_back(model_.elements.size());
    if (text_[end - 2] == L'/') {
      element.flags |= MXmlElementRecord::kSelfClosed;
      element.length = length;
    } else {
      const std::wstring name(text_.substr(start + 1, nameEnd - start - 1));
      open_.push_back({model_.elements.size(), name, Fold(name)});
    }
    model_.elements.push_back(element);
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
    if (close == std::wstring_view::npos) return Unterminated(L"Element end tag");
    const std::size_t nameEnd = text_.find_first_of(kNameEnds, pos_ + 2);
    const std::wstring name(text_.substr(pos_ + 2, nameEnd - pos_ - 2));
    const std::size_t start = std::exchange(pos_, close + 1);
    if (pos_ - start > MXmlElementRecord::kMaxEndTagLength)
      return Fault(At(L"Element end tag", start) + L" too long");
    std::size_t depth = open_.size();
    while (depth > 0 && !Closes(Fold(name), open_[depth - 1].foldedName)) --depth;
    if (depth == 0) return Fault(At(L"No start tag for end tag '" + name + L"'", start));
    if (depth < open_.size()) {
      Error(At(L"End tag '" + name + L"'", start) +
            At(L" does not match start tag '" + open_.back().name + L"'", GetStart(open_.back())));
    }
    while (open_.size() > depth) CloseUnended();
    XmlModel::Element& element = model_.elements[open_.back().number];
    element.length = pos_ - element.start;
    element.endTagLength = pos_ - start;
    open_.pop_back();
  }

  void CloseUnended() {
    const std::size_t number = open_.back().number;
    XmlModel::Element& element = model_.elements[number];
    XmlModel::Element& parent = model_.elements[element.parent];
    element.length = element.startTagLength;
    element.flags |= MXmlElementRecord::kNotEnded;
    parent.flags |= element.flags & MXmlElementRecord::kErrorInside;
    element.flags &= ~MXmlElementRecord::kErrorInside;
    for (const std::size_t child : element.children) {
      model_.elements[child].parent = element.parent;
      parent.children.push_back(child);
    }
    element.children.clear();
    open_.pop_back();
  }

  std::wstring_view text_;
  bool ignoreCase_;
  std::size_t pos_ = 0;
  std::vector<Open> open_;
  XmlModel model_;
};

std::vector<std::uint32_t> GetChildren(const MXmlDocument& document, std::uint32_t number) {
  std::vector<std::uint32_t> children;
  for (std::uint32_t child = document.GetRecord(number).firstChild; child != 0;
       child = document.GetRecord(child).nextSibling) {
    if (children.size() > document.GetRecordCount()) break;  // links that run in a circle
    children.push_back(child);
  }
  return children;
}

XmlModel::Element GetElement(const MXmlDocument& document, std::uint32_t number) {
  const MXmlElementRecord record = document.GetRecord(number);
  const std::vector<std::uint32_t> children = GetChildren(document, number);
  return {record.start,
          record.length,
          record.GetStartTagLength(),
          record.GetEndTagLength(),
          record.flagsAndLevel & ~MXmlElementRecord::kMaxLevel,
          record.GetLevel(),
          record.parent,
          {children.begin(), children.end()}};
}

std::string Describe(const XmlModel::Element& element) {
  std::string text;
  for (const std::size_t number :
       {element.start, element.length, element.startTagLength, element.endTagLength,
        std::size_t{element.flags}, element.level, element.parent}) {
    text += ' ' + std::to_string(number);
  }
  for (const std::size_t child : element.children) text += " +" + std::to_string(child);
  return text;
}

std::string Compare(const std::vector<XmlModel::Element>& got,
                    const std::vector<XmlModel::Element>& wanted) {
  if (got.size() != wanted.size()) return "the numbers of elements differ";
  for (std::size_t i = 0; i < got.size(); ++i) {
    if (got[i] == wanted[i]) continue;
    return "start, length, tags, flags, level, parent and children of element " +
           std::to_string(i) + " are" + Describe(got[i]) + ", should be" + Describe(wanted[i]);
  }
  return "";
}

/// The document and its elements in the order in which they begin. Parents are told by one more
/// than their start, for an edit numbers elements otherwise than a parser.
std::vector<XmlModel::Element> ListByStart(const MXmlDocument& document, bool withLevels) {
  std::vector<XmlModel::Element> list;
  for (std::uint32_t i = 0; i < document.GetRecordCount(); ++i) {
    XmlModel::Element element = GetElement(document, i);
    element.flags &= MXmlElementRecord::kSelfClosed | MXmlElementRecord::kNotEnded;
    if (!withLevels) element.level = 0;
    const std::uint32_t parent = document.GetRecord(i).parent;
    element.parent = parent == 0 ? 0 : std::size_t{document.GetRecord(parent).start} + 1;
    element.children.clear();
    list.push_back(std::move(element));
  }
  std::stable_sort(list.begin(), list.end(),
                   [](const auto& a, const auto& b) { return a.start < b.start; });
  return list;
}

}  // namespace

XmlModel ParseModel(std::wstring_view text, bool ignoreCase) {
  return ModelParser(text, ignoreCase).Parse();
}

std::string CompareWithModel(const MXmlDocument& document, const XmlModel& model) {
  if (document.GetErrorText() != model.error) return "the error texts differ";
  std::vector<XmlModel::Element> elements;
  for (std::uint32_t i = 0; i < document.GetRecordCount(); ++i)
    elements.push_back(GetElement(document, i));
  const std::string difference = Compare(elements, model.elements);
  if (!difference.empty()) return difference;
  const bool isWellFormed =
      elements[0].children.size() == 1 && (elements[0].flags & MXmlElementRecord::kIllFormed) == 0;
  return document.IsWellFormed() == isWellFormed ? "" : "IsWellFormed() is wrong";
}

std::string CheckRecords(const MXmlDocument& document) {
  const std::wstring& text = document.GetDocumentText();
  std::size_t linked = 1;
  for (std::uint32_t i = 0; i < document.GetRecordCount(); ++i) {
    const auto fault = [i](const char* what) {
      return "fault in the " + std::string(what) + " of element " + std::to_string(i);
    };
    const MXmlElementRecord record = document.GetRecord(i);
    std::size_t place = std::size_t{record.start} + record.GetStartTagLength();
    std::size_t end = std::size_t{record.start} + record.length;
    if (end > text.size() || place > end) return fault("length");
    if (i != 0) {
      if (text[record.start] != L'<' || text[place - 1] != L'>') return fault("start tag");
      if (text[end - 1] != L'>') return fault("end");
      end -= record.GetEndTagLength();
      if (record.GetEndTagLength() != 0 && text.substr(end, 2) != L"</") return fault("end tag");
    }
    const std::vector<std::uint32_t> children = GetChildren(document, i);
    std::uint32_t previous = children.empty() ? 0 : children.back();  // the first knows the last
    for (const std::uint32_t number : children) {
      const MXmlElementRecord child = document.GetRecord(number);
      if (child.parent != i || child.previousSibling != previous) return fault("children's links");
      if (child.start < place) return fault("children's order");
      place = std::size_t{child.start} + child.length;
      previous = number;
    }
    if (place > end) return fault("content");
    linked += children.size();
  }
  return linked == document.GetRecordCount() ? "" : "an element is not linked";
}

std::string CompareTrees(const MXmlDocument& edited, const MXmlDocument& parsed) {
  bool isRegular = true;  // no element was lifted out of one that is not ended
  for (std::uint32_t i = 1; i < edited.GetRecordCount(); ++i) {
    const MXmlElementRecord record = edited.GetRecord(i);
    isRegular =
        isRegular && !record.HasFlag(MXmlElementRecord::kNotEnded) &&
        (record.parent == 0 || record.GetLevel() == edited.GetRecord(record.parent).GetLevel() + 1);
  }
  return Compare(ListByStart(edited, isRegular), ListByStart(parsed, isRegular));
}

}  // namespace Orvel::Testing
