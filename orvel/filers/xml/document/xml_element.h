// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

class MXmlChildren;
class MXmlDocument;
struct MXmlAttribute;

namespace Orvel::Detail {

/// A string that is gone when the statement that made it ends.
template <class T>
concept TemporaryString = std::same_as<std::remove_const_t<T>, std::wstring>;

}  // namespace Orvel::Detail

/// An element of a document, as walks through children hand it out: a number, with what can be read
/// of the element. It is copied freely and must not outlive the document object.
///
/// Edits keep it valid. When the element is removed or the document is replaced, it is harmless: it
/// answers as the document does for a number that no element has.
///
/// Thread-compatible as far as the document is: its operations are const ones of the document.
class MXmlElement {
 public:
  /// The element of that number, which need not exist. Borrows the document.
  MXmlElement(const MXmlDocument& document, std::uint32_t number) noexcept
      : document_(&document), number_(number) {}

  /// The number that the document's operations for elements take.
  [[nodiscard]] std::uint32_t GetNumber() const noexcept { return number_; }

  /// The tag; empty when there is no such element.
  [[nodiscard]] std::wstring GetTagName() const;

  /// Text and CDATA, unescaped and joined, as MXmlDocument::GetData() returns them.
  [[nodiscard]] std::wstring GetData() const;

  /// An attribute, unescaped; the first one if the name repeats, none when it is missing.
  [[nodiscard]] std::optional<std::wstring> GetAttribute(std::wstring_view name) const;

  /// All attributes, in their order.
  [[nodiscard]] std::vector<MXmlAttribute> GetAttributes() const;

  /// The text of the element with everything in it. Empty when there is no such element.
  [[nodiscard]] std::wstring GetSubDocument() const;

  /// The children, to be walked; with a tag, those of them that have it. The tag is not copied.
  [[nodiscard]] MXmlChildren GetChildren(std::wstring_view tag = {}) const noexcept;

  /// A tag that is gone before the walk begins does not compile.
  template <Orvel::Detail::TemporaryString T>
  MXmlChildren GetChildren(T&& tag) const = delete;

 private:
  const MXmlDocument* document_;
  std::uint32_t number_;
};

/// The children of an element, or those of them with a certain tag, for a range-based `for`. Takes
/// no memory; each step takes the time of the children that it passes. The document object and the
/// tag must outlive it.
///
/// The document may be edited during the walk: children that are added behind the one at hand are
/// met, and that one may be removed.
///
/// Thread-compatible as far as the document is: walking reads.
class MXmlChildren {
 public:
  /// A forward iterator whose elements are values. One at the end is equal to any other there.
  class Iterator {
   public:
    ///@{
    /// What the standard library wants to know of an iterator.
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = MXmlElement;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = MXmlElement;
    ///@}

    /// One at the end.
    Iterator() = default;

    /// The element at hand; there must be one.
    [[nodiscard]] MXmlElement operator*() const noexcept { return {*document_, number_}; }

    /// Goes to the next child; there must be one at hand, or one that was and is removed.
    Iterator& operator++() noexcept;

    /// The same, and returns what was at hand before.
    Iterator operator++(int) noexcept {
      const Iterator before = *this;
      ++*this;
      return before;
    }

    /// True at the same child, and when both are at the end.
    [[nodiscard]] friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
      return a.number_ == b.number_;
    }

   private:
    friend class MXmlChildren;

    Iterator(const MXmlDocument& document, std::wstring_view tag, std::uint32_t number) noexcept
        : document_(&document), tag_(tag), number_(number) {}

    const MXmlDocument* document_ = nullptr;
    std::wstring_view tag_;
    std::uint32_t number_ = 0;  // 0 at the end
  };

  ///@{
  /// The first child, and the place behind the last one.
  [[nodiscard]] Iterator begin() const noexcept;
  [[nodiscard]] Iterator end() const noexcept { return {}; }
  ///@}

  /// True when there is no such child.
  [[nodiscard]] bool empty() const noexcept { return begin() == end(); }

 private:
  friend class MXmlDocument;

  MXmlChildren(const MXmlDocument& document, std::uint32_t parent, std::wstring_view tag) noexcept
      : document_(&document), tag_(tag), parent_(parent) {}

  const MXmlDocument* document_;
  std::wstring_view tag_;
  std::uint32_t parent_;
};
