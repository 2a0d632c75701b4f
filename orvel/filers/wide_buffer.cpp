// SPDX-License-Identifier: MIT
#include "orvel/filers/wide_buffer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

namespace Orvel::Detail {
namespace {

constexpr std::size_t kStep = sizeof(std::uint64_t) / sizeof(wchar_t);
constexpr std::size_t kLongest = 8 * kStep;  // to be copied step by step

void CopyStep(const wchar_t* from, wchar_t* to) noexcept {
  std::uint64_t step = 0;
  std::memcpy(&step, from, sizeof step);
  std::memcpy(to, &step, sizeof step);
}

}  // namespace

void WideBuffer::Append(std::wstring_view piece) {
  const std::size_t count = piece.size();
  Reserve(count);
  const wchar_t* const from = piece.data();
  wchar_t* const to = data_.get() + size_;
  size_ += count;
  if (count > kLongest) {
    std::memcpy(to, from, count * sizeof(wchar_t));
  } else if (count < kStep) {
    for (std::size_t i = 0; i < count; ++i) to[i] = from[i];
  } else {
    for (std::size_t i = 0; i + kStep < count; i += kStep) CopyStep(from + i, to + i);
    CopyStep(from + count - kStep, to + count - kStep);
  }
}

void WideBuffer::Grow(std::size_t count) {
  const std::size_t capacity = std::max(size_ + count, capacity_ * 2 + 64);
  auto data = std::make_unique_for_overwrite<wchar_t[]>(capacity);
  std::copy_n(data_.get(), size_, data.get());
  data_ = std::move(data);
  capacity_ = capacity;
}

}  // namespace Orvel::Detail
