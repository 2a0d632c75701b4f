// SPDX-License-Identifier: MIT
#include "orvel/filers/tagged_section.h"

#include <string>
#include <utility>

#include "orvel/filers/in_filer_tagged.h"
#include "orvel/filers/out_filer_tagged.h"

MTaggedSection::MTaggedSection(IOutFilerTagged& out, std::wstring_view tag)
    : out_(out.BeginSection(std::wstring(tag)) ? &out : nullptr) {}

MTaggedSection::MTaggedSection(IInFilerTagged& in, std::wstring_view tag)
    : in_(in.BeginSection(std::wstring(tag)) ? &in : nullptr) {}

MTaggedSection MTaggedSection::Next(IInFilerTagged& in, std::wstring_view tag) {
  return MTaggedSection(in.BeginNextSection(std::wstring(tag)) ? &in : nullptr);
}

bool MTaggedSection::Close() {
  IInFilerTagged* const in = std::exchange(in_, nullptr);
  IOutFilerTagged* const out = std::exchange(out_, nullptr);
  return in != nullptr ? in->EndSection() : out != nullptr && out->EndSection();
}
