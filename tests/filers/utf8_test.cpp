// SPDX-License-Identifier: MIT
#include "orvel/filers/utf8.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

using Orvel::Detail::DecodeUtf8;
using Orvel::Detail::EncodeUtf8;

namespace {

void AppendCodePoint(std::uint32_t code, std::wstring& text) {
  if (sizeof(wchar_t) == 2 && code > 0xFFFF) {
    text += static_cast<wchar_t>(0xD7C0 + (code >> 10));
    text += static_cast<wchar_t>(0xDC00 + (code & 0x3FF));
  } else {
    text += static_cast<wchar_t>(code);
  }
}

TEST(Utf8Test, EveryCodePointGoesThereAndBack) {
  std::wstring text;
  for (std::uint32_t code = 0; code <= 0x10FFFF; ++code) {
    if (code < 0xD800 || code > 0xDFFF) AppendCodePoint(code, text);
  }
  std::string bytes;
  ASSERT_FALSE(EncodeUtf8(text, bytes).has_value());
  constexpr std::size_t kBytes =
      0x80 + 2 * (0x800 - 0x80) + 3 * (0x10000 - 0x800 - 0x800) + 4 * std::size_t{0x100000};
  EXPECT_EQ(bytes.size(), kBytes);
  std::wstring back;
  ASSERT_FALSE(DecodeUtf8(bytes, back).has_value());
  EXPECT_TRUE(back == text);
  ASSERT_FALSE(EncodeUtf8(L"\u00E4\u20AC", bytes).has_value());
  EXPECT_EQ(bytes, "\xC3\xA4\xE2\x82\xAC");
}

TEST(Utf8Test, RefusesMalformedBytesWithTheirOffset) {
  for (const char* const bad :
       {"\x80", "\xC0\x80", "\xC1\xBF", "\xC3", "\xC3(", "\xE0\x9F\xBF", "\xE2\x82", "\xED\xA0\x80",
        "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"}) {
    std::wstring text = L"kept";
    EXPECT_EQ(DecodeUtf8(std::string("a\xC3\xA4") + bad, text), 3U) << bad;
    EXPECT_EQ(text, L"kept");
  }
}

TEST(Utf8Test, RefusesUnpairedSurrogates) {
  std::string bytes = "kept";
  for (const std::wstring bad : {L"a\xD83D", L"a\xDE00", L"a\xD83Dx", L"a\xDE00\xD83D"}) {
    EXPECT_EQ(EncodeUtf8(bad, bytes), 1U);
    EXPECT_EQ(bytes, "kept");
  }
}

TEST(Utf8Test, ByteOrderMarkIsSkippedOnlyWhereItStands) {
  EXPECT_EQ(Orvel::Detail::SkipUtf8ByteOrderMark("\xEF\xBB\xBF<a/>"), "<a/>");
  EXPECT_EQ(Orvel::Detail::SkipUtf8ByteOrderMark("\xEF\xBB"), "\xEF\xBB");
}

}  // namespace
