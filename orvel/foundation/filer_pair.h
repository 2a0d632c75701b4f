// SPDX-License-Identifier: MIT
#pragma once

class IInFilerTagged;
class IOutFilerTagged;

/// A tagged reader, a tagged writer, or both, as errors and exceptions take them. Pass the one that
/// is needed: with both, sections are opened and closed in both, while texts are read from the
/// reader and written to the writer. Borrows its members. A value; thread-compatible.
struct MFilerPair {
  IInFilerTagged* in = nullptr;    ///< the reader, null for none
  IOutFilerTagged* out = nullptr;  ///< the writer, null for none
};
