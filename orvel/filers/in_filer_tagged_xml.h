// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "orvel/filers/in_filer_tagged.h"
#include "orvel/filers/section_balance.h"
#include "orvel/filers/xml/document/xml_document.h"

/// Reads the tagged values that `MOutFilerTaggedXml` wrote. The "type" of a value must be the one
/// that the operation expects: "float" for `double` and `float`, "uint" and "int" for 16 and 32
/// bits, "byte", "bool", "char" and "string".
///
/// Integers are read as a stream reads them: leading white space is skipped, what follows the
/// number is ignored, and a number out of range yields the default. For a byte, a 16-bit number is
/// read and its low byte used; the same goes for a char, unless the text is a single character.
/// Floating-point numbers out of range become infinities.
///
/// Reading the empty tag returns false, since no element has it. So does reading an element without
/// an end tag, as a value or as a sub-document.
///
/// If the text is not well-formed or has another root element, every operation returns false. When
/// memory runs out, `std::bad_alloc` is raised and the same section stays open.
///
/// Thread-unsafe.
class MInFilerTaggedXml final : public IInFilerTagged {
 public:
  /// Parses `text`. Does not copy a text that is moved in. Raises what `MLocale::Instance` raises.
  explicit MInFilerTaggedXml(std::wstring text);
  /// Reads a UTF-8 file, with or without byte order mark. If it cannot be read or is not UTF-8,
  /// every operation of the reader returns false. Raises what the constructor raises.
  [[nodiscard]] static std::unique_ptr<MInFilerTaggedXml> FromFile(const std::wstring& path);

  ~MInFilerTaggedXml() override;

  bool ReadString(const std::wstring& tag, std::wstring& value,
                  const std::wstring& defaultValue) override;
  bool ReadChar(const std::wstring& tag, char& value, char defaultValue) override;
  bool ReadDouble(const std::wstring& tag, double& value, double defaultValue) override;
  bool ReadFloat(const std::wstring& tag, float& value, float defaultValue) override;
  bool ReadBool(const std::wstring& tag, bool& value, bool defaultValue) override;
  bool ReadByte(const std::wstring& tag, std::uint8_t& value, std::uint8_t defaultValue) override;
  bool ReadUnsignedShort(const std::wstring& tag, std::uint16_t& value,
                         std::uint16_t defaultValue) override;
  bool ReadShort(const std::wstring& tag, std::int16_t& value, std::int16_t defaultValue) override;
  bool ReadUnsignedInt(const std::wstring& tag, std::uint32_t& value,
                       std::uint32_t defaultValue) override;
  bool ReadInt(const std::wstring& tag, std::int32_t& value, std::int32_t defaultValue) override;
  /// Always returns false: a text has no change stamp.
  bool ReadChangeStamp(std::uint32_t& stamp) override;
  bool BeginSection(const std::wstring& tag) override;
  bool EndSection() override;
  /// Sets `xmlText` to a document with the root element "MFilerTaggedXml" and the element, content
  /// included, as its child.
  bool ReadSubDocument(const std::wstring& tag, std::wstring& xmlText) override;
  bool BeginNextSection(const std::wstring& tag) override;

  /// Returns true when the text could be read. If not, the operations below return the reason.
  [[nodiscard]] bool IsValid() const noexcept { return document_ != nullptr; }
  /// Returns why nothing can be read: the file could not be opened (with the system's code), the
  /// text is not well-formed, or the root element is another one. An empty failure when the reader
  /// is valid.
  [[nodiscard]] const MXmlFailure& GetFailure() const noexcept { return failure_; }
  /// Returns the error of the text; empty when it has none, even if its root element is another
  /// one.
  [[nodiscard]] const std::wstring& GetErrorText() const noexcept { return errorText_; }
  /// Returns line and column of that error. No value when there is no error, when the text is
  /// empty, or when its file could not be read.
  [[nodiscard]] const std::optional<MXmlLineAndColumn>& GetErrorPlace() const noexcept {
    return errorPlace_;
  }

 private:
  MInFilerTaggedXml();

  void EnterRoot(bool isWellFormed);
  std::uint32_t Find(const std::wstring& tag);
  bool EnterSection();
  template <class Convert>
  bool ReadValue(const std::wstring& tag, const MXmlConstantAttribute& type, Convert convert);
  template <class Extracted, class Value>
  bool ReadInteger(const std::wstring& tag, const MXmlConstantAttribute& type, Value& value,
                   Value defaultValue);

  std::unique_ptr<MXmlDocument> document_;  // null when the text could not be read
  std::size_t openSections_ = 0;
  Orvel::Detail::SectionBalance balance_;
  MXmlFailure failure_;
  std::wstring errorText_;
  std::optional<MXmlLineAndColumn> errorPlace_;
  std::wstring attribute_;  // kept for its memory
};
