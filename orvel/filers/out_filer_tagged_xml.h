// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "orvel/filers/out_filer_tagged.h"
#include "orvel/filers/section_balance.h"
#include "orvel/filers/xml/document/xml_document.h"

/// Writes tagged values as XML text: the root element "ExceptionChain", in it an element for each
/// value, with its type in the attribute "type", and for each section. Read it back with
/// `MInFilerTaggedXml`. Numbers look the same in every locale.
///
/// A tag that cannot name an element (it holds white space or one of `<>=\/?!`) is refused; the
/// empty tag is written as it is, though no parser reads it. A string is read back unchanged if it
/// holds nothing that XML cannot carry.
///
/// When construction fails half-way every operation returns false. When memory runs out in an
/// operation, `std::bad_alloc` comes out and the document is as it was. Thread-unsafe.
class MOutFilerTaggedXml final : public IOutFilerTagged {
 public:
  MOutFilerTaggedXml();
  ~MOutFilerTaggedXml() override;

  bool WriteChar(const std::wstring& tag, char value) override;
  bool WriteString(const std::wstring& tag, const std::wstring& value) override;
  bool WriteDouble(const std::wstring& tag, double value) override;
  bool WriteFloat(const std::wstring& tag, float value) override;
  bool WriteBool(const std::wstring& tag, bool value) override;
  bool WriteByte(const std::wstring& tag, std::uint8_t value) override;
  bool WriteUnsignedShort(const std::wstring& tag, std::uint16_t value) override;
  bool WriteShort(const std::wstring& tag, std::int16_t value) override;
  bool WriteUnsignedInt(const std::wstring& tag, std::uint32_t value) override;
  bool WriteInt(const std::wstring& tag, std::int32_t value) override;
  bool BeginSection(const std::wstring& tag) override;
  bool EndSection() override;
  /// The root element of `xmlText` becomes the child of an element with the tag.
  bool WriteSubDocument(const std::wstring& tag, const std::wstring& xmlText) override;

  /// The document as written so far; sections that are open are closed in it. Empty when there is
  /// no document.
  [[nodiscard]] std::wstring GetText() const;
  /// Hands the text out without a copy; every operation returns false from then on, also
  /// `EndSection` of a section that is still open.
  [[nodiscard]] std::wstring TakeText();
  /// Writes the text to a file as UTF-8. A file that is there is replaced in one step once
  /// everything is on disk, and keeps what `MXmlDocument::SaveFile` keeps; after a failure it is
  /// the old one. False when the file cannot be written, the text has unpaired surrogates or there
  /// is no text: `GetFailure` says why.
  [[nodiscard]] bool SaveFile(const std::wstring& path);
  /// Why the last `SaveFile` returned false; nothing after one that returned true.
  [[nodiscard]] const MXmlFailure& GetFailure() const noexcept { return failure_; }

 private:
  bool WriteValue(const std::wstring& tag, std::wstring_view text,
                  const MXmlConstantAttribute& type);
  bool WriteUnnamedSubDocument(const std::wstring& xmlText);

  MXmlFailure failure_;
  std::unique_ptr<MXmlDocument> document_;  // null when there is none
  std::size_t openSections_ = 0;
  Orvel::Detail::SectionBalance balance_;
};
