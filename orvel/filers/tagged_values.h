// SPDX-License-Identifier: MIT
#pragma once

// One function that writes and one that reads tagged values of many types, in every store. Uses
// only the public operations of IOutFilerTagged and IInFilerTagged.

#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <ratio>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "orvel/filers/in_filer_tagged.h"
#include "orvel/filers/out_filer_tagged.h"
#include "orvel/foundation/whole_number.h"

namespace Orvel::Detail {

[[nodiscard]] std::wstring TaggedText(std::int64_t value);
[[nodiscard]] std::wstring TaggedText(std::uint64_t value);
[[nodiscard]] std::wstring TaggedText(std::span<const std::byte> bytes);
[[nodiscard]] std::wstring TaggedDurationText(std::int64_t ticks, std::intmax_t numerator,
                                              std::intmax_t denominator);

// These return false, with the destination unchanged, when the text is not one that the functions
// above write, or its value does not fit.
[[nodiscard]] bool ParseTaggedText(std::wstring_view text, std::int64_t& value) noexcept;
[[nodiscard]] bool ParseTaggedText(std::wstring_view text, std::uint64_t& value) noexcept;
[[nodiscard]] bool ParseTaggedText(std::wstring_view text, std::vector<std::byte>& bytes);
[[nodiscard]] bool ParseTaggedDuration(std::wstring_view text, std::intmax_t numerator,
                                       std::intmax_t denominator, std::int64_t& ticks) noexcept;

/// Enumerations that are declared with an underlying type, so that each of its numbers is a value.
template <class Value>
concept TaggedEnumeration = std::is_enum_v<Value> && requires {
  Value{0};
};

template <class Value>
inline constexpr bool kIsTaggedDuration = false;
template <class Rep, class Period>
inline constexpr bool kIsTaggedDuration<std::chrono::duration<Rep, Period>> = WholeNumber<Rep>;

template <class Value>
concept TaggedScalar =
    std::same_as<Value, bool> || std::same_as<Value, char> || std::same_as<Value, double> ||
    std::same_as<Value, float> || WholeNumber<Value> || TaggedEnumeration<Value> ||
    kIsTaggedDuration<Value> || std::same_as<Value, std::filesystem::path>;

template <class Value>
concept TaggedWritable =
    TaggedScalar<Value> || std::convertible_to<const Value&, std::wstring_view> ||
    std::convertible_to<const Value&, std::span<const std::byte>>;

template <class Value>
concept TaggedReadable = TaggedScalar<Value> || std::same_as<Value, std::wstring> ||
    std::same_as<Value, std::vector<std::byte>>;

/// The type that an integer is stored as. A signed one of 8 bits takes 16: there is no such kind.
template <WholeNumber Value>
using TaggedStored = std::conditional_t<
    std::is_signed_v<Value>,
    std::conditional_t<(sizeof(Value) <= 2), std::int16_t,
                       std::conditional_t<sizeof(Value) == 4, std::int32_t, std::int64_t>>,
    std::conditional_t<
        sizeof(Value) == 1, std::uint8_t,
        std::conditional_t<sizeof(Value) == 2, std::uint16_t,
                           std::conditional_t<sizeof(Value) == 4, std::uint32_t, std::uint64_t>>>>;

/// The type of an enumerator's number.
template <TaggedEnumeration Value, class Number = std::underlying_type_t<Value>>
using TaggedNumber = typename std::conditional_t<
    std::same_as<Number, bool>, std::type_identity<std::uint8_t>,
    std::conditional_t<std::is_signed_v<Number>, std::make_signed<Number>,
                       std::make_unsigned<Number>>>::type;

template <WholeNumber Value>
bool WriteTaggedInteger(IOutFilerTagged& out, const std::wstring& tag, Value value) {
  using Stored = TaggedStored<Value>;
  const auto stored = static_cast<Stored>(value);
  if constexpr (std::same_as<Stored, std::uint8_t>) {
    return out.WriteByte(tag, stored);
  } else if constexpr (std::same_as<Stored, std::uint16_t>) {
    return out.WriteUnsignedShort(tag, stored);
  } else if constexpr (std::same_as<Stored, std::int16_t>) {
    return out.WriteShort(tag, stored);
  } else if constexpr (std::same_as<Stored, std::uint32_t>) {
    return out.WriteUnsignedInt(tag, stored);
  } else if constexpr (std::same_as<Stored, std::int32_t>) {
    return out.WriteInt(tag, stored);
  } else {
    return out.WriteString(tag, TaggedText(stored));
  }
}

template <WholeNumber Value>
bool ReadTaggedInteger(IInFilerTagged& in, const std::wstring& tag, Value& value) {
  using Stored = TaggedStored<Value>;
  Stored stored = 0;
  bool isRead = false;
  if constexpr (std::same_as<Stored, std::uint8_t>) {
    isRead = in.ReadByte(tag, stored, 0);
  } else if constexpr (std::same_as<Stored, std::uint16_t>) {
    isRead = in.ReadUnsignedShort(tag, stored, 0);
  } else if constexpr (std::same_as<Stored, std::int16_t>) {
    isRead = in.ReadShort(tag, stored, 0);
  } else if constexpr (std::same_as<Stored, std::uint32_t>) {
    isRead = in.ReadUnsignedInt(tag, stored, 0);
  } else if constexpr (std::same_as<Stored, std::int32_t>) {
    isRead = in.ReadInt(tag, stored, 0);
  } else {
    std::wstring text;
    isRead = in.ReadString(tag, text, {}) && ParseTaggedText(text, stored);
  }
  if (!isRead || !std::in_range<Value>(stored)) return false;
  value = static_cast<Value>(stored);
  return true;
}

/// Returns false, with `value` unchanged, when there is no such value.
template <class Value>
bool ReadTaggedValue(IInFilerTagged& in, const std::wstring& tag, Value& value) {
  if constexpr (std::same_as<Value, bool>) {
    // Through a variable of its own: the registry's reader sets it also when it returns false.
    bool flag = false;
    if (!in.ReadBool(tag, flag, false)) return false;
    value = flag;
    return true;
  } else if constexpr (WholeNumber<Value>) {
    return ReadTaggedInteger(in, tag, value);
  } else if constexpr (std::is_enum_v<Value>) {
    TaggedNumber<Value> number{};
    if (!ReadTaggedInteger(in, tag, number)) return false;
    value = static_cast<Value>(number);
    return true;
  } else {
    std::wstring text;
    if (!in.ReadString(tag, text, {})) return false;
    if constexpr (std::same_as<Value, std::filesystem::path>) {
      value = std::move(text);
      return true;
    } else if constexpr (kIsTaggedDuration<Value>) {
      using Period = typename Value::period::type;
      using Rep = typename Value::rep;
      std::int64_t ticks = 0;
      if (!ParseTaggedDuration(text, Period::num, Period::den, ticks) ||
          !std::in_range<Rep>(ticks)) {
        return false;
      }
      value = Value(static_cast<Rep>(ticks));
      return true;
    } else {
      return ParseTaggedText(text, value);
    }
  }
}

}  // namespace Orvel::Detail

