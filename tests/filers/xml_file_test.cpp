// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/filers/tagged_values.h"
#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/foundation/system_error.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/system_call_hook.h"
#include "tests/support/time_limits.h"

#include <sddl.h>

namespace {

using Orvel::Testing::SystemCall;
using Orvel::Testing::SystemCallHook;

/// A folder of its own for each test, removed at the end.
class XmlFileTest : public testing::Test {
 protected:
  XmlFileTest() { std::filesystem::create_directories(folder_); }
  ~XmlFileTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  void Write(const std::string& bytes) const {
    std::ofstream(folder_ / "document.xml", std::ios::binary) << bytes;
  }
  [[nodiscard]] std::string Read() const {
    std::ifstream file(folder_ / "document.xml", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  [[nodiscard]] std::ptrdiff_t CountFiles() const {
    return std::distance(std::filesystem::directory_iterator(folder_), {});
  }

  /// Starts a program in the folder. Closes no handle of it: one of the system below Wine has none,
  /// and those that Wine gives may be other objects'.
  bool Start(const wchar_t* program, std::wstring command) const {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    return ::CreateProcessW(program, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                            folder_.c_str(), &startup, &process) != FALSE;
  }

  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() /
      ("orvel_xml_file_test_" + std::to_string(::GetCurrentProcessId()));
  const std::wstring path_ = folder_.wstring() + L"\\document.xml";
};

TEST_F(XmlFileTest, SavesUtf8AndLoadsItBack) {
  MXmlDocument document;
  ASSERT_TRUE(document.AddElement(L"r", L"\u00E4\xD83D\xDE00"));
  ASSERT_TRUE(document.SaveFile(path_));
  EXPECT_EQ(Read(), "<r>\xC3\xA4\xF0\x9F\x98\x80</r>\n");
  MXmlDocument loaded;
  EXPECT_TRUE(loaded.LoadFile(path_));
  EXPECT_EQ(loaded.GetDocumentText(), document.GetDocumentText());

  MOutFilerTaggedXml out;
  ASSERT_TRUE(out.WriteInt(L"V", 1));
  ASSERT_TRUE(out.SaveFile(path_)) << "over the old file";
  EXPECT_EQ(CountFiles(), 1);
  EXPECT_EQ(ReadTagged<int>(*MInFilerTaggedXml::FromFile(path_), L"V", 0), 1);
}

TEST_F(XmlFileTest, FailedSaveSaysWhyAndLeavesTheOldFileAlone) {
  Write("old");
  MXmlDocument unpaired;
  unpaired.AddElement(L"r", L"\xD800");
  EXPECT_FALSE(unpaired.SaveFile(path_));
  EXPECT_EQ(unpaired.GetFailure().GetText(), L"Unpaired surrogate at offset 3");
  MXmlDocument sound;
  sound.AddElement(L"r");
  const auto expectFailure = [&](const std::wstring& path, MXmlStep step, DWORD code) {
    EXPECT_FALSE(sound.SaveFile(path)) << path;
    EXPECT_EQ(sound.GetFailure().step, step) << path;
    EXPECT_EQ(sound.GetFailure().winErrorCode, code) << path;
    EXPECT_TRUE(sound.GetFailure().GetText().ends_with(L": " + SystemErrorText(code)));
    EXPECT_EQ(Read(), "old");
  };
  expectFailure(folder_.wstring() + L"\\missing\\document.xml", MXmlStep::kOpen,
                ERROR_PATH_NOT_FOUND);
  std::filesystem::create_directory(folder_ / "taken");
  expectFailure(folder_.wstring() + L"\\taken", MXmlStep::kOpen, ERROR_ACCESS_DENIED);
  ::SetFileAttributesW(path_.c_str(), FILE_ATTRIBUTE_READONLY);
  expectFailure(path_, MXmlStep::kOpen, ERROR_ACCESS_DENIED);
  ::SetFileAttributesW(path_.c_str(), FILE_ATTRIBUTE_NORMAL);
  {
    const SystemCallHook full(SystemCall::kFlushFile, 0, {0, ERROR_DISK_FULL});
    expectFailure(path_, MXmlStep::kWrite, ERROR_DISK_FULL);
  }
  {
    const SystemCallHook broken(SystemCall::kSetFileInformation, 0, {0, ERROR_IO_DEVICE});
    expectFailure(path_, MXmlStep::kReplace, ERROR_IO_DEVICE);
  }
  EXPECT_EQ(CountFiles(), 2) << "nothing is left behind";
}

TEST_F(XmlFileTest, SaveWaitsForOthersToCloseTheFile) {
  Write("old");
  MXmlDocument document;
  document.AddElement(L"r");
  {
    std::ifstream reader(folder_ / "document.xml");  // a program that has the file open
    SystemCallHook pause(
        SystemCall::kSleep, [&] { reader.close(); }, 1);
    SystemCallHook violation(SystemCall::kSetFileInformation, 0, {0, ERROR_SHARING_VIOLATION});
    EXPECT_TRUE(document.SaveFile(path_)) << "after two pauses";
    EXPECT_TRUE(violation.WasReached());
    EXPECT_TRUE(pause.WasReached());
    EXPECT_EQ(Read(), "<r/>\n");
  }
  const std::ifstream reader(folder_ / "document.xml");
  EXPECT_FALSE(document.SaveFile(path_)) << "who does not close it";
  EXPECT_EQ(document.GetFailure().step, MXmlStep::kReplace);
  EXPECT_EQ(CountFiles(), 1);
}

TEST_F(XmlFileTest, SaveKeepsWhatTheFileWas) {
  Write("old");
  constexpr DWORD kAttributes = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE;
  ASSERT_TRUE(::SetFileAttributesW(path_.c_str(), kAttributes));
  std::byte space[256];
  DWORD bytes = 0;
  const auto rights = [&] {
    EXPECT_TRUE(
        ::GetFileSecurityW(path_.c_str(), DACL_SECURITY_INFORMATION, space, sizeof space, &bytes));
    return std::vector<std::byte>(space, space + bytes);
  };
  const std::vector<std::byte> inherited = rights();
  PSECURITY_DESCRIPTOR everybody = nullptr;
  ASSERT_TRUE(::ConvertStringSecurityDescriptorToSecurityDescriptorW(
      L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;OW)", SDDL_REVISION_1, &everybody, nullptr));
  EXPECT_TRUE(::SetFileSecurityW(path_.c_str(), DACL_SECURITY_INFORMATION, everybody));
  ::LocalFree(everybody);
  const std::vector<std::byte> own = rights();
  ASSERT_NE(own, inherited);

  MXmlDocument document;
  document.AddElement(L"r");
  const std::wstring link = folder_.wstring() + L"\\link.xml";
  ::CreateSymbolicLinkW(link.c_str(), path_.c_str(), 2);  // also without privilege, if allowed
  const auto isLinked = [&] {
    return ::GetFileAttributesW(link.c_str()) != INVALID_FILE_ATTRIBUTES;
  };
  const auto awaitLink = [&](bool isThere) {
    const auto end = std::chrono::steady_clock::now() + Orvel::Testing::kHangLimit;
    while (isLinked() != isThere && std::chrono::steady_clock::now() < end) ::Sleep(10);
    EXPECT_EQ(isLinked(), isThere);
  };
  // Wine has no call for that, and would delete the document below; Windows has no such programs.
  if (Start(L"Z:\\bin\\ln", L"ln -s document.xml link.xml")) awaitLink(true);
  EXPECT_TRUE(document.SaveFile(isLinked() ? link : path_));
  EXPECT_EQ(Read(), "<r/>\n") << "a link stays one";
  EXPECT_EQ(::GetFileAttributesW(path_.c_str()), kAttributes);
  EXPECT_EQ(rights(), own);
  if (Start(L"Z:\\bin\\rm", L"rm link.xml")) awaitLink(false);

  const std::wstring longest = L"\\\\?\\" + folder_.wstring() + L'\\' + std::wstring(255, L'n');
  EXPECT_TRUE(document.SaveFile(longest));
  EXPECT_TRUE(document.SaveFile(longest));
  EXPECT_TRUE(::DeleteFileW(longest.c_str()));
}

TEST_F(XmlFileTest, LoadTellsWhyItFailed) {
  Write("\xEF\xBB\xBF<a/>");
  MXmlDocument document;
  EXPECT_TRUE(document.LoadFile(path_));
  EXPECT_EQ(document.GetDocumentText(), L"<a/>");
  document.SetLengthLimit(3);
  const auto expectFailure = [&](const std::string& bytes, const wchar_t* error) {
    Write(bytes);
    EXPECT_FALSE(document.LoadFile(path_)) << bytes;
    EXPECT_EQ(document.GetErrorText(), error);
    EXPECT_EQ(document.GetFailure().GetText(), error);
    EXPECT_EQ(document.GetDocumentText(), L"");
    document.ClearErrorText();
  };
  expectFailure("\xEF\xBB\xBF<a>\xC3</a>", L"File is not UTF-8 at byte 6");
  expectFailure({"\xEF\xBB\xBF<a\0\xC3>", 8}, L"File has a zero character at byte 5");
  expectFailure("", L"Empty document");
  expectFailure("<abcdefghijk/>", L"Document too long");
  const std::wstring missing = folder_.wstring() + L"\\missing.xml";
  EXPECT_FALSE(document.LoadFile(missing));
  EXPECT_EQ(document.GetErrorText(), L"File cannot be read");
  const auto reader = MInFilerTaggedXml::FromFile(missing);
  EXPECT_FALSE(reader->IsValid());
  EXPECT_EQ(reader->GetFailure().step, MXmlStep::kOpen);
  EXPECT_EQ(reader->GetFailure().GetText(), L"Cannot open: " + SystemErrorText(2));
  Write("<other/>");
  EXPECT_EQ(MInFilerTaggedXml::FromFile(path_)->GetFailure().GetText(),
            L"The root element is 'other', not 'ExceptionChain'");
  EXPECT_EQ(MInFilerTaggedXml(L"<a/><b/>").GetFailure().GetText(), L"Root element has sibling");
}

}  // namespace
