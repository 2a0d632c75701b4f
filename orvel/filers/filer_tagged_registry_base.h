// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "orvel/filers/section_balance.h"

namespace Orvel::Detail {
class RegistryKey;
}

/// The predefined key below which a registry filer keeps its values.
enum class MRegistryRoot : std::uint32_t {
  kCurrentUser,  ///< HKEY_CURRENT_USER\Software\Orvel: settings of one user
  kLocalMachine  ///< HKEY_LOCAL_MACHINE\Software\Wow6432Node\Orvel: settings of all users, which
                 ///< 32-bit and 64-bit programs share; writing needs an administrator's rights
};

/// What the writer and the reader of tagged values in the registry have in common: where the values
/// are, which sections are open, and the change stamp. Used through `IOutFilerTaggedRegistry` and
/// `IInFilerTaggedRegistry`.
///
/// A value is stored under its tag in the key of the open sections: below the root, the software
/// key and the framework's key is the application key, and below that a key for each section, the
/// outermost first. No key stays open between two operations. So several filers, also in different
/// processes, may use the same keys at once; each value is read and written as a whole.
///
/// The registry keeps the case of names but ignores it when it compares them. A `\` in a section's
/// tag nests: `A\B` is the section B of the section A. Any tag can be opened as a section. But when
/// a name in it is empty, longer than 255 characters or holds a zero character, it cannot be a key:
/// every operation on a value in that section or below it then returns false. The tag of a value
/// may be empty, which means the key's default value; a `\` in it is an ordinary character. A
/// value's tag that has more than 16383 characters or holds a zero character is refused. The
/// registry itself refuses more than 512 levels.
///
/// Thread-unsafe.
class IFilerTaggedRegistryBase {
 public:
  IFilerTaggedRegistryBase(const IFilerTaggedRegistryBase&) = delete;
  IFilerTaggedRegistryBase& operator=(const IFilerTaggedRegistryBase&) = delete;

  /// Returns the number that this filer got when it last ended a section; 0 before the first. All
  /// registry filers of the process share one counter, which goes up by one each time.
  [[nodiscard]] std::uint32_t GetChangeStamp() const noexcept { return changeStamp_; }

 protected:
  /// `applicationKey` is the path of the application's key below the framework's key; its levels
  /// are separated by `\`.
  IFilerTaggedRegistryBase(MRegistryRoot root, std::wstring applicationKey);
  ~IFilerTaggedRegistryBase();

  /// A way to open one key below another.
  using OpenOperation = Orvel::Detail::RegistryKey (*)(void* parent, const wchar_t* path);
  ///@{
  /// The ways there are. Each returns an empty object when the key cannot be opened.
  static Orvel::Detail::RegistryKey OpenToRead(void* parent, const wchar_t* path);
  static Orvel::Detail::RegistryKey CreateToReadAndWrite(void* parent, const wchar_t* path);
  ///@}
  /// As `CreateToReadAndWrite`, but only to read where writing is refused.
  static Orvel::Detail::RegistryKey CreateToReadAtLeast(void* parent, const wchar_t* path);

  /// Opens the key of the open sections. The keys on the way there are opened with the operation
  /// given for their part of the path. Returns an empty object when one cannot be opened.
  [[nodiscard]] Orvel::Detail::RegistryKey OpenValueKey(OpenOperation frameworkKey,
                                                        OpenOperation applicationKey,
                                                        OpenOperation sectionKeys) const;

  /// Opens a section. When memory runs out, it is not open.
  void BeginTag(std::wstring_view tag);
  /// Closes the innermost section and takes a new change stamp. Returns false when none is open.
  bool EndTag() noexcept;
  /// Closes the innermost section as if it had never been opened.
  void DropTag() noexcept;
  /// Returns the number of open sections.
  [[nodiscard]] std::size_t GetDepth() const noexcept { return openTags_.size(); }

  /// Returns `succeeded`, and remembers a failure: a section that is still open when the filer is
  /// destroyed is not reported as a mistake then.
  bool Note(bool succeeded) noexcept { return balance_.Note(succeeded); }

  /// Returns true when `tag` can be the name of a value.
  [[nodiscard]] static bool IsValueName(const std::wstring& tag) noexcept;

 private:
  struct OpenTag {
    std::size_t pathLength;  // of the sections around it
    bool canNameKeys;        // and so can all around it
  };

  [[nodiscard]] bool CanNameKeys() const noexcept {
    return openTags_.empty() || openTags_.back().canNameKeys;
  }

  const MRegistryRoot root_;
  const std::wstring applicationKey_;  // empty when it cannot name a key
  std::vector<OpenTag> openTags_;      // the outermost first
  std::wstring path_;                  // the tags, each with a separator before it
  std::uint32_t changeStamp_ = 0;
  Orvel::Detail::SectionBalance balance_;
};