/// Writes `value` under `tag`. Returns what the filer's operation returns. By the type of the
/// value:
///
/// - `bool`, `char`, `double`, `float` and integers of up to 32 bits, `long` included, use the
///   operation for that kind; `signed char` uses the one for 16 bits. Other character types do not
///   compile.
/// - Enumerations with an underlying type, such as every `enum class`, are written as their number.
/// - Whatever converts to `std::wstring_view` is a string: `std::wstring`, a literal, a
///   `const wchar_t*`, which must not be null.
///
/// The following are strings in every store:
///
/// - Integers of 64 bits in decimal: "-42".
/// - `std::filesystem::path` as its native text.
/// - `std::chrono::duration` with a whole number of ticks as that number and their unit, "ns",
///   "us", "ms", "s", "min", "h" or "d": "1500 ms". Other units are written as fractions of a
///   second: "25 [1/30]s". More than 2^63 - 1 ticks are refused, with false.
/// - What converts to `std::span<const std::byte>` as two hexadecimal digits a byte: "00ff7a".
///
/// Raises only `std::bad_alloc`. Thread-unsafe, like the filer.
template <Orvel::Detail::TaggedWritable Value>
bool WriteTagged(IOutFilerTagged& out, std::wstring_view tag, const Value& value) {
  using Orvel::Detail::TaggedText;
  const std::wstring name(tag);
  if constexpr (std::same_as<Value, bool>) {
    return out.WriteBool(name, value);
  } else if constexpr (std::same_as<Value, char>) {
    return out.WriteChar(name, value);
  } else if constexpr (std::same_as<Value, double>) {
    return out.WriteDouble(name, value);
  } else if constexpr (std::same_as<Value, float>) {
    return out.WriteFloat(name, value);
  } else if constexpr (Orvel::Detail::WholeNumber<Value>) {
    return Orvel::Detail::WriteTaggedInteger(out, name, value);
  } else if constexpr (std::is_enum_v<Value>) {
    return Orvel::Detail::WriteTaggedInteger(
        out, name, static_cast<Orvel::Detail::TaggedNumber<Value>>(value));
  } else if constexpr (std::same_as<Value, std::filesystem::path>) {
    return out.WriteString(name, value.wstring());
  } else if constexpr (Orvel::Detail::kIsTaggedDuration<Value>) {
    using Period = typename Value::period::type;
    return std::in_range<std::int64_t>(value.count()) &&
           out.WriteString(
               name, Orvel::Detail::TaggedDurationText(static_cast<std::int64_t>(value.count()),
                                                       Period::num, Period::den));
  } else if constexpr (std::same_as<Value, std::wstring>) {
    return out.WriteString(name, value);
  } else if constexpr (std::convertible_to<const Value&, std::wstring_view>) {
    return out.WriteString(name, std::wstring(static_cast<std::wstring_view>(value)));
  } else {
    return out.WriteString(name, TaggedText(std::span<const std::byte>(value)));
  }
}

