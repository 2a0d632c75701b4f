// SPDX-License-Identifier: MIT
#include "orvel/diagnostics/crash_writer.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "orvel/diagnostics/crash_handler_list.h"
#include "orvel/foundation/exception.h"
#include "orvel/logging/process_logger.h"
#include "orvel/platform/crash_stack.h"
#include "orvel/platform/debugger_thread_name.h"

namespace Orvel::Detail {
namespace {

// The order of a report: what depends on least comes first. Between the parts the crashed thread
// looks for the exception that it was handling.
namespace Step {
constexpr std::uint32_t kWhat = 0;
constexpr std::uint32_t kWhere = 1;
constexpr std::uint32_t kThread = 2;
constexpr std::uint32_t kMiniDump = 3;
constexpr std::uint32_t kFlowLog = 4;
constexpr std::uint32_t kFirstPartEnd = 5;
constexpr std::uint32_t kException = 6;
constexpr std::uint32_t kHandlers = 7;  // one for each place
constexpr std::uint32_t kEnd = kHandlers + MCrashHandlerRegistration::kMaxHandlers;
constexpr std::uint32_t kLastPartEnd = kEnd + 1;
}  // namespace Step

/// How long to wait for a lock that may never come back.
constexpr std::uint32_t kPatienceMs = 250;

struct CodeName {
  DWORD code;
  const char* name;
};
constexpr CodeName kCodeNames[] = {
    {EXCEPTION_ACCESS_VIOLATION, "access violation"},
    {EXCEPTION_IN_PAGE_ERROR, "page that could not be read"},
    {EXCEPTION_STACK_OVERFLOW, "stack overflow"},
    {EXCEPTION_ILLEGAL_INSTRUCTION, "illegal instruction"},
    {EXCEPTION_PRIV_INSTRUCTION, "privileged instruction"},
    {EXCEPTION_INT_DIVIDE_BY_ZERO, "division by zero"},
    {EXCEPTION_INT_OVERFLOW, "integer overflow"},
    {EXCEPTION_FLT_DIVIDE_BY_ZERO, "floating-point division by zero"},
    {EXCEPTION_FLT_INVALID_OPERATION, "floating-point operation invalid"},
    {EXCEPTION_ARRAY_BOUNDS_EXCEEDED, "array bounds exceeded"},
    {EXCEPTION_DATATYPE_MISALIGNMENT, "misaligned data"},
    {EXCEPTION_BREAKPOINT, "breakpoint without debugger"},
    {0xE06D7363, "C++ exception"},
    {0x20474343, "C++ exception"},
};

}  // namespace

/// Passes the lines of handlers on to the report.
class CrashWriter::Lines final : public MCrashReportLines {
 public:
  explicit Lines(CrashWriter& writer) noexcept : writer_(writer) {}

  void AddLine(std::wstring_view text) noexcept override {
    if (!std::exchange(writer_.hasHandlerLines_, true)) {
      (writer_.text_ << "Added by the application:").EndLine();
    }
    (writer_.text_ << "  " << text).EndLine();
  }

