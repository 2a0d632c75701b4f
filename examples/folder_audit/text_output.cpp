// SPDX-License-Identifier: MIT
#include "folder_audit/text_output.h"

#include <algorithm>
#include <new>
#include <string>

#include "folder_audit/windows_api.h"
#include "orvel/foundation/system_error.h"

namespace FolderAudit {
namespace {

constexpr const wchar_t* kClassName = L"TextOutput";
constexpr std::size_t kDefaultWidth = 80;
constexpr std::size_t kPieceLength = 8192;  // the console takes no more than 64 KB at a time

HANDLE StandardHandle(TextOutput::Stream stream) noexcept {
  return ::GetStdHandle(stream == TextOutput::Stream::kOutput ? STD_OUTPUT_HANDLE
                                                              : STD_ERROR_HANDLE);
}

bool IsConsoleHandle(HANDLE handle) noexcept {
  DWORD mode = 0;
  return ::GetConsoleMode(handle, &mode) != FALSE;
}

std::string ToUtf8(std::wstring_view text) {
  std::string utf8(3 * text.size(), '\0');  // no unit of UTF-16 takes more
  const int length =
      ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), utf8.data(),
                            static_cast<int>(utf8.size()), nullptr, nullptr);
  utf8.resize(static_cast<std::size_t>(length));
  return utf8;
}

/// The length of the first piece of `text`, which does not part a surrogate pair.
std::size_t PieceLength(std::wstring_view text) noexcept {
  if (text.size() <= kPieceLength) return text.size();
  return IS_HIGH_SURROGATE(text[kPieceLength - 1]) ? kPieceLength - 1 : kPieceLength;
}

}  // namespace

TextOutput::TextOutput(Stream stream)
    : handle_(StandardHandle(stream)), isConsole_(IsConsoleHandle(handle_)) {
  NameFlowObject(this, stream == Stream::kOutput ? L"Standard output" : L"Standard error");
}

std::size_t TextOutput::GetWidth() const noexcept {
  CONSOLE_SCREEN_BUFFER_INFO information;
  if (!::GetConsoleScreenBufferInfo(handle_, &information)) return kDefaultWidth;
  return static_cast<std::size_t>((std::max<int>)(information.dwSize.X, 1));
}

void TextOutput::Write(std::wstring_view text) {
  static MSourceContext context(kClassName, L"Write");
  const std::uint32_t code = WriteText(text);
  if (code != ERROR_SUCCESS) {
    RaiseSystemError(context.At(__LINE__, this), L"CannotWrite", code);
  }
}

void TextOutput::WriteIfPossible(std::wstring_view text) noexcept {
  try {
    static_cast<void>(WriteText(text));
  } catch (const std::bad_alloc&) {
    // As good as a write that failed.
  }
}

std::uint32_t TextOutput::WriteText(std::wstring_view text) const {
  if (handle_ == nullptr || handle_ == INVALID_HANDLE_VALUE) return ERROR_SUCCESS;
  while (!text.empty()) {
    const std::wstring_view piece = text.substr(0, PieceLength(text));
    text.remove_prefix(piece.size());
    DWORD written = 0;
    if (isConsole_) {
      if (!::WriteConsoleW(handle_, piece.data(), static_cast<DWORD>(piece.size()), &written,
                           nullptr)) {
        return ::GetLastError();
      }
      continue;
    }
    const std::string utf8 = ToUtf8(piece);
    for (std::size_t done = 0; done < utf8.size(); done += written) {
      if (!::WriteFile(handle_, utf8.data() + done, static_cast<DWORD>(utf8.size() - done),
                       &written, nullptr)) {
        return ::GetLastError();
      }
      if (written == 0) return ERROR_DISK_FULL;
    }
  }
  return ERROR_SUCCESS;
}

}  // namespace FolderAudit
