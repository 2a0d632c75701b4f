// SPDX-License-Identifier: MIT
#include "orvel/foundation/utf8.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

using Orvel::Detail::DecodeUtf8;
using Orvel::Detail::EncodeUtf8;
using Orvel::Detail::EncodeUtf8Replacing;

namespace {

TEST(Utf8Test, EveryCodePointGoesThereAndBack) {
  std::wstring text = L"\u00E4\u20AC";
  for (std::uint32_t code = 0; code <= 0x10FFFF; ++code) {
    if (code >= 0xD800 && code <= 0xDFFF) continue;
    if constexpr (sizeof(wchar_t) == 2) {
      if (code > 0xFFFF) {
        text += static_cast<wchar_t>(0xD7C0 + (code >> 10));
        text += static_cast<wchar_t>(0xDC00 + (code & 0x3FF));
        continue;
      }
    }
    text += static_cast<wchar_t>(code);
  }
  std::string bytes;
  ASSERT_FALSE(EncodeUtf8(text, bytes).has_value());
  EXPECT_TRUE(bytes.starts_with("\xC3\xA4\xE2\x82\xAC"));
  std::wstring back;
  ASSERT_FALSE(DecodeUtf8(bytes, back).has_value());
  EXPECT_TRUE(back == text);
}

TEST(Utf8Test, RefusesWhatIsMalformedWithItsOffset) {
  for (const char* const bad :
       {"\x80", "\xC0\x80", "\xC1\xBF", "\xC3", "\xC3(", "\xE0\x9F\xBF", "\xE2\x82", "\xED\xA0\x80",
        "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"}) {
    std::wstring text = L"kept";
    // What follows behind the end would complete it.
    const std::string bytes = std::string("a\xC3\xA4") + bad + "\x80\x80";
    EXPECT_EQ(DecodeUtf8(std::string_view(bytes).substr(0, bytes.size() - 2), text), 3U) << bad;
    EXPECT_EQ(text, L"kept");
  }
  for (const std::wstring unpaired : {L"a\xD83D", L"a\xDE00", L"a\xD83Dx", L"a\xDE00\xD83D"}) {
    std::string bytes = "kept";
    EXPECT_EQ(EncodeUtf8(unpaired, bytes), 1U);
    EXPECT_EQ(bytes, "kept");
  }
  EXPECT_EQ(EncodeUtf8Replacing(L"\xDE00\xD83D\U0001F600x\xD83D"),
            "\xEF\xBF\xBD\xEF\xBF\xBD\xF0\x9F\x98\x80x\xEF\xBF\xBD");
}

}  // namespace
