// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "orvel/filers/out_filer_tagged.h"
#include "orvel/filers/section_balance.h"
#include "orvel/filers/xml/document/xml_document.h"

/// Writes tagged values as XML text. The root element "ExceptionChain" contains an element for each
/// value, with its type in the attribute "type", and for each section. Read it back with
/// `MInFilerTaggedXml`. Numbers look the same in every locale.
///
/// A tag that cannot be the name of an element (it holds white space or one of `<>=\/?!`) is
/// refused. The empty tag is written, though no parser accepts it. A string is read back unchanged
/// if XML can represent all of its characters.
///
/// If the document could not be set up on construction, every operation returns false. When memory
/// runs out in an operation, `std::bad_alloc` is raised and the document is unchanged.
///
/// Thread-unsafe.
class MOutFilerTaggedXml final : public IOutFilerTagged {
 public:
  /// Begins a document. Raises what `MLocale::Instance` raises.
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
  /// Writes an element with the tag, and the root element of `xmlText` as its child.
  bool WriteSubDocument(const std::wstring& tag, const std::wstring& xmlText) override;

  /// Returns the document as written so far; the open sections have their end tags in it. Empty
  /// when there is no document.
  [[nodiscard]] std::wstring GetText() const;
  /// Moves the text out, without a copy. From then on every operation returns false, also
  /// `EndSection` for a section that is still open.
  [[nodiscard]] std::wstring TakeText();
  /// Writes the text to a file as UTF-8. An existing file is replaced in one step once everything
  /// is on disk, and keeps what `MXmlDocument::SaveFile` keeps; after a failure it is the old one.
  /// Returns false when the file cannot be written, the text has unpaired surrogates or there is no
  /// text: `GetFailure` returns the reason.
  [[nodiscard]] bool SaveFile(const std::wstring& path);
  /// Returns why the last `SaveFile` returned false; an empty failure after one that returned true.
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
