// SPDX-License-Identifier: MIT
#include <utility>

#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/filers/xml/document/xml_escape.h"
#include "orvel/filers/xml/document/xml_markup.h"
#include "orvel/filers/xml/parse/xml_attribute_scanner.h"
#include "orvel/filers/xml/store/xml_names.h"
#include "orvel/filers/xml/store/xml_store.h"

using Orvel::Detail::AppendXmlAssignment;
using Orvel::Detail::AppendXmlAttribute;
using Orvel::Detail::AppendXmlUnescaped;
using Orvel::Detail::IsXmlAttributeName;
using Orvel::Detail::XmlAttributeScanner;

/// Where the attributes of a tag are in the text.
struct MXmlDocument::Attributes {
  bool exist = false;  // false when there is no such tag
  std::size_t start = 0;
  std::size_t length = 0;
  std::uint32_t element = 0;  // 0 for an instruction
};

MXmlDocument::Attributes MXmlDocument::FindAttributes(std::uint32_t element) const noexcept {
  if (!store_->IsElement(element)) return {};
  const MXmlElementRecord& record = store_->index.GetRecord(element);
  const std::size_t skipped = 1 + store_->GetTagName(element).size();
  const std::size_t tail = record.HasFlag(MXmlElementRecord::kSelfClosed) ? 2 : 1;
  return {true, store_->GetStart(element) + skipped, record.GetStartTagLength() - skipped - tail,
          element};
}

MXmlDocument::Attributes MXmlDocument::FindNodeAttributes() const noexcept {
  if (position_.kind != MXmlNodeKind::kInstruction) return FindAttributes(GetElement());
  const std::wstring_view node = GetNodeView();
  const std::size_t skipped =
      2 + Orvel::Detail::XmlTagNameLength(node.data() + 2, node.data() + node.size());
  return {true, position_.nodeStart + skipped, node.size() - skipped - 2, 0};
}

bool MXmlDocument::ReadAttribute(const Attributes& place, std::wstring_view name,
                                 std::wstring& value) const {
  if (!place.exist) return false;
  XmlAttributeScanner scanner(store_->text.GetView(place.start, place.length));
  while (scanner.Next()) {
    if (scanner.GetName() != name) continue;
    std::wstring unescaped;
    AppendXmlUnescaped(scanner.GetRawValue(), unescaped);
    value = std::move(unescaped);
    return true;
  }
  return false;
}

bool MXmlDocument::GetAttribute(std::wstring_view name, std::wstring& value) const {
  return ReadAttribute(FindNodeAttributes(), name, value);
}

bool MXmlDocument::GetAttribute(std::uint32_t element, std::wstring_view name,
                                std::wstring& value) const {
  return ReadAttribute(FindAttributes(element), name, value);
}

std::vector<MXmlAttribute> MXmlDocument::GetAttributes(std::uint32_t element) const {
  std::vector<MXmlAttribute> result;
  const Attributes place = FindAttributes(element);
  XmlAttributeScanner scanner(store_->text.GetView(place.start, place.length));
  while (scanner.Next()) {
    result.push_back({std::wstring(scanner.GetName()), {}});
    AppendXmlUnescaped(scanner.GetRawValue(), result.back().value);
  }
  return result;
}

bool MXmlDocument::SetAttribute(std::wstring_view name, std::wstring_view value,
                                MXmlReferences references) {
  return WriteAttribute(FindNodeAttributes(), name, value, references);
}

bool MXmlDocument::SetAttribute(std::uint32_t element, std::wstring_view name,
                                std::wstring_view value, MXmlReferences references) {
  return WriteAttribute(FindAttributes(element), name, value, references);
}

bool MXmlDocument::WriteAttribute(const Attributes& place, std::wstring_view name,
                                  std::wstring_view value, MXmlReferences references) {
  if (!place.exist || !IsXmlAttributeName(name)) return false;
  const std::wstring_view attributes = store_->text.GetView(place.start, place.length);
  XmlAttributeScanner scanner(attributes);
  bool found = false;
  while (!found && scanner.Next()) found = scanner.GetName() == name;
  store_->scratch.Clear();
  std::size_t offset = place.start + place.length;
  std::size_t removed = 0;
  if (found) {
    offset = place.start + scanner.GetAssignmentStart();
    removed = scanner.GetEnd() - scanner.GetAssignmentStart();
    AppendXmlAssignment(value, references, store_->scratch);
  } else if (scanner.HasOpenString()) {
    return false;  // the new attribute would become a part of the string
  } else {
    const std::size_t last = attributes.find_last_not_of(L" \t\n\r");
    const bool lacksValue = last != std::wstring_view::npos && attributes[last] == L'=';
    if (lacksValue) store_->scratch.Append(L"\"\"");
    AppendXmlAttribute(name, value, references, store_->scratch);
  }
  const auto difference = static_cast<std::uint32_t>(store_->scratch.GetSize() - removed);
  if (store_->text.GetSize() - removed + store_->scratch.GetSize() > lengthLimit_) return false;
  if (place.element != 0 && store_->index.GetRecord(place.element).GetStartTagLength() - removed +
                                    store_->scratch.GetSize() >
                                MXmlElementRecord::kMaxStartTagLength) {
    return false;
  }
  const std::size_t end = offset + removed;
  SpliceText(place.element, offset, end, store_->scratch.GetView());
  if (place.element != 0) store_->index.GetRecord(place.element).tagLengths += difference;
  store_->TrimScratch();
  return true;
}
