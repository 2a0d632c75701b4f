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

/// Reads the tagged values that `MOutFilerTaggedXml` wrote. The type of a value must be the one
/// that the operation expects: "float" for both floating kinds, "uint" and "int" for 16 and 32
/// bits, "byte", "bool", "char" and "string".
///
/// Integers are read as a stream reads them: white space before them is skipped, what follows them
/// ignored, and one out of range leaves the default. A byte is read as a 16-bit number whose low
/// byte counts, and so is a char that does not stand as one character. Floating numbers out of
/// range become infinities.
///
/// No element has the empty tag: reading it returns false. So does reading an element without an
/// end tag, as a value or as a sub-document.
///
/// A text that is not well-formed, or whose root is another, makes a reader whose every operation
/// returns false. When memory runs out in an operation, `std::bad_alloc` comes out and the reader
/// is where it was. Thread-unsafe.
class MInFilerTaggedXml final : public IInFilerTagged {
 public:
  /// Parses `text`, which is taken over without a copy when it is moved here.
  explicit MInFilerTaggedXml(std::wstring text);
  /// Reads a UTF-8 file, with or without byte order mark. One that cannot be read, or is not UTF-8,
  /// makes a reader whose every operation answers false.
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
  /// Always false: a text has no change stamp.
  bool ReadChangeStamp(std::uint32_t& stamp) override;
  bool BeginSection(const std::wstring& tag) override;
  bool EndSection() override;
  /// The element, with everything in it, under the root element "MFilerTaggedXml".
  bool ReadSubDocument(const std::wstring& tag, std::wstring& xmlText) override;
  bool BeginNextSection(const std::wstring& tag) override;

  /// True when the text could be read; when not, the operations below say why.
  [[nodiscard]] bool IsValid() const noexcept { return document_ != nullptr; }
  /// Why nothing can be read, in one place: the file that could not be opened, with the system's
  /// code, the text that is not well-formed, or the root that is another. Nothing when the reader
  /// is valid.
  [[nodiscard]] const MXmlFailure& GetFailure() const noexcept { return failure_; }
  /// What was wrong with the text; empty if nothing was, and when only the root is another.
  [[nodiscard]] const std::wstring& GetErrorText() const noexcept { return errorText_; }
  /// Where in the text that was, for people. Empty when nothing was wrong, and when there is no
  /// text to look in: it is empty, or its file could not be read.
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
