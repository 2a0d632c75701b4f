// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/store/wide_buffer.h"

#include <algorithm>
#include <utility>

namespace Orvel::Detail {

// Not in the header, so that appending stays short where it is inlined.
void WideBuffer::Grow(std::size_t count) {
  const std::size_t capacity = (std::max)(size_ + count, capacity_ * 2 + 64);
  auto data = std::make_unique_for_overwrite<wchar_t[]>(capacity);
  std::copy_n(data_.get(), size_, data.get());
  data_ = std::move(data);
  capacity_ = capacity;
}

}  // namespace Orvel::Detail
