// SPDX-License-Identifier: MIT
#include "orvel/diagnostics/crash_file.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>

#include "orvel/foundation/utf8.h"
#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

std::uint32_t CrashFile::Open(const wchar_t* path) noexcept {
  handle_.Reset(::CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                              CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!handle_) return ::GetLastError();
  error_ = 0;
  setp(buffer_.data(), buffer_.data() + buffer_.size());
  return 0;
}

std::uint32_t CrashFile::Close() noexcept {
  static_cast<void>(sync());
  if (error_ == 0 && ::FlushFileBuffers(handle_.Get()) == FALSE) error_ = ::GetLastError();
  handle_.Close();
  return error_;
}

CrashFile& CrashFile::operator<<(std::string_view text) noexcept {
  for (const char c : text) {
    const bool isControl = static_cast<unsigned char>(c) < 0x20 || c == '\x7F';
    static_cast<void>(sputc(isControl ? ' ' : c));
  }
  return *this;
}

CrashFile& CrashFile::operator<<(std::wstring_view text) noexcept {
  constexpr std::size_t kUnits = 128;
  while (!text.empty()) {
    std::size_t units = (std::min)(text.size(), kUnits);
    // Both halves of a pair go together.
    const std::uint32_t last = text[units - 1];
    if (units < text.size() && last >= kFirstSurrogate && last < kFirstLowSurrogate) --units;
    char bytes[kUnits * 3];
    const int length =
        ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(units), bytes,
                              static_cast<int>(std::size(bytes)), nullptr, nullptr);
    *this << std::string_view(bytes, static_cast<std::size_t>((std::max)(length, 0)));
    text.remove_prefix(units);
  }
  return *this;
}

CrashFile& CrashFile::AddDecimal(std::uint64_t number) noexcept {
  char digits[24];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
  return *this << std::string_view(digits, static_cast<std::size_t>(end - digits));
}

CrashFile& CrashFile::AddHex(std::uint64_t number, int digits) noexcept {
  *this << "0x";
  while (digits-- > 0) {
    static_cast<void>(sputc("0123456789ABCDEF"[(number >> (4 * digits)) & 0xF]));
  }
  return *this;
}

void CrashFile::EndLine() noexcept {
  static_cast<void>(sputc('\n'));
  static_cast<void>(sync());
}

CrashFile::int_type CrashFile::overflow(int_type character) {
  if (sync() != 0) return traits_type::eof();
  if (!traits_type::eq_int_type(character, traits_type::eof())) {
    *pptr() = traits_type::to_char_type(character);
    pbump(1);
  }
  return traits_type::not_eof(character);
}

int CrashFile::sync() {
  const char* next = pbase();
  while (next != pptr() && error_ == 0) {
    DWORD written = 0;
    if (::WriteFile(handle_.Get(), next, static_cast<DWORD>(pptr() - next), &written, nullptr) ==
        FALSE) {
      error_ = ::GetLastError();
    } else if (written == 0) {
      error_ = ERROR_DISK_FULL;
    }
    next += written;
  }
  setp(buffer_.data(), buffer_.data() + buffer_.size());
  return error_ == 0 ? 0 : -1;
}

}  // namespace Orvel::Detail
