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
      const XmlModel::Element& last = model_.elements[open_.back().number];
      Error(L"Element '" + open_.back().name + L"' at offset " + std::to_wstring(last.start) +
            L" not ended");
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
  };

  [[nodiscard]] std::size_t Current() const { return open_.empty() ? 0 : open_.back().number; }
  [[nodiscard]] bool Ahead(std::wstring_view what) const {
    return text_.substr(pos_, what.size()) == what;
  }
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
    Fault(L"Incorrect " + what + L" at offset " + std::to_wstring(pos_));
    ++pos_;
  }
  void Unterminated(const std::wstring& what) {
    Fault(what + L" at offset " + std::to_wstring(pos_) + L" unterminated");
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
      if (!Ahead(L"<!--")) return Incorrect(L"comment tag");
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
    const std::size_t length = end - pos_;
    if (length > MXmlElementRecord::kMaxStartTagLength) {
      Fault(L"Element tag at offset " + std::to_wstring(pos_) + L" too long");
      pos_ = end;
      return;
    }
    if (open_.size() > MXmlElementRecord::kMaxLevel) {
      Fault(L"Nesting at offset " + std::to_wstring(pos_) + L" too deep");
      pos_ = end;
      return;
    }
    XmlModel::Element element;
    element.start = pos_;
    element.startTagLength = length;
    element.level = open_.size();
    element.parent = Current();
    auto& siblings = model_.elements[element.parent].children;
    if (siblings.empty()) element.flags |= MXmlElementRecord::kFirstChild;
    siblings.push_back(model_.elements.size());
    const bool selfClosed = text_[end - 2] == L'/';
    if (selfClosed) {
      element.flags |= MXmlElementRecord::kSelfClosed;
      element.length = length;
    } else {
      open_.push_back(
          {model_.elements.size(), std::wstring(text_.substr(pos_ + 1, nameEnd - pos_ - 1))});
    }
    model_.elements.push_back(element);
    pos_ = end;
  }

  [[nodiscard]] bool Matches(const std::wstring& endName, const std::wstring& startName) const {
    if (endName.size() > startName.size()) return false;
    for (std::size_t i = 0; i < endName.size(); ++i) {
      wchar_t a = endName[i];
      wchar_t b = startName[i];
      if (ignoreCase_ && a >= L'A' && a <= L'Z') a = static_cast<wchar_t>(a + 32);
      if (ignoreCase_ && b >= L'A' && b <= L'Z') b = static_cast<wchar_t>(b + 32);
      if (a != b) return false;
    }
    return endName.size() == startName.size() || startName[endName.size()] == L'[' ||
           startName[endName.size()] == L']';
  }

  void EndTag() {
    const std::size_t close = text_.find(L'>', pos_);
    if (close == std::wstring_view::npos) return Unterminated(L"Element end tag");
    const std::size_t nameEnd = text_.find_first_of(kNameEnds, pos_ + 2);
    const std::wstring name(text_.substr(pos_ + 2, nameEnd - pos_ - 2));
    const std::size_t start = std::exchange(pos_, close + 1);
    if (pos_ - start > MXmlElementRecord::kMaxEndTagLength)
      return Fault(L"Element end tag at offset " + std::to_wstring(start) + L" too long");
    std::size_t depth = open_.size();
    while (depth > 0 && !Matches(name, open_[depth - 1].name)) --depth;
    if (depth == 0) {
      return Fault(L"No start tag for end tag '" + name + L"' at offset " + std::to_wstring(start));
    }
    if (depth < open_.size()) {
      Error(L"End tag '" + name + L"' at offset " + std::to_wstring(start) +
            L" does not match start tag '" + open_.back().name + L"' at offset " +
            std::to_wstring(model_.elements[open_.back().number].start));
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

std::string Difference(const char* what, std::uint32_t number, std::size_t got,
                       std::size_t wanted) {
  return std::string(what) + " of element " + std::to_string(number) + " is " +
         std::to_string(got) + ", should be " + std::to_string(wanted);
}

std::vector<std::uint32_t> GetChildren(const MXmlDocument& document, std::uint32_t number) {
  std::vector<std::uint32_t> children;
  for (std::uint32_t child = document.GetRecord(number).firstChild; child != 0;
       child = document.GetRecord(child).nextSibling) {
    if (children.size() > document.GetRecordCount()) break;  // links that run in a circle
    children.push_back(child);
  }
  return children;
}

/// The elements in the order in which they begin.
std::vector<std::uint32_t> GetInOrder(const MXmlDocument& document) {
  std::vector<std::uint32_t> order;
  std::uint32_t number = document.GetRecord(0).firstChild;
  while (number != 0 && order.size() <= document.GetRecordCount()) {
    order.push_back(number);
    MXmlElementRecord record = document.GetRecord(number);
    number = record.firstChild;
    while (number == 0 && record.nextSibling == 0 && record.parent != 0)
      record = document.GetRecord(record.parent);
    if (number == 0) number = record.nextSibling;
  }
  return order;
}

}  // namespace

XmlModel ParseModel(std::wstring_view text, bool ignoreCase) {
  return ModelParser(text, ignoreCase).Parse();
}

std::string CompareWithModel(const MXmlDocument& document, const XmlModel& model) {
  if (document.GetErrorText() != model.error) return "the error texts differ";
  const auto& elements = model.elements;
  if (document.GetRecordCount() != elements.size())
    return Difference("record count", 0, document.GetRecordCount(), elements.size());
  for (std::uint32_t i = 0; i < document.GetRecordCount(); ++i) {
    const MXmlElementRecord record = document.GetRecord(i);
    const XmlModel::Element& wanted = elements[i];
    const std::vector<std::uint32_t> children = GetChildren(document, i);
    const std::size_t flags = record.flagsAndLevel & ~MXmlElementRecord::kMaxLevel;
    if (record.start != wanted.start) return Difference("start", i, record.start, wanted.start);
    if (record.length != wanted.length)
      return Difference("length", i, record.length, wanted.length);
    if (record.GetStartTagLength() != wanted.startTagLength)
      return Difference("start tag", i, record.GetStartTagLength(), wanted.startTagLength);
    if (record.GetEndTagLength() != wanted.endTagLength)
      return Difference("end tag", i, record.GetEndTagLength(), wanted.endTagLength);
    if (flags != wanted.flags) return Difference("flags", i, flags, wanted.flags);
    if (record.GetLevel() != wanted.level)
      return Difference("level", i, record.GetLevel(), wanted.level);
    if (record.parent != wanted.parent)
      return Difference("parent", i, record.parent, wanted.parent);
    if (!std::equal(children.begin(), children.end(), wanted.children.begin(),
                    wanted.children.end())) {
      return Difference("children", i, children.size(), wanted.children.size());
    }
  }
  const auto& top = elements[0].children;
  const bool isWellFormed =
      top.size() == 1 && (elements[0].flags & MXmlElementRecord::kIllFormed) == 0;
  return document.IsWellFormed() == isWellFormed ? "" : "IsWellFormed() is wrong";
}

std::string CheckRecords(const MXmlDocument& document) {
  const std::wstring& text = document.GetDocumentText();
  std::size_t linked = 1;
  for (std::uint32_t i = 0; i < document.GetRecordCount(); ++i) {
    const MXmlElementRecord record = document.GetRecord(i);
    std::size_t place = record.start + record.GetStartTagLength();
    std::size_t end = record.start + record.length;
    if (end > text.size()) return Difference("end", i, end, text.size());
    if (i != 0) {
      if (text[record.start] != L'<') return Difference("first character", i, record.start, 0);
      if (text[place - 1] != L'>') return Difference("start tag", i, place, 0);
      if (text[end - 1] != L'>') return Difference("last character", i, end, 0);
      end -= record.GetEndTagLength();
      if (record.GetEndTagLength() != 0 && text.substr(end, 2) != L"</")
        return Difference("end tag", i, end, 0);
    }
    std::uint32_t previous = 0;
    for (const std::uint32_t child : GetChildren(document, i)) {
      const MXmlElementRecord childRecord = document.GetRecord(child);
      if (childRecord.parent != i) return Difference("parent", child, childRecord.parent, i);
      if (childRecord.start < place) return Difference("start", child, childRecord.start, place);
      if (previous != 0 && childRecord.previousSibling != previous)
        return Difference("previous sibling", child, childRecord.previousSibling, previous);
      place = childRecord.start + childRecord.length;
      previous = child;
      ++linked;
    }
    if (place > end) return Difference("content", i, place, end);
    const std::uint32_t first = record.firstChild;
    if (first != 0 && document.GetRecord(first).previousSibling != previous)
      return Difference("last child", i, document.GetRecord(first).previousSibling, previous);
  }
  if (linked != document.GetRecordCount())
    return Difference("number of linked records", 0, linked, document.GetRecordCount());
  return "";
}

std::string CompareTrees(const MXmlDocument& edited, const MXmlDocument& parsed) {
  const std::vector<std::uint32_t> a = GetInOrder(edited);
  const std::vector<std::uint32_t> b = GetInOrder(parsed);
  if (a.size() != b.size()) return Difference("number of elements", 0, a.size(), b.size());
  bool isRegular = true;  // no element was lifted out of one that is not ended
  for (const std::uint32_t number : a) {
    const MXmlElementRecord record = edited.GetRecord(number);
    isRegular =
        isRegular && !record.HasFlag(MXmlElementRecord::kNotEnded) &&
        (record.parent == 0 || record.GetLevel() == edited.GetRecord(record.parent).GetLevel() + 1);
  }
  constexpr std::uint32_t kCompared = MXmlElementRecord::kSelfClosed | MXmlElementRecord::kNotEnded;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const MXmlElementRecord x = edited.GetRecord(a[i]);
    const MXmlElementRecord y = parsed.GetRecord(b[i]);
    if (x.start != y.start) return Difference("start", a[i], x.start, y.start);
    if (x.length != y.length) return Difference("length", a[i], x.length, y.length);
    if (x.tagLengths != y.tagLengths)
      return Difference("tag lengths", a[i], x.tagLengths, y.tagLengths);
    if ((x.flagsAndLevel & kCompared) != (y.flagsAndLevel & kCompared))
      return Difference("flags", a[i], x.flagsAndLevel, y.flagsAndLevel);
    if (isRegular && x.GetLevel() != y.GetLevel())
      return Difference("level", a[i], x.GetLevel(), y.GetLevel());
    if ((x.parent == 0) != (y.parent == 0) ||
        edited.GetRecord(x.parent).start != parsed.GetRecord(y.parent).start) {
      return Difference("parent", a[i], x.parent, y.parent);
    }
  }
  if (edited.GetRecord(0).length != edited.GetDocumentText().size())
    return Difference("length", 0, edited.GetRecord(0).length, edited.GetDocumentText().size());
  return "";
}

}  // namespace Orvel::Testing
