// SPDX-License-Identifier: MIT
#include "orvel/filers/in_filer_tagged_registry.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <utility>

#include "orvel/filers/xml_filer_format.h"
#include "orvel/foundation/number_text.h"
#include "orvel/platform/registry_key.h"

using Orvel::Detail::RegistryKey;
using Orvel::Detail::RegistryQuery;
using Orvel::Detail::RegistryType;

/// The data of one value, whatever its size.
struct IInFilerTaggedRegistry::WholeValue {
  /// Asks for the value until it fits, since it may grow after its size was reported. False when it
  /// cannot be read, or grows faster than that.
  [[nodiscard]] bool Read(const RegistryKey& key, const wchar_t* name) {
    constexpr int kMaxQueries = 8;
    wchar_t* buffer = shortData_;
    std::size_t capacity = std::size(shortData_);
    for (int queries = 0; queries < kMaxQueries; ++queries) {
      sizeInBytes = static_cast<std::uint32_t>(capacity * sizeof(wchar_t));
      switch (key.QueryValue(name, type, buffer, sizeInBytes)) {
        case RegistryQuery::kDone:
          data = buffer;
          return true;
        case RegistryQuery::kMoreData:
          if (sizeInBytes > kMaxSizeInBytes) return false;
          capacity = sizeInBytes / sizeof(wchar_t) + 1;
          longData_.resize(capacity);
          buffer = longData_.data();
          break;
        case RegistryQuery::kFailed:
          return false;
      }
    }
    return false;
  }

  const wchar_t* data = nullptr;
  std::uint32_t sizeInBytes = 0;
  RegistryType type = RegistryType::kNone;

 private:
  static constexpr std::uint32_t kMaxSizeInBytes = 0x7FFFFFFF;

  wchar_t shortData_[256] = {};  // one query is enough for what fits
  std::vector<wchar_t> longData_;
};

bool IInFilerTaggedRegistry::NameLess::operator()(std::wstring_view left,
                                                  std::wstring_view right) const noexcept {
  return Orvel::Detail::RegistryNameLess()(left, right);
}

IInFilerTaggedRegistry::IInFilerTaggedRegistry(MRegistryRoot root, std::wstring applicationKey,
                                               bool createsWhenReading)
    : IFilerTaggedRegistryBase(root, std::move(applicationKey)),
      createsWhenReading_(createsWhenReading),
      openedSections_(1) {}

RegistryKey IInFilerTaggedRegistry::OpenKey() const {
  const OpenOperation open = createsWhenReading_ ? CreateToReadAtLeast : OpenToRead;
  return OpenValueKey(open, open, open);
}

bool IInFilerTaggedRegistry::HasSection(std::wstring_view tag) {
  BeginTag(tag);
  const struct TagDropper {
    ~TagDropper() { filer.DropTag(); }
    IInFilerTaggedRegistry& filer;
  } dropper{*this};
  return static_cast<bool>(OpenValueKey(OpenToRead, OpenToRead, OpenToRead));
}

template <class Integer>
bool IInFilerTaggedRegistry::ReadInteger(const std::wstring& tag, Integer& value,
                                         Integer defaultValue) const {
  value = defaultValue;
  if (!IsValueName(tag)) return false;
  const RegistryKey key = OpenKey();
  if (!key) return false;
  std::uint32_t number = 0;
  std::uint32_t sizeInBytes = sizeof(number);
  RegistryType type = RegistryType::kNone;
  if (key.QueryValue(tag.c_str(), type, &number, sizeInBytes) != RegistryQuery::kDone) return false;
  value = static_cast<Integer>(number);
  return true;
}

bool IInFilerTaggedRegistry::ReadText(const std::wstring& tag, std::wstring& text) const {
  if (!IsValueName(tag)) return false;
  const RegistryKey key = OpenKey();
  WholeValue value;
  if (!key || !value.Read(key, tag.c_str())) return false;
  if (value.type != RegistryType::kString && value.type != RegistryType::kExpandableString) {
    return false;
  }
  const std::wstring_view stored(value.data, value.sizeInBytes / sizeof(wchar_t));
  text.assign(stored.substr(0, stored.find(L'\0')));
  return true;
}

bool IInFilerTaggedRegistry::ReadString(const std::wstring& tag, std::wstring& value,
                                        const std::wstring& defaultValue) {
  // Into a text of its own: the destination may be the tag or the default.
  std::wstring text;
  const bool isRead = Note(ReadText(tag, text));
  value = isRead ? std::move(text) : std::wstring(defaultValue);
  return isRead;
}

