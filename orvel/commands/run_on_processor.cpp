// SPDX-License-Identifier: MIT
#include "orvel/commands/run_on_processor.h"

#include "orvel/foundation/exception.h"
#include "orvel/foundation/foreign_error.h"
#include "orvel/foundation/source_context.h"

namespace Orvel::Detail {
namespace {

MSourceContext& ContextOf(RunKind kind) {
  constexpr const wchar_t* kClassName = L"MCommandProcessor";
  static MSourceContext synchronous(kClassName, L"RunSynchronously");
  static MSourceContext asynchronous(kClassName, L"RunAsync");
  return kind == RunKind::kSynchronous ? synchronous : asynchronous;
}

}  // namespace

std::exception_ptr FailureForCaller(MCommandProcessor& processor, RunKind kind) noexcept {
  try {
    throw;
  } catch (const MException&) {
    return std::current_exception();
  } catch (const std::exception& exception) {
    try {
      const MRaiseSite site = ContextOf(kind).At(__LINE__, &processor);
      return std::make_exception_ptr(MException(ForeignError(site, exception)));
    } catch (...) {  // no memory left: the original has some already
    }
    return std::current_exception();
  } catch (...) {
    return std::current_exception();
  }
}

}  // namespace Orvel::Detail
