// SPDX-License-Identifier: MIT
#pragma once

#include <locale>
#include <memory>
#include <string>

struct tm;

/// Number formatting that does not depend on the user: a stream locale that writes a decimal point
/// and never groups digits, and a C runtime locale of the same name.
///
/// Immutable after construction, so any thread may use one.
class MLocale {
 public:
  /// Number punctuation of the framework: one decimal point, no grouping; the rest is that of the
  /// "C" locale, whatever the global locale is. Immutable.
  class DecimalSeparatorOnly : public std::numpunct<wchar_t> {
   public:
    /// A facet with the given decimal point.
    explicit DecimalSeparatorOnly(wchar_t decimalPoint) : decimalPoint_(decimalPoint) {}

   protected:
    ///@{
    /// The decimal point given, no grouping, and the "C" locale's other words.
    [[nodiscard]] char_type do_decimal_point() const override { return decimalPoint_; }
    [[nodiscard]] char_type do_thousands_sep() const override { return L','; }
    [[nodiscard]] std::string do_grouping() const override { return {}; }
    [[nodiscard]] string_type do_truename() const override { return L"true"; }
    [[nodiscard]] string_type do_falsename() const override { return L"false"; }
    ///@}

   private:
    const wchar_t decimalPoint_;
  };

  /// Builds both locales for `name`, repaired (`RepairLocaleName`); null stands for the empty name.
  /// Raises "BadCppLocale" (parameters "errorMessage", "name") when the standard library does not
  /// know the name and "BadCLocale" ("name") when the C runtime does not.
  explicit MLocale(const char* name);
  MLocale(const MLocale&) = delete;
  MLocale& operator=(const MLocale&) = delete;

  /// Returns the framework's instance, for the name "C". It is built on first use and never
  /// destroyed, so that destructors of global objects may use it too. When building it fails, the
  /// caller gets the error and the next call tries again. Any thread.
  [[nodiscard]] static const MLocale& Instance();

  /// Returns the locale to imbue into streams that write or read numbers.
  [[nodiscard]] const std::locale& GetNumberLocale() const noexcept { return numberLocale_; }
  /// Returns the handle (`_locale_t`) for the C runtime's conversions; this object owns it.
  [[nodiscard]] void* GetCLocale() const noexcept { return cLocale_.get(); }
  /// Returns the name as the standard library reports it, repaired.
  [[nodiscard]] const std::string& GetName() const noexcept { return name_; }

  /// Returns `name` with the long country names that the C runtime reports but does not accept
  /// replaced by their codes, the first occurrence of each. Returns the empty string for null.
  [[nodiscard]] static std::string RepairLocaleName(const char* name);

  /// Reads a time as the POSIX function `strptime` does in the "C" locale, for wide text. Returns
  /// the first character not consumed, or null when the input does not match; fields that were
  /// read before that stay set. An empty format returns `input`.
  ///
  /// Differences from POSIX, all intended: "%p" is not known, so "%r" always fails; "%C" stores
  /// the century times 100 without taking 1900 away; "%U" and "%W" are read and dropped; "%k" and
  /// "%l" are taken as "%H" and "%I".
  [[nodiscard]] static const wchar_t* ParseTime(const wchar_t* input, const wchar_t* format,
                                                tm* result);

 private:
  struct CLocaleDeleter {
    void operator()(void* locale) const noexcept;
  };

  std::string name_;
  std::unique_ptr<void, CLocaleDeleter> cLocale_;
  std::locale baseLocale_;
  std::locale numberLocale_;
};