/// Reads what `WriteTagged` wrote for a value of that type. Returns false, with `value` set to the
/// default, when there is none or it cannot be converted.
///
/// Where `WriteTagged` writes a string, the whole string must fit: a number with anything before or
/// behind it, a number out of range, a duration that is not a whole number of ticks of the type,
/// and an odd number of hexadecimal digits are refused. A duration may have been written in another
/// unit. The number of an enumeration need not be one of its enumerators.
///
/// Strings are read into `std::wstring`, bytes into `std::vector<std::byte>`, everything else into
/// the type that was written. Raises only `std::bad_alloc`; then `value` is unchanged or the
/// default. Thread-unsafe, like the filer.
template <Orvel::Detail::TaggedReadable Value>
bool ReadTagged(IInFilerTagged& in, std::wstring_view tag, Value& value,
                const std::type_identity_t<Value>& defaultValue) {
  const std::wstring name(tag);
  if constexpr (std::same_as<Value, std::wstring>) {
    return in.ReadString(name, value, defaultValue);
  } else if constexpr (std::same_as<Value, char>) {
    return in.ReadChar(name, value, defaultValue);
  } else if constexpr (std::same_as<Value, double>) {
    return in.ReadDouble(name, value, defaultValue);
  } else if constexpr (std::same_as<Value, float>) {
    return in.ReadFloat(name, value, defaultValue);
  } else {
    value = defaultValue;
    return Orvel::Detail::ReadTaggedValue(in, name, value);
  }
}

/// The short form: returns the value, or the default when it could not be read.
///
///     const auto width = ReadTagged<std::int32_t>(in, L"Width", 640);
template <Orvel::Detail::TaggedReadable Value>
[[nodiscard]] Value ReadTagged(IInFilerTagged& in, std::wstring_view tag,
                               const std::type_identity_t<Value>& defaultValue) {
  Value value{};
  ReadTagged(in, tag, value, defaultValue);
  return value;
}
