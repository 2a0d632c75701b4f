// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "orvel/platform/wide_copy.h"

namespace Orvel::Detail {

/// A text that is built from short pieces. Copies them inline, which is faster than a call of the
/// runtime for each. Keeps its memory when it is cleared.
///
/// Thread-unsafe. When memory runs out, std::bad_alloc is raised and the text is unchanged.
class WideBuffer {
 public:
  [[nodiscard]] std::size_t GetSize() const noexcept { return size_; }
  [[nodiscard]] std::size_t GetCapacity() const noexcept { return capacity_; }
  [[nodiscard]] std::wstring_view GetView() const noexcept { return {data_.get(), size_}; }

  void Clear() noexcept { size_ = 0; }

  /// Makes room for `count` more characters.
  void Reserve(std::size_t count) {
    if (capacity_ - size_ < count) Grow(count);
  }

  void Append(wchar_t character) {
    Reserve(1);
    data_[size_++] = character;
  }

  /// Appends a piece that is not a part of this text.
  void Append(std::wstring_view piece) {
    Reserve(piece.size());
    CopyWide(piece, data_.get() + size_);
    size_ += piece.size();
  }

  /// Appends a literal.
  template <std::size_t size>
  void Append(const wchar_t (&piece)[size]) {
    Reserve(size - 1);
    for (std::size_t i = 0; i < size - 1; ++i) data_[size_ + i] = piece[i];
    size_ += size - 1;
  }

 private:
  void Grow(std::size_t count);

  std::unique_ptr<wchar_t[]> data_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace Orvel::Detail