 private:
  CrashWriter& writer_;
};

CrashWriter::CrashWriter(const CrashReportFolder& folder, std::wstring programPath,
                         bool writesFlowLog, bool writesMiniDump)
    : folder_(folder),
      programPath_(std::move(programPath)),
      writesFlowLog_(writesFlowLog),
      writesMiniDump_(writesMiniDump) {
  std::array<wchar_t, 2> unused{};
  // Later the loader's lock may be held for good.
  static_cast<void>(ReadThreadDescription(::GetCurrentThreadId(), unused));
}

void CrashWriter::Begin(const CrashSite& site) noexcept {
  kind_ = site.kind;
  threadId_ = ::GetCurrentThreadId();
  record_ = *site.pointers->ExceptionRecord;
  context_ = *site.pointers->ContextRecord;
  hasStack_ = site.HasStack();
  hasHandlerLines_ = false;
  nextStep_.store(0, std::memory_order_relaxed);
  isBusy_.store(true, std::memory_order_release);
}

void CrashWriter::SetException(std::exception_ptr exception) noexcept {
  exception_ = std::move(exception);
}

bool CrashWriter::RunPart() noexcept {
  for (;;) {
    const std::uint32_t step = nextStep_.fetch_add(1, std::memory_order_acq_rel);
    if (step == Step::kFirstPartEnd) return true;
    if (step >= Step::kLastPartEnd) {
      isBusy_.store(false, std::memory_order_release);
      return false;
    }
    if (step == Step::kWhat || text_.IsOpen()) RunStep(step);
  }
}

void CrashWriter::RunStep(std::uint32_t step) noexcept {
  switch (step) {
    case Step::kWhat:
      return WriteWhat();
    case Step::kWhere:
      return WriteWhere();
    case Step::kThread:
      return WriteThread();
    case Step::kMiniDump:
      return WriteMiniDump();
    case Step::kFlowLog:
      return WriteFlowLog();
    case Step::kException:
      return WriteException();
    case Step::kEnd:
      return WriteEnd();
    default:
      return CallHandler(step - Step::kHandlers);
  }
}

void CrashWriter::NoteCrashedStep(const CrashSite& site) noexcept {
  EndCrashHandler();
  if (!text_.IsOpen()) return;
  text_.EndLine();
  text_ << "  (the report crashed here: ";
  WriteCode(*site.pointers->ExceptionRecord);
  text_ << ")";
  text_.EndLine();
}

void CrashWriter::WriteWhat() noexcept {
  std::uint32_t code = ERROR_FILE_EXISTS;
  for (std::uint32_t attempt = 1; attempt < 100 && code == ERROR_FILE_EXISTS; ++attempt) {
    stem_ = folder_.MakeStem(attempt);
    code = text_.Open(CrashReportFolder::Join(stem_, L".txt").data());
    // It was there when the program started.
    if (code == ERROR_PATH_NOT_FOUND && folder_.Create() == 0) {
      code = text_.Open(CrashReportFolder::Join(stem_, L".txt").data());
    }
  }
  if (code != 0) return;
  (text_ << "Crash report " << std::wstring_view(CrashReportFolder::NameOf(stem_))).EndLine();
  (text_ << "Program: " << std::wstring_view(programPath_) << ", process ")
      .AddDecimal(::GetCurrentProcessId())
      .EndLine();
  text_ << "What: ";
  switch (kind_) {
    case CrashKind::kException:
      text_ << "unhandled exception, ";
      WriteCode(record_);
      break;
    case CrashKind::kTerminate:
      text_ << "std::terminate";
      break;
    case CrashKind::kAbort:
      text_ << "abort";
      break;
    case CrashKind::kPureCall:
      text_ << "call of a pure virtual function";
      break;
    case CrashKind::kInvalidParameter:
      text_ << "invalid parameter of a C runtime function";
      break;
  }
  text_.EndLine();
}

void CrashWriter::WriteCode(const EXCEPTION_RECORD& record) noexcept {
  text_.AddHex(record.ExceptionCode, 8);
  for (const CodeName& entry : kCodeNames) {
    if (entry.code == record.ExceptionCode) text_ << " (" << entry.name << ")";
  }
  if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record.NumberParameters >= 2) {
    const ULONG_PTR access = record.ExceptionInformation[0];
    text_ << (access == 0 ? " reading " : access == 1 ? " writing " : " executing ");
    text_.AddHex(record.ExceptionInformation[1], 16);
  }
  text_ << " at ";
  WritePlace(reinterpret_cast<std::uintptr_t>(record.ExceptionAddress));
}

void CrashWriter::WritePlace(std::uint64_t address) noexcept {
  const CodePlace place = FindCodePlace(address);
  text_ << std::wstring_view(place.moduleName.data());
  if (place.moduleName[0] != L'\0') text_ << "+";
  text_.AddHex(place.offset, place.moduleName[0] != L'\0' ? 8 : 16);
}

void CrashWriter::WriteWhere() noexcept {
  std::array<std::uint64_t, 64> addresses{};
  // After a stack overflow the stack may be one recursion from end to end: its beginning is then
  // beyond these places.
  const std::size_t count = WalkStack(context_, addresses);
  // A stand-in's first place is the handler that captured it.
  const std::size_t first = kind_ != CrashKind::kException && count > 1 ? 1 : 0;
  text_ << "Where: ";
  WritePlace(count != 0 ? addresses[first]
                        : reinterpret_cast<std::uintptr_t>(record_.ExceptionAddress));
  text_.EndLine();
  if (count == 0) return;
  (text_ << "Stack:").EndLine();
  for (std::size_t i = first; i < count; ++i) {
    text_ << "  ";
    WritePlace(addresses[i]);
    text_.EndLine();
  }
}

