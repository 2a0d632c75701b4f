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

/// A place in an MXmlDocument: a level and the node of it that is current.
struct MXmlPosition {
  std::uint32_t parent = 0;   ///< the element whose children are walked; 0 at the top level
  std::uint32_t element = 0;  ///< the current element, or the one before a node of another kind
  std::uint32_t child = 0;    ///< the child of it that was current before OutOfElement()
  MXmlNodeKind kind = MXmlNodeKind::kNone;  ///< of the current node; none before the first node
  std::uint32_t nodeStart = 0;              ///< offset of a current node that is no element
  std::uint32_t nodeLength = 0;             ///< its length
};

/// Where a person looks for an offset. Both count from 1, the column in `wchar_t` units; a line
/// ends with a line feed, a carriage return, or the two together.
struct MXmlLineAndColumn {
  std::size_t line = 1;    ///< from 1
  std::size_t column = 1;  ///< from 1
};

/// One attribute of a tag.
struct MXmlAttribute {
  std::wstring name;   ///< as it stands in the tag
  std::wstring value;  ///< unescaped
};

/// Whether text that is written may bring references of its own.
enum class MXmlReferences {
  kEscape,  ///< every `&` becomes "&amp;": what is read is what was written
  kKeep     ///< an `&` that begins a well-formed reference stays as it is
};

/// An XML document as one text with an index of its elements. It is read and edited through a
/// current position that moves among the nodes of a level and from level to level; everything but
/// elements is found by scanning the text on demand.
///
/// It accepts every well-formed document without a DTD, and more: attributes are not checked, what
/// stands outside the root is not either, and a document type declaration is passed over. Parsing
/// never fails with an exception: it leaves the document as indexed as possible, a first error in
/// GetErrorText() and the answer of IsWellFormed(). It takes time in proportion to the text,
/// whatever the text is, and beside the text only 32 bytes for each element. Where end tags have no
/// start tag it may take some 100 bytes more, until it ends, for each open element and each
/// bracket in the name of one.
///
/// Offsets and lengths count `wchar_t` units. Elements are named by numbers, which hold until the
/// element is removed or the next SetDocument(); 0 and numbers that no element has are harmless,
/// and that of a removed element is no other's until then. The limits are 2^31 - 1 units of text,
/// 65,536 levels, start tags below 2^22 units and end tags below 1024; what exceeds them is an
/// error of the text, or an edit that is refused.
///
/// Edits answer false, and change nothing, when they are refused. One near the last edit costs what
/// it changes, so that a pass over all elements that edits each takes time in proportion to the
/// text. One elsewhere takes time in proportion to the text and the elements between the two, which
/// counts when edits alternate between places far from each other. Edits keep positions and numbers
/// valid. When memory runs out, std::bad_alloc comes out and the document is as before.
///
/// Thread-unsafe. Between SetDocument() and the first edit, calls that are const may run together.
class MXmlDocument {
 public:
  /// Tags are compared without regard to the case of ASCII letters.
  static constexpr std::uint32_t kIgnoreCase = 8;
  /// Edits write no line breaks.
  static constexpr std::uint32_t kNoLineBreaks = 2;

  /// An empty document, to be filled by edits or by SetDocument(). `flags` is a sum of kIgnoreCase
  /// and kNoLineBreaks.
  explicit MXmlDocument(std::uint32_t flags = 0);
  MXmlDocument(const MXmlDocument&) = delete;
  MXmlDocument& operator=(const MXmlDocument&) = delete;
  ~MXmlDocument();

  // The whole document.

  /// Replaces the document and parses the text, which is taken over without a copy when it is
  /// moved here. True when it is well-formed. Clears all positions. An error text from before
  /// stays in front of a new one; ClearErrorText() prevents that.
  bool SetDocument(std::wstring text);

  /// Replaces the document by the text of a UTF-8 file, with or without byte order mark, and
  /// parses it. True when it could be read and is well-formed. A file that cannot be read, is not
  /// UTF-8 or holds a zero character leaves an empty document whose error text says so;
  /// GetFailure() has the step that failed and the system's code. Windows only.
  bool LoadFile(const std::wstring& path);

  /// Writes the text to a file as UTF-8 without byte order mark. A file that is there is replaced
  /// in one step when everything is on disk: after a failure it is the old one, after a crash the
  /// old or the new one. It keeps its access rights, attributes and time of creation, and its place
  /// when `path` is a link to it; alternate streams and further hard links do not come along. A
  /// file that may not be written is not replaced; one that another program has open is tried
  /// again for about a second. False when it cannot be written, or when the text has unpaired
  /// surrogates: GetFailure() says why. Blocks until the text is on the disk. Windows only.
  bool SaveFile(const std::wstring& path);

  /// Why the last LoadFile() or SaveFile() returned false; nothing after one that returned true.
  /// The reference holds until the next of them.
  [[nodiscard]] const MXmlFailure& GetFailure() const noexcept { return failure_; }

