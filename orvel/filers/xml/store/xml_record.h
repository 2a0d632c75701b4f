// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Kinds of nodes in an XML document. The values are bits, so that kinds can be combined.
enum class MXmlNodeKind : std::uint32_t {
  kNone = 0,           ///< no node: the position is before the first node of a level
  kElement = 1,        ///< a start tag with everything up to its end tag
  kText = 2,           ///< text between tags, not only white space
  kWhitespace = 4,     ///< text of blanks, tabs and line ends only
  kCData = 8,          ///< `<![CDATA[ ... ]]>`
  kInstruction = 16,   ///< processing instruction, `<? ... ?>`, the declaration too
  kComment = 32,       ///< `<!-- ... -->`
  kDocumentType = 64,  ///< `<!DOCTYPE ... >` and other declarations
  kLoneEndTag = 128    ///< an end tag without a start tag
};

/// Combines kinds, for MXmlDocument::FindNode().
[[nodiscard]] constexpr MXmlNodeKind operator|(MXmlNodeKind a, MXmlNodeKind b) noexcept {
  return static_cast<MXmlNodeKind>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}

/// Returns true when the two combinations have a kind in common.
[[nodiscard]] constexpr bool Intersects(MXmlNodeKind a, MXmlNodeKind b) noexcept {
  return (static_cast<std::uint32_t>(a) & static_cast<std::uint32_t>(b)) != 0;
}

/// What MXmlDocument stores for each element: its place in the text and its relatives. Offsets and
/// lengths count `wchar_t` units. Relatives are record numbers; 0 means that there is none, but as
/// a parent it means the document itself, which is record 0.
///
/// A value; thread-compatible.
struct MXmlElementRecord {
  static constexpr std::uint32_t kSelfClosed = 0x10000;    ///< the start tag ends in `/>`
  static constexpr std::uint32_t kFirstChild = 0x80000;    ///< was its parent's first when created
  static constexpr std::uint32_t kNotEnded = 0x100000;     ///< its end tag was never found
  static constexpr std::uint32_t kErrorInside = 0x200000;  ///< an error was found inside it
  static constexpr std::uint32_t kIllFormed = 0x800000;  ///< record 0 only: errors in the document

  static constexpr std::uint32_t kMaxStartTagLength = (1U << 22) - 1;  ///< 22 bits
  static constexpr std::uint32_t kMaxEndTagLength = (1U << 10) - 1;    ///< 10 bits
  static constexpr std::uint32_t kMaxLevel = 0xFFFF;                   ///< 16 bits

  std::uint32_t start;            ///< offset of the element's `<`
  std::uint32_t length;           ///< from there to the end of the end tag
  std::uint32_t tagLengths;       ///< start tag in the low 22 bits, end tag in the high 10
  std::uint32_t flagsAndLevel;    ///< the flags above, and the level in the low 16 bits
  std::uint32_t parent;           ///< 0 at the top level
  std::uint32_t firstChild;       ///< 0 without children
  std::uint32_t nextSibling;      ///< 0 at the last one
  std::uint32_t previousSibling;  ///< for a first child, its parent's last child

  /// Returns the length of the start tag, from its `<` to its `>`.
  [[nodiscard]] constexpr std::uint32_t GetStartTagLength() const noexcept {
    return tagLengths & kMaxStartTagLength;
  }
  /// Returns the length of the end tag; 0 when the element has none.
  [[nodiscard]] constexpr std::uint32_t GetEndTagLength() const noexcept {
    return tagLengths >> 22;
  }
  /// Returns the nesting level; 0 at the top level.
  [[nodiscard]] constexpr std::uint32_t GetLevel() const noexcept {
    return flagsAndLevel & kMaxLevel;
  }
  /// Returns true when any of the flags in `flag` is set.
  [[nodiscard]] constexpr bool HasFlag(std::uint32_t flag) const noexcept {
    return (flagsAndLevel & flag) != 0;
  }
  /// Stores both lengths, which must be within their limits.
  constexpr void SetTagLengths(std::uint32_t startTag, std::uint32_t endTag) noexcept {
    tagLengths = startTag | (endTag << 22);
  }
};

static_assert(sizeof(MXmlElementRecord) == 32, "eight fields of 32 bits");
