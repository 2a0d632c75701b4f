// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "orvel/filers/xml/document/xml_element.h"
#include "orvel/filers/xml/document/xml_failure.h"
#include "orvel/filers/xml/store/xml_record.h"

class MXmlConstantAttribute;

namespace Orvel::Detail {
struct XmlStore;
}

/// A position in an MXmlDocument: a level, and the current node in it. A value; thread-compatible.
struct MXmlPosition {
  std::uint32_t parent = 0;   ///< the element whose children form the level; 0 at the top level
  std::uint32_t element = 0;  ///< the current element, or the last one before the current node
  std::uint32_t child = 0;    ///< after OutOfElement(): the child that was current before it
  MXmlNodeKind kind = MXmlNodeKind::kNone;  ///< of the current node; none before the first node
  std::uint32_t nodeStart = 0;              ///< offset of a current node that is no element
  std::uint32_t nodeLength = 0;             ///< its length
};

/// A place in a text as editors show it. Columns count `wchar_t` units; a line ends with a line
/// feed, a carriage return, or both in that order: "\r\n". A value; thread-compatible.
struct MXmlLineAndColumn {
  std::size_t line = 1;    ///< from 1
  std::size_t column = 1;  ///< from 1
};

/// One attribute of a tag. A value; thread-compatible.
struct MXmlAttribute {
  std::wstring name;   ///< as written in the tag
  std::wstring value;  ///< unescaped
};

/// Whether a text that is written may contain references such as "&lt;".
enum class MXmlReferences {
  kEscape,  ///< no: every `&` becomes "&amp;", so that what was written is read back unchanged
  kKeep     ///< yes: an `&` that begins a well-formed reference stays as it is
};

/// An XML document: its text, with an index of its elements. It is read and edited through a
/// current position, which moves along the nodes of a level and from level to level. Only elements
/// are indexed; nodes of other kinds are found by scanning the text on demand.
///
/// Every well-formed document without a DTD is accepted, and more than that: attributes are not
/// checked, nor is what stands outside the root, and a document type declaration is skipped. A
/// malformed text raises nothing: as many elements as possible are indexed, GetErrorText() returns
/// the first error, and IsWellFormed() returns false where it has to. Parsing takes time in
/// proportion to the text, whatever the text holds, and 32 bytes for each element. A text with end
/// tags that have no start tag may take some 100 bytes more during the parse, for each open element
/// and for each bracket in its name.
///
/// Offsets and lengths count `wchar_t` units. Elements have numbers, which stay valid until the
/// element is removed or SetDocument() is called, and are not reused before that. Passing 0 or an
/// unused number is allowed everywhere; there is no such element then. A text may have up to
/// 2^31 - 1 units and 65,536 levels; start tags must be shorter than 2^22 units, end tags shorter
/// than 1024. A text that exceeds a limit has an error; an edit that would is refused.
///
/// An edit that is refused returns false and changes nothing. Edits keep positions and numbers
/// valid. An edit close to the previous one costs what it changes, so editing every element in one
/// pass takes time in proportion to the text. Any other edit takes time in proportion to the text
/// and the elements between the two places, which adds up when edits alternate between distant
/// places. When memory runs out, std::bad_alloc is raised and the document is unchanged.
///
/// Thread-unsafe. Between SetDocument() and the first edit, several threads may call const
/// operations at once.
class MXmlDocument {
 public:
  /// Tag names are compared without regard to the case of ASCII letters.
  static constexpr std::uint32_t kIgnoreCase = 8;
  /// Edits write no line breaks between elements.
  static constexpr std::uint32_t kNoLineBreaks = 2;

  /// Creates an empty document, to be filled by edits or by SetDocument(). `flags` is 0 or a sum of
  /// kIgnoreCase and kNoLineBreaks.
  explicit MXmlDocument(std::uint32_t flags = 0);
  MXmlDocument(const MXmlDocument&) = delete;
  MXmlDocument& operator=(const MXmlDocument&) = delete;
  ~MXmlDocument();

  // The whole document.

  /// Replaces the text and parses it. Returns true when it is well-formed. Does not copy a text
  /// that is moved in. Resets the position and drops the saved ones. An earlier error text stays in
  /// front of a new one unless ClearErrorText() was called.
  bool SetDocument(std::wstring text);

  /// Replaces the document by a UTF-8 file, with or without byte order mark, and parses it. Returns
  /// true when the file could be read and is well-formed. The document is empty, with an error
  /// text, after a file that cannot be read, is not UTF-8 or holds a zero character; GetFailure()
  /// returns the step that failed and the system's code.
  bool LoadFile(const std::wstring& path);

