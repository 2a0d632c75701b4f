// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "flow_timeline/text_table.h"

namespace FlowTimeline {

/// One record of a dump. Texts are numbers in the dump's table.
struct Record {
  std::int64_t time = 0;  ///< microseconds since the dump's oldest record
  std::int32_t kind = 0, arg1 = 0, arg2 = 0, classId = 0, pointId = 0;
  std::uint64_t object = 0;
  std::uint32_t threadId = 0;
  TextId detail = kNoText;  ///< an error's or warning's label, a state's or message's name
  TextId className = kNoText;
  TextId point = kNoText;  ///< the label of the point, or its number
  TextId objectName = kNoText;
  TextId threadName = kNoText;
};

/// The content of a dump, and how much of it could not be read.
struct Dump {
  TextTable texts;
  std::vector<Record> records;  ///< as they stand in the file, the oldest first
  bool hasHead = false;
  /// When the logger was built, from the head of the dump: on the records' clock, and in
  /// microseconds since 1970 of the recording machine's local time.
  std::optional<std::int64_t> loggerTime;
  std::optional<std::int64_t> loggerWallClock;
  std::size_t skippedRecords = 0;  ///< began or ended in the file, and could not be read
  std::size_t strayLines = 0;      ///< belong to no record
  bool isCut = false;              ///< the file ends inside a record
  bool holdsAnother = false;       ///< a second dump follows in the file; it is not read
};

/// Reads the text of a flow log dump, with LF or CRLF, and continues behind damaged parts. A name
/// may contain line feeds or the words that separate names: the numbers of the record then decide
/// where it ends, since a label's number is the hash of its text. Names without such a number (of
/// states, messages, objects and threads) end at the first of these words. Takes linear time,
/// whatever the text holds. A byte of a name becomes the character of that number.
[[nodiscard]] Dump ReadDump(std::string_view text);

/// Returns an object as dumps print it: sixteen upper-case hex digits.
[[nodiscard]] std::string ObjectText(std::uint64_t object);

}  // namespace FlowTimeline