void CrashWriter::WriteThread() noexcept {
  (text_ << "Thread: ").AddDecimal(threadId_);
  std::array<wchar_t, 128> description{};
  if (ReadThreadDescription(threadId_, description)) {
    text_ << ", " << std::wstring_view(description.data());
  }
  text_.EndLine();
  std::string name;
  if (MFlowLoggerImplementation* const logger = ProcessLoggerForCrash()) {
    try {
      if (logger->AppendThreadName(threadId_, name, kPatienceMs)) {
        (text_ << "Thread in the flow log: " << std::string_view(name)).EndLine();
      }
    } catch (const std::bad_alloc&) {
      // The report has the thread's number.
    }
  }
}

void CrashWriter::EndFileLine(const CrashPath& path, std::uint32_t code) noexcept {
  if (code == 0) {
    text_ << std::wstring_view(CrashReportFolder::NameOf(path));
  } else {
    (text_ << "incomplete, system error ").AddDecimal(code);
  }
  text_.EndLine();
}

void CrashWriter::WriteMiniDump() noexcept {
  if (!writesMiniDump_) return;
  text_ << "Minidump: ";
  const CrashPath path = CrashReportFolder::Join(stem_, L".dmp");
  CrashFile file;
  std::uint32_t code = file.Open(path.data());
  if (code == 0) {
    EXCEPTION_POINTERS exception{&record_, &context_};
    code = miniDumpWriter_.Write(file.GetHandle(), threadId_, &exception, kPatienceMs);
    const std::uint32_t closeCode = file.Close();
    if (code == 0) code = closeCode;
  }
  EndFileLine(path, code);
}

void CrashWriter::WriteFlowLog() noexcept {
  MFlowLoggerImplementation* const logger = ProcessLoggerForCrash();
  if (!writesFlowLog_ || logger == nullptr) return;
  text_ << "Flow log: ";
  const CrashPath path = CrashReportFolder::Join(stem_, L".flow.log");
  std::uint32_t code = flowLog_.Open(path.data());
  if (code == 0) {
    flowLogStream_.clear();
    const auto gaps = logger->DumpForCrash(flowLogStream_, kPatienceMs);
    code = flowLog_.Close();
    if (code == 0 && gaps.rest) code = ERROR_NOT_ENOUGH_MEMORY;
    if (gaps.names) text_ << "(without some names, whose table was locked) ";
    if (gaps.order) text_ << "(without what another dump has taken, which was under way) ";
  }
  EndFileLine(path, code);
}

void CrashWriter::WriteChain(const std::wstring& description) noexcept {
  std::wstring_view rest = description;
  while (!rest.empty()) {
    const std::size_t end = (std::min)(rest.find(L'\n'), rest.size());
    (text_ << "  " << rest.substr(0, end)).EndLine();
    rest.remove_prefix((std::min)(end + 1, rest.size()));
  }
}

void CrashWriter::WriteException() noexcept {
  text_ << "Being handled: ";
  if (exception_ == nullptr) {
    (text_ << (hasStack_ ? "no exception" : "not known, as there was no stack left")).EndLine();
    return;
  }
  try {
    try {
      std::rethrow_exception(std::exchange(exception_, nullptr));
    } catch (const MException& exception) {
      (text_ << "an error, oldest cause first").EndLine();
      WriteChain(exception.GetChainDescription());
    } catch (const std::exception& exception) {
      (text_ << "a standard exception, " << std::string_view(exception.what())).EndLine();
    } catch (...) {
      (text_ << "an exception that is none of the standard library's").EndLine();
    }
  } catch (...) {
    (text_ << "an exception whose text could not be had").EndLine();
  }
}

void CrashWriter::CallHandler(std::size_t place) noexcept {
  ICrashHandler* const handler = BeginCrashHandler(place);
  if (handler == nullptr) return;
  Lines lines(*this);
  try {
    handler->OnCrash(lines);
  } catch (const MException& exception) {
    lines.AddLine(L"(raised:");
    try {
      WriteChain(exception.GetChainDescription());
    } catch (...) {
      // The line above has to do.
    }
    lines.AddLine(L")");
  } catch (...) {
    lines.AddLine(L"(raised an exception that is none of the library's)");
  }
  EndCrashHandler();
}

void CrashWriter::WriteEnd() noexcept {
  (text_ << "End of the report").EndLine();
  text_.Close();
  folder_.RemoveOldest();
}

}  // namespace Orvel::Detail
