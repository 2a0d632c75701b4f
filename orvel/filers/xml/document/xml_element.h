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

/// A string that is destroyed at the end of the statement that created it.
template <class T>
concept TemporaryString = std::same_as<std::remove_const_t<T>, std::wstring>;

}  // namespace Orvel::Detail

/// An element of a document: its number, and the operations that read it. Loops over children
/// produce these objects. Cheap to copy. Must not outlive the document object.
///
/// Stays valid while the document is edited. Once the element has been removed, or the document
/// replaced, everything that is read from it is empty.
///
/// Thread-compatible, like the document: all operations call const operations of the document.
class MXmlElement {
 public:
  /// Refers to the element with that number, which need not exist. Borrows the document.
  MXmlElement(const MXmlDocument& document, std::uint32_t number) noexcept
      : document_(&document), number_(number) {}

  /// Returns the number under which the document's operations know the element.
  [[nodiscard]] std::uint32_t GetNumber() const noexcept { return number_; }

  /// Returns the tag name; empty when the element does not exist.
  [[nodiscard]] std::wstring GetTagName() const;

  /// Returns the text and CDATA, unescaped and joined, as MXmlDocument::GetData() does.
  [[nodiscard]] std::wstring GetData() const;

  /// Returns the value of an attribute, unescaped; of the first one if the name repeats. No value
  /// when the attribute is missing.
  [[nodiscard]] std::optional<std::wstring> GetAttribute(std::wstring_view name) const;

  /// Returns all attributes in document order.
  [[nodiscard]] std::vector<MXmlAttribute> GetAttributes() const;

  /// Returns the text of the element, tags and content included; empty when it does not exist.
  [[nodiscard]] std::wstring GetSubDocument() const;

  /// Returns the children to loop over, or only those with the given tag name, which is not copied.
  [[nodiscard]] MXmlChildren GetChildren(std::wstring_view tagName = {}) const noexcept;

  /// Deleted: the loop would use the tag name after it was destroyed.
  template <Orvel::Detail::TemporaryString T>
  MXmlChildren GetChildren(T&& tagName) const = delete;

 private:
  const MXmlDocument* document_;
  std::uint32_t number_;
};

/// The children of an element, or those with a certain tag name, for a range-based `for`. Allocates
/// nothing. Each step takes time in proportion to the children it skips. The document object and
/// the tag name must outlive it.
///
/// The document may be edited inside the loop: the loop reaches children that are added behind the
/// current one, and the current one may be removed.
///
/// Thread-compatible, like the document: looping only reads.
class MXmlChildren {
 public:
  /// A forward iterator that yields MXmlElement values. All iterators at the end are equal.
  /// Thread-compatible, like the children.
  class Iterator {
   public:
    ///@{
    /// The types that the standard library expects of an iterator.
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = MXmlElement;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = MXmlElement;
    ///@}

    /// Creates an iterator at the end.
    Iterator() = default;

    /// Returns the current element. The iterator must not be at the end.
    [[nodiscard]] MXmlElement operator*() const noexcept { return {*document_, number_}; }

    /// Moves to the next child. The iterator must not be at the end; its child may have been
    /// removed.
    Iterator& operator++() noexcept;

    /// The same; returns the iterator as it was before.
    Iterator operator++(int) noexcept {
      const Iterator before = *this;
      ++*this;
      return before;
    }

    /// Returns true when both are at the same child, or both at the end.
    [[nodiscard]] friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
      return a.number_ == b.number_;
    }

   private:
    friend class MXmlChildren;

    Iterator(const MXmlDocument& document, std::wstring_view tagName, std::uint32_t number) noexcept
        : document_(&document), tagName_(tagName), number_(number) {}

    const MXmlDocument* document_ = nullptr;
    std::wstring_view tagName_;
    std::uint32_t number_ = 0;  // 0 at the end
  };

  ///@{
  /// Return iterators to the first child and behind the last one.
  [[nodiscard]] Iterator begin() const noexcept;
  [[nodiscard]] Iterator end() const noexcept { return {}; }
  ///@}

  /// Returns true when there are no such children.
  [[nodiscard]] bool empty() const noexcept { return begin() == end(); }

 private:
  friend class MXmlDocument;

  MXmlChildren(const MXmlDocument& document, std::uint32_t parent,
               std::wstring_view tagName) noexcept
      : document_(&document), tagName_(tagName), parent_(parent) {}

  const MXmlDocument* document_;
  std::wstring_view tagName_;
  std::uint32_t parent_;
};
