// SPDX-License-Identifier: MIT
#pragma once

class IInFilerTagged;
class IOutFilerTagged;

/// A tagged reader, a tagged writer, or both, as errors and exceptions take them: elements are
/// opened and closed in every member that is there. Borrows its members. A value;
/// thread-compatible.
struct MFilerPair {
  IInFilerTagged* in = nullptr;    ///< the reader, null for none
  IOutFilerTagged* out = nullptr;  ///< the writer, null for none
};
