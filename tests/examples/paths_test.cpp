// SPDX-License-Identifier: MIT
#include "folder_audit/paths.h"

#include <gtest/gtest.h>

#include "folder_audit/error_text.h"

namespace {

using namespace FolderAudit;

TEST(PathsTest, ExtendedPathsAreFullAndKnowShares) {
  EXPECT_EQ(MakeExtendedPath(L"C:\\a\\.\\b\\..\\c"), L"\\\\?\\C:\\a\\c");
  EXPECT_EQ(MakeExtendedPath(L"\\\\server\\share\\a"), L"\\\\?\\UNC\\server\\share\\a");
  EXPECT_EQ(MakeExtendedPath(L"\\\\?\\C:\\a\\..\\b."), L"\\\\?\\C:\\a\\..\\b.");
  const std::wstring longPath = L"C:\\" + std::wstring(1000, L'x');
  EXPECT_EQ(MakeExtendedPath(longPath), L"\\\\?\\" + longPath);
  // One short of, at and past the length that is tried first.
  for (std::size_t length = 257; length < 263; ++length) {
    const std::wstring path = L"C:\\" + std::wstring(length - 3, L'x');
    EXPECT_EQ(MakeExtendedPath(path), L"\\\\?\\" + path);
  }
}

TEST(PathsTest, JoiningKeepsOneBackslash) {
  EXPECT_EQ(JoinPath(L"\\\\?\\C:\\", L"a"), L"\\\\?\\C:\\a");
  EXPECT_EQ(JoinPath(L"a", L"b"), L"a\\b");
  EXPECT_EQ(JoinPath(L"", L"b"), L"b");
  EXPECT_EQ(JoinPath(L"a", L""), L"a");
}

TEST(ErrorTextTest, NamesCannotPlayWithTheTerminal) {
  EXPECT_EQ(Printable(L"a\x1B[2J\n\x7F\x9B\u00E4"), L"a?[2J???\u00E4");
}

TEST(ErrorTextTest, EvenAnEmptyExceptionHasADescription) {
  EXPECT_EQ(DescribeCause(MException()), L"unknown error");
}

}  // namespace