  /// Writes the text to a file as UTF-8 without byte order mark. An existing file is replaced in
  /// one step once everything is on disk: after a failure it is the old one, after a crash the old
  /// or the new one. It keeps its access rights, attributes and time of creation, and its place
  /// when `path` is a link to it; alternate streams and further hard links are lost. A
  /// write-protected file is not replaced; one that another program has open is retried for about a
  /// second. Returns false when the file cannot be written or the text has unpaired surrogates:
  /// GetFailure() returns the reason. Blocks until the text is on the disk.
  bool SaveFile(const std::wstring& path);

  /// Returns why the last LoadFile() or SaveFile() returned false; an empty failure after one that
  /// returned true. The reference is valid until the next of these calls.
  [[nodiscard]] const MXmlFailure& GetFailure() const noexcept { return failure_; }

  /// Returns true when the text has exactly one top-level element and no errors. Elements without
  /// an end tag do not count as errors here, though they have an error text.
  [[nodiscard]] bool IsWellFormed() const noexcept;

  /// Returns the first error of each SetDocument() and LoadFile() since the document was created or
  /// the text was last cleared, oldest first, separated by ", "; empty when there was none. A later
  /// text without errors does not clear it: IsWellFormed() returns the verdict on that.
  [[nodiscard]] const std::wstring& GetErrorText() const noexcept { return errorText_; }

  /// Returns the offset of the last text's error; 0 when it had none, or one without a place.
  [[nodiscard]] std::size_t GetErrorOffset() const noexcept { return errorOffset_; }

  /// Clears the error text and the offset, as TakeDocumentText() does too.
  void ClearErrorText() noexcept;

  /// Returns line and column of an offset; those of the end of the text for offsets beyond it.
  /// Takes time in proportion to the offset.
  [[nodiscard]] MXmlLineAndColumn GetLineAndColumn(std::size_t offset) const;

  /// Returns the current text. The reference is valid until the next non-const call.
  [[nodiscard]] const std::wstring& GetDocumentText() const;

  /// Moves the text out, without a copy, and leaves an empty document.
  [[nodiscard]] std::wstring TakeDocumentText();

  /// Returns the flags set by the constructor or by SetFlags().
  [[nodiscard]] std::uint32_t GetFlags() const noexcept { return flags_; }
  /// Sets the flags for later calls; the text is not parsed again.
  void SetFlags(std::uint32_t flags) noexcept;

  /// Limits the length of the text, by default and at most to 2^31 - 1 units: a longer text is an
  /// error ("Document too long"), and an edit that would exceed the limit is refused.
  void SetLengthLimit(std::size_t units) noexcept;

  // Moving the position. Unless said otherwise, each returns whether it moved, and leaves the
  // position alone if not.

  /// Moves to the next element of the level with the given tag name, or to the next element at all
  /// when the name is empty.
  bool FindElement(std::wstring_view tagName);

  /// Moves to the first element of the level with the given tag name, or to the first element at
  /// all when the name is empty. Repeated calls take constant time each, also when they alternate
  /// between levels; a level of more than 32 children may take some 50 bytes per child for that.
  bool FindFirstElement(std::wstring_view tagName);

  /// Returns the number of the first child of an element that has the given tag name, or of the
  /// first child at all when the name is empty; 0 when there is none. The children of 0 are the
  /// top-level elements. As fast as FindFirstElement(), but does not move the position.
  [[nodiscard]] std::uint32_t FindFirstChild(std::uint32_t element, std::wstring_view tagName);

  /// Moves to the next node of the level whose kind is one of those given:
  /// `FindNode(MXmlNodeKind::kText | MXmlNodeKind::kCData)`.
  bool FindNode(MXmlNodeKind kinds);

  /// Enters the current element: moves before the first of its children. Returns false when no
  /// element is current.
  bool IntoElement() noexcept {
    const std::uint32_t element = GetElement();
    if (element == 0) return false;
    position_ = {};
    position_.parent = element;
    return true;
  }

  /// Leaves the element whose children form the level, and makes it current. Returns false at the
  /// top level.
  bool OutOfElement();

  /// Moves before the first node of the top level.
  void ResetPosition() noexcept { position_ = {}; }

  /// Moves before the first node of the current level.
  void ResetToLevelStart() noexcept;

  /// Saves the position under a name, which may be empty, in place of an earlier one of that name.
  void SavePosition(std::wstring_view name);

  /// Restores the position saved under a name, and keeps it saved. Returns false when there is
  /// none.
  bool RestorePosition(std::wstring_view name);

  // The current node.

  /// Returns the current position. The reference stays valid and follows the position.
  [[nodiscard]] const MXmlPosition& GetPosition() const noexcept { return position_; }