bool IInFilerTaggedRegistry::ReadBool(const std::wstring& tag, bool& value, bool defaultValue) {
  value = defaultValue;
  return Note(ReadFlag(tag, value));
}

bool IInFilerTaggedRegistry::ReadFlag(const std::wstring& tag, bool& value) const {
  if (!IsValueName(tag)) return false;
  const RegistryKey key = OpenKey();
  if (!key) return false;
  std::uint32_t number = 0;
  std::uint32_t sizeInBytes = sizeof(number);
  RegistryType type = RegistryType::kNone;
  switch (key.QueryValue(tag.c_str(), type, &number, sizeInBytes)) {
    case RegistryQuery::kDone:
      break;
    case RegistryQuery::kMoreData: {
      WholeValue whole;
      if (!whole.Read(key, tag.c_str())) return false;
      number = 0;
      std::memcpy(&number, whole.data, (std::min)(std::size_t{whole.sizeInBytes}, sizeof(number)));
      type = whole.type;
      break;
    }
    case RegistryQuery::kFailed:
      return false;
  }
  value = number != 0;
  return type == RegistryType::kDoubleWord;
}

bool IInFilerTaggedRegistry::ReadDouble(const std::wstring& tag, double& value,
                                        double defaultValue) {
  value = defaultValue;
  std::wstring text;
  return Note(ReadText(tag, text) && Orvel::Detail::ParseDouble(text, GetLocale(), value));
}

bool IInFilerTaggedRegistry::ReadFloat(const std::wstring& tag, float& value, float defaultValue) {
  double wide = 0.0;
  const bool isRead = ReadDouble(tag, wide, 0.0);
  value = isRead ? Orvel::Detail::NarrowToFloat(wide) : defaultValue;
  return isRead;
}

bool IInFilerTaggedRegistry::ReadChar(const std::wstring& tag, char& value, char defaultValue) {
  return Note(ReadInteger(tag, value, defaultValue));
}

bool IInFilerTaggedRegistry::ReadByte(const std::wstring& tag, std::uint8_t& value,
                                      std::uint8_t defaultValue) {
  return Note(ReadInteger(tag, value, defaultValue));
}

bool IInFilerTaggedRegistry::ReadUnsignedShort(const std::wstring& tag, std::uint16_t& value,
                                               std::uint16_t defaultValue) {
  return Note(ReadInteger(tag, value, defaultValue));
}

bool IInFilerTaggedRegistry::ReadShort(const std::wstring& tag, std::int16_t& value,
                                       std::int16_t defaultValue) {
  return Note(ReadInteger(tag, value, defaultValue));
}

bool IInFilerTaggedRegistry::ReadUnsignedInt(const std::wstring& tag, std::uint32_t& value,
                                             std::uint32_t defaultValue) {
  return Note(ReadInteger(tag, value, defaultValue));
}

bool IInFilerTaggedRegistry::ReadInt(const std::wstring& tag, std::int32_t& value,
                                     std::int32_t defaultValue) {
  return Note(ReadInteger(tag, value, defaultValue));
}

bool IInFilerTaggedRegistry::ReadChangeStamp(std::uint32_t& stamp) {
  stamp = GetChangeStamp();
  return true;
}

bool IInFilerTaggedRegistry::BeginSection(const std::wstring& tag) {
  // All that needs memory comes before what cannot be undone.
  NameSet opened;
  opened.insert(tag);
  openedSections_.resize(GetDepth() + 1);
  openedSections_.emplace_back();
  BeginTag(tag);
  openedSections_[GetDepth() - 1].merge(opened);
  return true;
}

bool IInFilerTaggedRegistry::BeginNextSection(const std::wstring& tag) {
  return !openedSections_[GetDepth()].contains(tag) && HasSection(tag) && BeginSection(tag);
}

bool IInFilerTaggedRegistry::EndSection() { return EndTag(); }

bool IInFilerTaggedRegistry::ReadSubDocument(const std::wstring& tag, std::wstring& xmlText) {
  std::wstring text;
  const bool isRead =
      Note(ReadText(tag, text) && Orvel::Detail::XmlFilerFormat::CountSubDocumentLevels(text) != 0);
  xmlText = isRead ? std::move(text) : std::wstring();
  return isRead;
}
