// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "orvel/foundation/locale.h"

namespace {

constexpr int kUntouched = -77;
constexpr int tm::*kFields[] = {&tm::tm_year, &tm::tm_mon,  &tm::tm_mday, &tm::tm_hour, &tm::tm_min,
                                &tm::tm_sec,  &tm::tm_wday, &tm::tm_yday, &tm::tm_isdst};

struct Case {
  const wchar_t* format;
  const wchar_t* input;
  const wchar_t* rest;  // null: fails
  const char* fields;   // year month day hour minute second weekday day-of-year dst
};

constexpr Case kCases[] = {
    {L"", L"rest", L"rest", "- - - - - - - - - "},
    {L"at %H!", L"at 7!x", L"x", "- - - 7 - - - - - "},
    {L"%%%d", L"%5", L"", "- - 5 - - - - - - "},
    {L" %d\n%H", L"5 \t\v\f\r\n6", L"", "- - 5 6 - - - - - "},
    {L" %d", L"\x2002\x35", nullptr, "- - - - - - - - - "},
    {L"%Ey%OEm", L"701x", L"x", "70 0 - - - - - - - "},
    {L"%d%", L"5", nullptr, "- - 5 - - - - - - "},
    {L"%Q", L"5", nullptr, "- - - - - - - - - "},
    // A digit is taken while ten times the value is within the bound.
    {L"%d", L"45", L"5", "- - 4 - - - - - - "},
    {L"%d", L"012", L"2", "- - 1 - - - - - - "},
    {L"%d", L" 5", nullptr, "- - - - - - - - - "},
    {L"%d", L"-1", nullptr, "- - - - - - - - - "},
    {L"%d", L"\x0661", nullptr, "- - - - - - - - - "},
    {L"%k:%M:%S", L"23:59:61", L"", "- - - 23 59 61 - - - "},
    {L"%M", L"60", L"0", "- - - - 6 - - - - "},
    {L"%I", L"13", nullptr, "- - - - - - - - - "},
    {L"%j", L"400", L"0", "- - - - - - - 39 - "},
    {L"%U%W", L"5300", L"", "- - - - - - - - - "},
    {L"%w", L"66", L"6", "- - - - - - 6 - - "},
    {L"%a", L"SUNDAYS", L"S", "- - - - - - 0 - - "},
    {L"%a", L"Suntue", L"tue", "- - - - - - 0 - - "},
    {L"%A", L"satur", L"ur", "- - - - - - 6 - - "},
    {L"%b", L"March", L"", "- 2 - - - - - - - "},
    {L"%h", L"Decembe", L"embe", "- 11 - - - - - - - "},
    {L"%y", L"69", L"", "69 - - - - - - - - "},
    {L"%Y", L"12345", L"5", "-666 - - - - - - - - "},
    {L"%C%y", L"1905", L"", "1905 - - - - - - - - "},
    {L"%y%C", L"0519", L"", "1905 - - - - - - - - "},
    {L"%Y %C", L"2021 19", L"", "1921 - - - - - - - - "},
    {L"%C %D", L"19 03/05/21", L"", "1921 2 5 - - - - - - "},
    {L"%y %y", L"70 05", L"", "105 - - - - - - - - "},
    {L"%c", L"12/31/99  1:02:03", L"", "99 11 31 1 2 3 - - - "},
    {L"%R", L"7:08:09", L":09", "- - - 7 8 - - - - "},
    {L"%r", L"01:02:03 PM", nullptr, "- - - 1 2 3 - - - "},
};

TEST(ParseTimeTest, ReadsAsTabledAndTouchesNothingElse) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.format) + " on " + testing::PrintToString(c.input));
    tm time{};
    for (int tm::*field : kFields) time.*field = kUntouched;
    const wchar_t* const end = MLocale::ParseTime(c.input, c.format, &time);
    EXPECT_EQ(end == nullptr, c.rest == nullptr);
    if (end != nullptr && c.rest != nullptr) {
      EXPECT_EQ(std::wstring(end), c.rest);
      EXPECT_EQ(std::wstring(c.input, end) + c.rest, c.input) << "the end is in the input itself";
    }
    std::string fields;
    for (int tm::*field : kFields) {
      fields += time.*field == kUntouched ? "- " : std::to_string(time.*field) + ' ';
    }
    EXPECT_EQ(fields, c.fields);
  }
}

}  // namespace
