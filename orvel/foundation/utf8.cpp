// SPDX-License-Identifier: MIT
#include "orvel/foundation/utf8.h"

#include <cstdint>
#include <utility>

namespace Orvel::Detail {
namespace {

/// Smallest code point that a sequence of that many bytes may stand for.
constexpr std::uint32_t kSmallestCodePoint[] = {0, 0, 0x80, 0x800, kFirstSupplementary};

constexpr std::size_t SequenceLength(std::uint32_t firstByte) noexcept {
  if (firstByte < 0x80) return 1;
  if (firstByte >= 0xC2 && firstByte < 0xE0) return 2;
  if (firstByte >= 0xE0 && firstByte < 0xF0) return 3;
  if (firstByte >= 0xF0 && firstByte < 0xF5) return 4;
  return 0;
}

constexpr std::uint32_t ByteAt(std::string_view bytes, std::size_t i) noexcept {
  return static_cast<unsigned char>(bytes[i]);
}

/// Reads a sequence of `length` bytes, which its first byte determines, at the start of `bytes`.
/// Returns false when it is malformed.
bool ReadSequence(std::string_view bytes, std::size_t length, std::uint32_t& code) noexcept {
  if (length < 2 || length > bytes.size()) return false;
  code = ByteAt(bytes, 0) & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const std::uint32_t next = ByteAt(bytes, i);
    if ((next & 0xC0U) != 0x80U) return false;
    code = (code << 6) | (next & 0x3FU);
  }
  return code >= kSmallestCodePoint[length] && code <= kMaxCodePoint && !IsSurrogate(code);
}

}  // namespace

std::optional<std::size_t> DecodeUtf8(std::string_view bytes, std::wstring& text) {
  std::wstring result(bytes.size(), L'\0');  // never more units than bytes
  wchar_t* output = result.data();
  for (std::size_t i = 0; i < bytes.size();) {
    const std::uint32_t first = ByteAt(bytes, i);
    if (first < 0x80) {
      *output++ = static_cast<wchar_t>(first);
      ++i;
      continue;
    }
    const std::size_t length = SequenceLength(first);
    std::uint32_t code = 0;
    if (!ReadSequence(bytes.substr(i), length, code)) return i;
    output = WriteCodePoint(code, output);
    i += length;
  }
  result.resize(static_cast<std::size_t>(output - result.data()));
  text = std::move(result);
  return std::nullopt;
}

namespace {

enum class Unpaired { kRefused, kReplaced };

std::optional<std::size_t> Encode(std::wstring_view text, Unpaired unpaired, std::string& bytes) {
  constexpr std::uint32_t kReplacement = 0xFFFD;
  constexpr std::uint32_t kUnitMask = sizeof(wchar_t) == 2 ? 0xFFFFU : 0xFFFFFFFFU;
  std::string result;
  result.reserve(text.size() + text.size() / 8);
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint32_t code = static_cast<std::uint32_t>(text[i]) & kUnitMask;
    if (code < 0x80) {
      result += static_cast<char>(code);
      continue;
    }
    if constexpr (sizeof(wchar_t) == 2) {
      if (code >= kFirstSurrogate && code < kFirstLowSurrogate && i + 1 < text.size()) {
        const std::uint32_t low = static_cast<std::uint32_t>(text[i + 1]) & kUnitMask;
        if (low >= kFirstLowSurrogate && low <= kLastSurrogate) {
          code =
              kFirstSupplementary + ((code - kFirstSurrogate) << 10) + (low - kFirstLowSurrogate);
          ++i;
        }
      }
    }
    if (IsSurrogate(code) || code > kMaxCodePoint) {
      if (unpaired == Unpaired::kRefused) return i;
      code = kReplacement;
    }
    if (code < 0x800) {
      result += static_cast<char>(0xC0 | (code >> 6));
    } else {
      if (code < kFirstSupplementary) {
        result += static_cast<char>(0xE0 | (code >> 12));
      } else {
        result += static_cast<char>(0xF0 | (code >> 18));
        result += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
      }
      result += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    }
    result += static_cast<char>(0x80 | (code & 0x3F));
  }
  bytes = std::move(result);
  return std::nullopt;
}

}  // namespace

std::optional<std::size_t> EncodeUtf8(std::wstring_view text, std::string& bytes) {
  return Encode(text, Unpaired::kRefused, bytes);
}

std::string EncodeUtf8Replacing(std::wstring_view text) {
  std::string bytes;
  static_cast<void>(Encode(text, Unpaired::kReplaced, bytes));
  return bytes;
}

std::string_view SkipUtf8ByteOrderMark(std::string_view bytes) noexcept {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (bytes.starts_with(kMark)) bytes.remove_prefix(kMark.size());
  return bytes;
}

}  // namespace Orvel::Detail