  /// True when the text has exactly one element at its top level and no error but elements that
  /// are not ended; those have an error text all the same.
  [[nodiscard]] bool IsWellFormed() const noexcept;

  /// First error of the last parse, empty if there was none.
  [[nodiscard]] const std::wstring& GetErrorText() const noexcept { return errorText_; }

  /// Offset of the error of the last parse; 0 when it has none, as when there was no error.
  [[nodiscard]] std::size_t GetErrorOffset() const noexcept { return errorOffset_; }

  /// Forgets the error text.
  void ClearErrorText() noexcept;

  /// Line and column of an offset; of the end of the text for any offset behind it. Takes time in
  /// proportion to the offset.
  [[nodiscard]] MXmlLineAndColumn GetLineAndColumn(std::size_t offset) const;

  /// The text as it is now. The reference holds until the next call that is not const.
  [[nodiscard]] const std::wstring& GetDocumentText() const;

  /// Hands the text out without a copy and leaves an empty document.
  [[nodiscard]] std::wstring TakeDocumentText();

  /// The flags given to the constructor or to SetFlags().
  [[nodiscard]] std::uint32_t GetFlags() const noexcept { return flags_; }
  /// Sets the flags for what comes; the text is not parsed again.
  void SetFlags(std::uint32_t flags) noexcept;

  /// Makes texts of more than `units` an error ("Document too long"), and edits that would lead
  /// there refused. Never more than 2^31 - 1, which it is at first.
  void SetLengthLimit(std::size_t units) noexcept;

  // Moving the position. Each answers whether it moved; the position stays where it was if not.

  /// Goes to the next element of the level with the given tag; with an empty name, to the next
  /// one.
  bool FindElement(std::wstring_view name);

  /// Goes to the first element of the level with the given tag; with an empty name, to the first
  /// one. Asked again and again, at one level or at several by turns, it takes constant time each;
  /// levels of more than 32 children may get some 50 bytes more for each child for that.
  bool FindFirstElement(std::wstring_view name);

  /// Returns the number of the first child of an element that has the tag, of the first child at
  /// all when the tag is empty; 0 when there is none. The children of 0 are the elements at the top
  /// level. As fast as FindFirstElement(), and leaves the position alone.
  [[nodiscard]] std::uint32_t FindFirstChild(std::uint32_t element, std::wstring_view tag);

  /// Goes to the next node of the level that is of one of the kinds, elements included if asked
  /// for: `FindNode(MXmlNodeKind::kText | MXmlNodeKind::kCData)`.
  bool FindNode(MXmlNodeKind kinds);

  /// Descends to the children of the current element, before the first one.
  bool IntoElement() noexcept {
    const std::uint32_t element = GetElement();
    if (element == 0) return false;
    position_ = {};
    position_.parent = element;
    return true;
  }

  /// Returns to the element whose children are walked.
  bool OutOfElement();

  /// Goes before the first node of the top level.
  void ResetPosition() noexcept { position_ = {}; }

  /// Goes before the first node of the current level.
  void ResetToLevelStart() noexcept;

  /// Keeps the position under a name, which may be empty; one that is there is replaced.
  void SavePosition(std::wstring_view name);

  /// Puts a position back, which stays saved. False when there is none of that name.
  bool RestorePosition(std::wstring_view name);

  // The current node.

  /// The current position. The reference holds as long as the document and follows it.
  [[nodiscard]] const MXmlPosition& GetPosition() const noexcept { return position_; }

  /// Number of the current element; 0 when the current node is not an element.
  [[nodiscard]] std::uint32_t GetElement() const noexcept {
    return position_.kind == MXmlNodeKind::kElement ? position_.element : 0;
  }

  /// Tag of an element; "#text" for text and white space, "#cdata-section", "#comment"; the target
  /// of an instruction, the declared name of a document type, the name of a lone end tag. Empty
  /// without a current node.
  [[nodiscard]] std::wstring GetNodeName() const;

  /// The current node as it stands in the text, an element with everything in it. Empty without a
  /// current node.
  [[nodiscard]] std::wstring GetNodeText() const;

  /// Reads an attribute of the current node, an element or an instruction, as the operation for an
  /// element does.
  bool GetAttribute(std::wstring_view name, std::wstring& value) const;

  /// Sets an attribute of the current node, an element or an instruction, as the operation for an
  /// element does. Refused also when an instruction holds a string without end.
  bool SetAttribute(std::wstring_view name, std::wstring_view value,
                    MXmlReferences references = MXmlReferences::kEscape);

  // Elements.

  /// Tag of an element; empty when there is no such element.
  [[nodiscard]] std::wstring GetTagName(std::uint32_t element) const;

