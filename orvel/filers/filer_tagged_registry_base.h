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
/// A value is stored under its tag in the key of the sections that are open: below the root, the
/// software key and the framework's key comes the application key, then a key for each section, the
/// outermost first. No key stays open between two operations, so several filers, processes too, may
/// use the same keys at once; each value is then read and written whole.
///
/// Names are those of the registry, which keeps their case but does not tell them apart by it. A
/// `\` in a section's tag nests: `A\B` is the section B of the section A. A section can be opened
/// with any tag, but when a name in it is empty, longer than 255 characters or holds a zero
/// character, no key can be meant: until that section is closed, every value in it and below is
/// refused, with false. A value's tag may be empty, which names the key's default value, may hold
/// `\`, which means nothing there, and has up to 16383 characters without zero characters; others
/// are refused. The registry itself refuses more than 512 levels.
///
/// Thread-unsafe.
class IFilerTaggedRegistryBase {
 public:
  IFilerTaggedRegistryBase(const IFilerTaggedRegistryBase&) = delete;
  IFilerTaggedRegistryBase& operator=(const IFilerTaggedRegistryBase&) = delete;

  /// The number that this filer took when it last ended a section, from a count that all registry
  /// filers of the process share and that goes up by one each time; 0 before the first.
  [[nodiscard]] std::uint32_t GetChangeStamp() const noexcept { return changeStamp_; }

 protected:
  /// `applicationKey` is the key below the framework's own, several levels with `\` between them.
  IFilerTaggedRegistryBase(MRegistryRoot root, std::wstring applicationKey);
  ~IFilerTaggedRegistryBase();

  /// How one key is opened below another.
  using OpenOperation = Orvel::Detail::RegistryKey (*)(void* parent, const wchar_t* path);
  ///@{
  /// The ways to open one.
  static Orvel::Detail::RegistryKey OpenToRead(void* parent, const wchar_t* path);
  static Orvel::Detail::RegistryKey CreateToReadAndWrite(void* parent, const wchar_t* path);
  ///@}
  /// `CreateToReadAndWrite`, to read only where that is refused.
  static Orvel::Detail::RegistryKey CreateToReadAtLeast(void* parent, const wchar_t* path);

  /// Opens the key of the open sections, each stretch of the way with the operation given for it.
  /// Empty when any cannot be opened.
  [[nodiscard]] Orvel::Detail::RegistryKey OpenValueKey(OpenOperation frameworkKey,
                                                        OpenOperation applicationKey,
                                                        OpenOperation sectionKeys) const;

  /// Opens a section. When memory runs out it stays closed.
  void BeginTag(std::wstring_view tag);
  /// Closes the section opened last and takes a new change stamp; false when none is open.
  bool EndTag() noexcept;
  /// Closes the section opened last as if it had not been opened.
  void DropTag() noexcept;
  /// Number of sections that are open.
  [[nodiscard]] std::size_t GetDepth() const noexcept { return openTags_.size(); }

  /// Takes note of what an operation returns, and returns it: a section that is open when the filer
  /// is destroyed is no mistake then.
  bool Note(bool succeeded) noexcept { return balance_.Note(succeeded); }

  /// True when `tag` can name a value.
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