  /// Returns the number of the current element; 0 when the current node is not an element.
  [[nodiscard]] std::uint32_t GetElement() const noexcept {
    return position_.kind == MXmlNodeKind::kElement ? position_.element : 0;
  }

  /// Returns the name of the current node: the tag name of an element or a lone end tag, the target
  /// of an instruction, the declared name of a document type, "#text" for text and white space,
  /// "#cdata-section" or "#comment". Empty without a current node.
  [[nodiscard]] std::wstring GetNodeName() const;

  /// Returns the text of the current node, tags and content of an element included. Empty without a
  /// current node.
  [[nodiscard]] std::wstring GetNodeText() const;

  /// Reads an attribute of the current node, which may be an instruction, as the operation for
  /// elements does.
  bool GetAttribute(std::wstring_view name, std::wstring& value) const;

  /// Sets an attribute of the current node, which may be an instruction, as the operation for
  /// elements does. Also refused for an instruction with an unterminated string.
  bool SetAttribute(std::wstring_view name, std::wstring_view value,
                    MXmlReferences references = MXmlReferences::kEscape);

  // Elements.

  /// Returns the tag name of an element; empty when there is no such element.
  [[nodiscard]] std::wstring GetTagName(std::uint32_t element) const;

  /// Returns the text and CDATA of an element, unescaped and joined, without the content of child
  /// elements, comments and instructions. White space and line ends are kept. Empty when there is
  /// no such element.
  [[nodiscard]] std::wstring GetData(std::uint32_t element) const;

  /// Reads the value of an attribute, unescaped; of the first one if the name repeats. Returns
  /// false, with `value` unchanged, when the attribute is missing.
  bool GetAttribute(std::uint32_t element, std::wstring_view name, std::wstring& value) const;

  /// Returns all attributes of an element in document order.
  [[nodiscard]] std::vector<MXmlAttribute> GetAttributes(std::uint32_t element) const;

  /// Replaces the value of an attribute, or adds the attribute behind the others. Refused when the
  /// name is empty or holds white space or one of `=>/?<'"`, and when there is no such element.
  bool SetAttribute(std::uint32_t element, std::wstring_view name, std::wstring_view value,
                    MXmlReferences references = MXmlReferences::kEscape);

  /// Returns the text of an element, tags and content included; empty when there is no such
  /// element.
  [[nodiscard]] std::wstring GetSubDocument(std::uint32_t element) const;

  /// The same for the current element.
  [[nodiscard]] std::wstring GetSubDocument() const { return GetSubDocument(GetElement()); }

  /// Returns the children of an element to loop over, of the document when `element` is 0, or only
  /// those with the given tag name: `for (const MXmlElement child :
  /// document.GetChildren(element))`. There are none when there is no such element. Does not move
  /// the position. The tag name is not copied.
  [[nodiscard]] MXmlChildren GetChildren(std::uint32_t element,
                                         std::wstring_view tagName = {}) const noexcept {
    return {*this, element, tagName};
  }

  /// Deleted: the loop would use the tag name after it was destroyed.
  template <Orvel::Detail::TemporaryString T>
  MXmlChildren GetChildren(std::uint32_t element, T&& tagName) const = delete;

  /// Returns the record of an element, or of the document when `element` is 0; all zeros when there
  /// is no such element.
  [[nodiscard]] MXmlElementRecord GetRecord(std::uint32_t element) const noexcept;

  /// Returns one more than the highest number used for an element so far; 1 in a new document.
  [[nodiscard]] std::uint32_t GetRecordCount() const noexcept;

  // Adding. The new node goes behind the current one, or to the end of the level when there is no
  // current node, and becomes the current one. An empty element gets an end tag with its first
  // child.

  /// Adds an element with text, or an empty element ("<name/>") when there is no data. Refused when
  /// the name holds white space or one of `<>=\/?!`, or has more than 1020 units. An empty name is
  /// written, though no parser accepts it.
  bool AddElement(std::wstring_view tagName, std::wstring_view data = {},
                  MXmlReferences references = MXmlReferences::kEscape);

  /// AddElement() and SetAttribute() in one.
  bool AddElement(std::wstring_view tagName, std::wstring_view data,
                  std::wstring_view attributeName, std::wstring_view attributeValue,
                  MXmlReferences references = MXmlReferences::kEscape);

  /// The same with an attribute that was checked at compile time.
  bool AddElement(std::wstring_view tagName, std::wstring_view data,
                  const MXmlConstantAttribute& attribute,
                  MXmlReferences references = MXmlReferences::kEscape);

  /// Adds an instruction (`text` begins with the target), a comment or a CDATA section. Refused for
  /// other kinds, and for a text that would end the node early.
  bool AddNode(MXmlNodeKind kind, std::wstring_view text);

