// SPDX-License-Identifier: MIT
#include "orvel/foundation/locale.h"

#include <array>
#include <cstddef>
#include <exception>
#include <new>

#include "orvel/foundation/exception.h"
#include "orvel/platform/c_locale.h"

namespace {

struct NameRepair {
  const char* longForm;
  const char* code;
};

constexpr std::array<NameRepair, 6> kNameRepairs = {{
    {"Hong Kong S.A.R.", "HKG"},
    {"U.A.E.", "ARE"},
    {"Chinese (Traditional)_Macau S.A.R..950", "ZHM"},
    {"Chinese_Macau S.A.R..950", "ZHM"},
    {"Chinese (Traditional)_Macao S.A.R..950", "ZHM"},
    {"Chinese_Macao S.A.R..950", "ZHM"},
}};

MSourceContext& ConstructionContext() {
  static MSourceContext context(L"MLocale", L"MLocale");
  return context;
}

std::locale BuildBaseLocale(const std::string& name, const MLocale* object) {
  try {
    return std::locale(name.c_str());
  } catch (const std::exception& failure) {
    MError error(ConstructionContext().At(__LINE__, object), L"BadCppLocale");
    error.AddParameter(L"errorMessage", Orvel::Detail::WidenText(failure.what()));
    error.AddParameter(L"name", Orvel::Detail::WidenText(name.c_str()));
    throw MException(error);
  }
}

}  // namespace

MLocale::MLocale(const char* name) : name_(RepairLocaleName(name)) {
  const std::string requestedName = name_;
  baseLocale_ = BuildBaseLocale(requestedName, this);
  name_ = RepairLocaleName(baseLocale_.name().c_str());
  cLocale_.reset(Orvel::Detail::CreateCLocale(name_.c_str()));
  if (cLocale_ == nullptr) {
    MError error(ConstructionContext().At(__LINE__, this), L"BadCLocale");
    error.AddParameter(L"name", Orvel::Detail::WidenText(requestedName.c_str()));
    throw MException(error);
  }
  const auto& punctuation = std::use_facet<std::numpunct<wchar_t>>(baseLocale_);
  numberLocale_ = std::locale(baseLocale_, new DecimalSeparatorOnly(punctuation.decimal_point()));
}

const MLocale& MLocale::Instance() {
  // In storage without a destructor: threads of global objects still use it while the process ends.
  alignas(MLocale) static std::byte storage[sizeof(MLocale)];
  static const MLocale* const instance = new (storage) MLocale("C");
  return *instance;
}

std::string MLocale::RepairLocaleName(const char* name) {
  std::string repaired = name != nullptr ? name : "";
  for (const NameRepair& repair : kNameRepairs) {
    const std::string_view longForm = repair.longForm;
    const std::size_t position = repaired.find(longForm);
    if (position != std::string::npos) repaired.replace(position, longForm.size(), repair.code);
  }
  return repaired;
}

void MLocale::CLocaleDeleter::operator()(void* locale) const noexcept {
  Orvel::Detail::FreeCLocale(locale);
}
