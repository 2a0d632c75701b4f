// SPDX-License-Identifier: MIT
// Chains as XML text. By itself, because it brings the XML document along: into programs that use
// it, and not into every one that raises errors.
#include <utility>

#include "orvel/filers/in_filer_tagged_xml.h"
#include "orvel/filers/out_filer_tagged_xml.h"
#include "orvel/foundation/chain_text.h"
#include "orvel/foundation/exception.h"

namespace {

constexpr const wchar_t* kChainElement = L"Exception";

void AppendChainText(MException& chain, std::wstring text) {
  chain.AppendChainXml(std::move(text));
}

// Where this file is part of a program, errors get their chain texts read.
[[maybe_unused]] const bool isInUse = (Orvel::Detail::UseChainTexts(), true);

}  // namespace

void Orvel::Detail::UseChainTexts() noexcept { SetChainTextReader(&AppendChainText); }

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
  for (auto& error : inner.errors_) errors_.push_back(std::move(error));
  return true;
}