  /// Adds the root element of another document, with its content. Refused when the text is not
  /// well-formed or its root has no end tag.
  bool AddSubDocument(std::wstring_view text);

  // Changing and removing. Refused for elements without an end tag.

  /// Replaces the content of an element, children included, by a text. Without data it becomes an
  /// empty element; with data an empty element gets an end tag. Positions inside the element move
  /// before its first node.
  bool SetData(std::uint32_t element, std::wstring_view data,
               MXmlReferences references = MXmlReferences::kEscape);

  /// The same for the current element.
  bool SetData(std::wstring_view data, MXmlReferences references = MXmlReferences::kEscape) {
    return SetData(GetElement(), data, references);
  }

  /// Renames an element. Refused when the name is empty or AddElement() would refuse it, and when
  /// the new end tag would close a child that has none. Takes time in proportion to the content of
  /// the element, since the end tag behind it changes too.
  bool SetTagName(std::uint32_t element, std::wstring_view tagName);

  /// The same for the current element.
  bool SetTagName(std::wstring_view tagName) { return SetTagName(GetElement(), tagName); }

  /// Removes an element with its content. If the element has a line to itself, the line break and
  /// the blanks before it are removed as well, unless kNoLineBreaks is set.
  ///
  /// Positions at or inside the element move to the place where it was, with no element current:
  /// FindElement() and FindNode() continue from there, and that is where the next node is added. So
  /// a loop of FindElement() reaches every element even when it removes some.
  bool RemoveElement(std::uint32_t element);

  /// Removes the current element.
  bool RemoveElement() { return RemoveElement(GetElement()); }

 private:
  friend class MXmlChildren;

  struct Attributes;
  struct ElementText;
  class Insertion;
  struct NodeLength;
  struct Place;

  [[nodiscard]] bool IgnoresCase() const noexcept { return (flags_ & kIgnoreCase) != 0; }
  [[nodiscard]] bool WritesLineBreaks() const noexcept { return (flags_ & kNoLineBreaks) == 0; }
  [[nodiscard]] std::wstring_view GetNodeView() const noexcept;
  [[nodiscard]] Attributes FindAttributes(std::uint32_t element) const noexcept;
  [[nodiscard]] Attributes FindNodeAttributes() const noexcept;
  bool ReadAttribute(const Attributes& place, std::wstring_view name, std::wstring& value) const;
  bool WriteAttribute(const Attributes& place, std::wstring_view name, std::wstring_view value,
                      MXmlReferences references);
  bool AddElementText(ElementText& element, MXmlReferences references);
  [[nodiscard]] std::uint32_t FindFrom(std::uint32_t element, std::wstring_view tag) const noexcept;
  [[nodiscard]] std::uint32_t StepIn(std::uint32_t parent, std::wstring_view tag) const noexcept;
  [[nodiscard]] std::uint32_t StepOn(std::uint32_t element, std::wstring_view tag) const noexcept;
  [[nodiscard]] bool IsEnded(std::uint32_t element) const noexcept;
  [[nodiscard]] bool CanBeOpened(std::uint32_t element, std::size_t nameLength) const noexcept;
  [[nodiscard]] bool CanEndInside(std::uint32_t element, std::wstring_view endName) const noexcept;
  [[nodiscard]] std::size_t FindLine(std::size_t start, std::size_t end) const noexcept;
  [[nodiscard]] std::size_t GetLineBreakLength(std::size_t offset) const noexcept;
  [[nodiscard]] Place FindPlace(bool breaksLine) const noexcept;
  void FindPlaceInLevel(Place& place) const noexcept;
  void EndParent(std::uint32_t number, std::size_t nameLength, bool endsStartTag,
                 wchar_t* endTag) noexcept;
  void LinkSavedPositions(std::uint32_t parent, std::uint32_t previous,
                          std::uint32_t number) noexcept;
  void MakeWritable(ElementText& element, MXmlReferences references);
  void SpliceText(std::uint32_t element, std::size_t begin, std::size_t end,
                  std::wstring_view added);
  void LeaveRemoved(const MXmlPosition& place, std::uint32_t emptied) noexcept;
  void MovePositions(std::size_t begin, std::size_t end, std::uint32_t difference,
                     bool insideNode) noexcept;
  void SetUnreadable(std::wstring_view reason);

  static constexpr std::size_t kMaxLength = (std::size_t{1} << 31) - 1;

  std::uint32_t flags_;
  std::size_t lengthLimit_ = kMaxLength;
  const std::unique_ptr<Orvel::Detail::XmlStore> store_;  // never null
  std::wstring errorText_;
  std::size_t errorOffset_ = 0;
  MXmlFailure failure_;
  MXmlPosition position_;
  std::map<std::wstring, MXmlPosition, std::less<>> savedPositions_;
};
