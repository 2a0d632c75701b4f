// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/filers/xml_document.h"
#include "orvel/platform/windows_api.h"

namespace {

/// A folder of its own for each test, removed at the end.
class XmlFileTest : public testing::Test {
 protected:
  XmlFileTest() { std::filesystem::create_directories(folder_); }
  ~XmlFileTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  void Write(const std::string& bytes) const { std::ofstream(path_, std::ios::binary) << bytes; }
  [[nodiscard]] std::string Read() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  [[nodiscard]] std::ptrdiff_t CountFiles() const {
    return std::distance(std::filesystem::directory_iterator(folder_), {});
  }

  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() /
      ("orvel_xml_file_test_" + std::to_string(::GetCurrentProcessId()));
  const std::filesystem::path path_ = folder_ / "document.xml";
};

TEST_F(XmlFileTest, SavesUtf8AndLoadsItBack) {
  MXmlDocument document;
  ASSERT_TRUE(document.AddElement(L"r", L"\u00E4\xD83D\xDE00"));
  ASSERT_TRUE(document.SaveFile(path_.wstring()));
  EXPECT_EQ(Read(), "<r>\xC3\xA4\xF0\x9F\x98\x80</r>\n");
  MXmlDocument loaded;
  EXPECT_TRUE(loaded.LoadFile(path_.wstring()));
  EXPECT_EQ(loaded.GetDocumentText(), document.GetDocumentText());

  MOutFilerTaggedXml out;
  ASSERT_TRUE(out.WriteInt(L"V", 1));
  ASSERT_TRUE(out.SaveFile(path_.wstring())) << "over the old file";
  EXPECT_EQ(CountFiles(), 1);
  std::int32_t value = 0;
  EXPECT_TRUE(MInFilerTaggedXml::FromFile(path_.wstring())->ReadInt(L"V", value, 0));
  EXPECT_EQ(value, 1);
}

TEST_F(XmlFileTest, FailedSaveLeavesTheOldFileAlone) {
  Write("old");
  MXmlDocument unpaired;
  unpaired.AddElement(L"r", L"\xD800");
  EXPECT_FALSE(unpaired.SaveFile(path_.wstring()));
  MXmlDocument sound;
  sound.AddElement(L"r");
  EXPECT_FALSE(sound.SaveFile((folder_ / "missing" / "document.xml").wstring()));
  std::filesystem::create_directory(folder_ / "taken");
  EXPECT_FALSE(sound.SaveFile((folder_ / "taken").wstring()));
  {
    const std::ifstream reader(path_);  // a program that has the file open
    const bool saved = sound.SaveFile(path_.wstring());
    EXPECT_EQ(Read(), saved ? "<r/>\n" : "old");
  }
  EXPECT_EQ(CountFiles(), 2) << "nothing is left behind";
}

TEST_F(XmlFileTest, LoadTellsWhyItFailed) {
  Write("\xEF\xBB\xBF<a/>");
  MXmlDocument document;
  EXPECT_TRUE(document.LoadFile(path_.wstring()));
  EXPECT_EQ(document.GetDocumentText(), L"<a/>");
  document.SetLengthLimit(3);
  const auto expectFailure = [&](const char* bytes, const wchar_t* error) {
    Write(bytes);
    EXPECT_FALSE(document.LoadFile(path_.wstring())) << bytes;
    EXPECT_EQ(document.GetErrorText(), error);
    EXPECT_EQ(document.GetDocumentText(), L"");
    document.ClearErrorText();
  };
  expectFailure("\xEF\xBB\xBF<a>\xC3</a>", L"File is not UTF-8 at byte 6");
  expectFailure("", L"Empty document");
  expectFailure("<abcdefghijk/>", L"Document too long");
  const std::wstring missing = (folder_ / "missing.xml").wstring();
  EXPECT_FALSE(document.LoadFile(missing));
  EXPECT_EQ(document.GetErrorText(), L"File cannot be read");
  EXPECT_FALSE(MInFilerTaggedXml::FromFile(missing)->IsValid());
}

}  // namespace