  /// Text and CDATA of an element, unescaped and joined; without what its child elements, comments
  /// and instructions hold. White space and line ends are as they stand. Empty when there is no
  /// such element.
  [[nodiscard]] std::wstring GetData(std::uint32_t element) const;

  /// Reads an attribute, unescaped; the first one if the name repeats. False, with `value`
  /// untouched, when it is missing.
  bool GetAttribute(std::uint32_t element, std::wstring_view name, std::wstring& value) const;

  /// All attributes of an element, in their order.
  [[nodiscard]] std::vector<MXmlAttribute> GetAttributes(std::uint32_t element) const;

  /// Replaces the value of an attribute, or adds the attribute behind the others. Refused when the
  /// name is empty or holds a quote, `<` or a character that ends names of attributes.
  bool SetAttribute(std::uint32_t element, std::wstring_view name, std::wstring_view value,
                    MXmlReferences references = MXmlReferences::kEscape);

  /// The text of an element with everything in it. Empty when there is no such element.
  [[nodiscard]] std::wstring GetSubDocument(std::uint32_t element) const;

  /// The text of the current element with everything in it.
  [[nodiscard]] std::wstring GetSubDocument() const { return GetSubDocument(GetElement()); }

  /// The children of an element, of the document when `element` is 0; with a tag, those of them
  /// that have it. To be walked: `for (const MXmlElement child : document.GetChildren(element))`.
  /// None when there is no such element. Leaves the position alone. The tag is not copied.
  [[nodiscard]] MXmlChildren GetChildren(std::uint32_t element,
                                         std::wstring_view tag = {}) const noexcept {
    return {*this, element, tag};
  }

  /// A tag that is gone before the walk begins does not compile.
  template <Orvel::Detail::TemporaryString T>
  MXmlChildren GetChildren(std::uint32_t element, T&& tag) const = delete;

  /// What is recorded of an element, or of the document when `element` is 0; zeros when there is no
  /// such element.
  [[nodiscard]] MXmlElementRecord GetRecord(std::uint32_t element) const noexcept;

  /// One more than the greatest number that an element has or had; 1 in a new document.
  [[nodiscard]] std::uint32_t GetRecordCount() const noexcept;

  // Adding. What is added comes behind the current node, behind everything in the level when there
  // is no current node, and is the current node then. An empty element that gets its first child is
  // opened for it.

  /// Adds an element with its text; without data it is written as an empty one. Refused when the
  /// name holds a character that ends tag names (white space and `<>=\/?!`) or has more than 1020
  /// units. An empty name is written as it is, though no parser reads it.
  bool AddElement(std::wstring_view name, std::wstring_view data = {},
                  MXmlReferences references = MXmlReferences::kEscape);

  /// AddElement() and SetAttribute() in one.
  bool AddElement(std::wstring_view name, std::wstring_view data, std::wstring_view attributeName,
                  std::wstring_view attributeValue,
                  MXmlReferences references = MXmlReferences::kEscape);

  /// The same with an attribute that was checked when it was compiled.
  bool AddElement(std::wstring_view name, std::wstring_view data,
                  const MXmlConstantAttribute& attribute,
                  MXmlReferences references = MXmlReferences::kEscape);

  /// Adds an instruction (`text` is the target, with whatever follows it), a comment or a CDATA
  /// section. Refused for other kinds, and for a text that would end the node early.
  bool AddNode(MXmlNodeKind kind, std::wstring_view text);

  /// Adds the root element of another document with everything in it. Refused when the text is not
  /// well-formed, or its root is not ended.
  bool AddSubDocument(std::wstring_view text);

  // Changing and removing. Refused for an element that was not ended.

  /// Replaces everything between the tags of an element, its children too, by a text. Without data
  /// it becomes an empty element if it is not one; an empty element that gets data is opened for
  /// it. Positions at what it contained, or deeper inside, go before its first node.
  bool SetData(std::uint32_t element, std::wstring_view data,
               MXmlReferences references = MXmlReferences::kEscape);

  /// The same for the current element.
  bool SetData(std::wstring_view data, MXmlReferences references = MXmlReferences::kEscape) {
    return SetData(GetElement(), data, references);
  }

  /// Gives an element another tag. Refused when the name is empty or AddElement() would refuse it,
  /// and when the new end tag would end an element inside that was not ended. Takes time in
  /// proportion to what the element contains, whose end tag changes too.
  bool SetTagName(std::uint32_t element, std::wstring_view name);

  /// The same for the current element.
  bool SetTagName(std::wstring_view name) { return SetTagName(GetElement(), name); }

  /// Removes an element with everything in it. One that has a line to itself takes the line with
  /// it, the line break and the blanks before the element, unless the flags say kNoLineBreaks.
  ///
  /// Positions at the element or inside it go to the place where it was, as to a text of no length:
  /// FindElement() and FindNode() go on behind it, what is added comes there, and no element is
  /// current. In a loop of FindElement() every element is met, also when some are removed.
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
