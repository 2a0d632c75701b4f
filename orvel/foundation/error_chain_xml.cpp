// SPDX-License-Identifier: MIT
// Chains as XML text. A file of its own, because it needs the XML document: that becomes part of
// the programs that use such texts or derive from MError, not of all that raise errors.
#include <iterator>
#include <utility>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/foundation/exception.h"

namespace {

constexpr const wchar_t* kChainElement = L"Exception";

}  // namespace

void Orvel::Detail::ReadChainText(MException& chain, std::wstring text) {
  chain.AppendChainXml(std::move(text));
}

std::wstring MException::GetChainXml() const {
  MOutFilerTaggedXml filer;
  if (!WriteChain({nullptr, &filer}, kChainElement)) return {};
  return filer.TakeText();
}

bool MException::AppendChainXml(std::wstring xmlText) {
  MInFilerTaggedXml filer(std::move(xmlText));
  MException inner;
  if (!filer.BeginSection(kChainElement) || !inner.ReadChain({&filer, nullptr}) ||
      !filer.EndSection()) {
    return false;
  }
  errors_.insert(errors_.end(), std::move_iterator(inner.errors_.begin()),
                 std::move_iterator(inner.errors_.end()));
  return true;
}
