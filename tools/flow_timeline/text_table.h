// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

namespace FlowTimeline {

/// The number of a text in a table.
using TextId = std::uint32_t;
/// The empty text.
inline constexpr TextId kNoText = 0;

/// Texts by number, each held once. Thread-compatible.
class TextTable {
 public:
  TextTable() { Add({}); }
  TextTable(TextTable&&) = default;
  TextTable& operator=(TextTable&&) = default;

  /// Returns the text's number, a new one when the table did not hold it.
  TextId Add(std::string_view text) {
    const auto known = ids_.find(text);
    if (known != ids_.end()) return known->second;
    const auto id = static_cast<TextId>(texts_.size());
    ids_.emplace(texts_.emplace_back(text), id);
    return id;
  }
  /// `id` must be a number that `Add` returned.
  [[nodiscard]] const std::string& operator[](TextId id) const { return texts_[id]; }
  [[nodiscard]] const std::deque<std::string>& GetTexts() const noexcept { return texts_; }

 private:
  std::deque<std::string> texts_;                     // which keeps its elements where they are
  std::unordered_map<std::string_view, TextId> ids_;  // of texts in texts_
};

}  // namespace FlowTimeline
