// SPDX-License-Identifier: MIT
// hash_by_hand FOLDER: reads and hashes the files of a folder on one thread by the bare system
// calls, as one job of folder_audit does, and prints their number in its words. Ends with 1 when
// one fails.
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "orvel/platform/windows_api.h"

#include <bcrypt.h>
#include <shellapi.h>

namespace {

constexpr std::size_t kChunkSize = 256 * 1024;  // that of folder_audit

bool HashFile(BCRYPT_ALG_HANDLE algorithm, const std::wstring& path,
              std::vector<unsigned char>& buffer) {
  const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  BCRYPT_HASH_HANDLE hash = nullptr;
  bool isRight = ::BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0) >= 0;
  while (isRight) {
    DWORD count = 0;
    isRight = ::ReadFile(file, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) !=
              FALSE;
    if (!isRight || count == 0) break;
    isRight = ::BCryptHashData(hash, buffer.data(), count, 0) >= 0;
  }
  unsigned char digest[32];
  isRight = isRight && ::BCryptFinishHash(hash, digest, sizeof(digest), 0) >= 0;
  if (hash != nullptr) ::BCryptDestroyHash(hash);
  ::CloseHandle(file);
  return isRight;
}

}  // namespace

int main() {
  int argumentCount = 0;
  wchar_t** const arguments = ::CommandLineToArgvW(::GetCommandLineW(), &argumentCount);
  if (arguments == nullptr || argumentCount != 2) return 1;
  const std::wstring folder = arguments[1];

  BCRYPT_ALG_HANDLE algorithm = nullptr;
  if (::BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) < 0) return 1;
  std::vector<unsigned char> buffer(kChunkSize);
  WIN32_FIND_DATAW found;
  const HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return 1;
  int hashed = 0;
  bool isRight = true;
  do {
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) continue;
    isRight = HashFile(algorithm, folder + L"\\" + found.cFileName, buffer) && isRight;
    ++hashed;
  } while (::FindNextFileW(search, &found) != FALSE);
  ::FindClose(search);
  ::BCryptCloseAlgorithmProvider(algorithm, 0);
  std::printf("Files hashed  %d\n", hashed);
  return isRight ? 0 : 1;
}
