// SPDX-License-Identifier: MIT
#include "tests/support/registry_seam.h"

#include <algorithm>
#include <cstring>

#include "orvel/platform/registry_api.h"
#include "orvel/platform/windows_api.h"

namespace Orvel::Testing {
namespace {

using Orvel::Detail::RegistryApi;
using Orvel::Detail::SystemRegistryApi;
using Call = RegistrySeam::Call;

RegistrySeam* current = nullptr;

std::uint32_t Record(Call call, const std::function<std::uint32_t()>& proceed) {
  const bool refused = current->refuses && current->refuses(call);
  call.status = refused ? std::uint32_t{ERROR_ACCESS_DENIED} : proceed();
  const bool opens = call.kind == Call::Kind::kOpen || call.kind == Call::Kind::kCreate;
  if (opens && call.status == ERROR_SUCCESS) ++current->opened;
  current->calls.push_back(call);
  return call.status;
}

std::uint32_t OpenKey(void* parent, const wchar_t* path, std::uint32_t access, void** key) {
  return Record({Call::Kind::kOpen, path, access},
                [&] { return SystemRegistryApi().openKey(parent, path, access, key); });
}

std::uint32_t CreateKey(void* parent, const wchar_t* path, std::uint32_t access, void** key) {
  return Record({Call::Kind::kCreate, path, access},
                [&] { return SystemRegistryApi().createKey(parent, path, access, key); });
}

std::uint32_t CloseKey(void* key) {
  ++current->closed;
  return SystemRegistryApi().closeKey(key);
}

std::uint32_t QueryValue(void* key, const wchar_t* name, std::uint32_t* type, void* data,
                         std::uint32_t* sizeInBytes) {
  return Record({Call::Kind::kQuery, name}, [&]() -> std::uint32_t {
    if (!current->finds) {
      return SystemRegistryApi().queryValue(key, name, type, data, sizeInBytes);
    }
    const RawRegistryValue value = current->finds();
    const std::uint32_t capacity = *sizeInBytes;
    *type = value.type;
    *sizeInBytes = static_cast<std::uint32_t>(value.bytes.size());
    if (value.bytes.size() > capacity) return ERROR_MORE_DATA;
    auto* const buffer = static_cast<std::uint8_t*>(data);
    std::copy(value.bytes.begin(), value.bytes.end(), buffer);
    // A scalar's buffer keeps what was in it, as with the system; text behind the data would show.
    if (capacity > sizeof(std::uint32_t)) {
      std::memset(buffer + value.bytes.size(), 'x', capacity - value.bytes.size());
    }
    return ERROR_SUCCESS;
  });
}

std::uint32_t SetValue(void* key, const wchar_t* name, std::uint32_t type, const void* data,
                       std::uint32_t sizeInBytes) {
  return Record({Call::Kind::kSet, name},
                [&] { return SystemRegistryApi().setValue(key, name, type, data, sizeInBytes); });
}

constexpr RegistryApi kSeamApi = {OpenKey, CreateKey, CloseKey, QueryValue, SetValue};

}  // namespace

RegistrySeam::RegistrySeam() {
  current = this;
  Orvel::Detail::ReplaceRegistryApi(&kSeamApi);
}

RegistrySeam::~RegistrySeam() {
  Orvel::Detail::ReplaceRegistryApi(nullptr);
  current = nullptr;
}

}  // namespace Orvel::Testing
