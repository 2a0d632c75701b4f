// SPDX-License-Identifier: MIT
#include "folder_audit/terminal_writer.h"

#include <algorithm>
#include <utility>

#include "orvel/foundation/exception.h"

namespace FolderAudit {
namespace {

constexpr const wchar_t* kClassName = L"TerminalWriter";

}  // namespace

std::wstring FitProgress(std::wstring_view line, std::size_t shown, std::size_t width) {
  // In the last column the cursor would go on to the next line.
  std::wstring fitted(line.substr(0, width - 1));
  fitted.resize((std::max)(fitted.size(), (std::min)(shown, width - 1)), L' ');
  return fitted;
}

TerminalWriter::TerminalWriter(TextOutput& output, TextOutput& error)
    : output_(output), error_(error) {
  static const MFlowPoint point(kClassName, kClassName);
  NameFlowObject(this, kClassName);
  point.Record(MFlowEvent::kConstruction, this);
  scheduler_.Enable();
}

TerminalWriter::~TerminalWriter() {
  static const MFlowPoint point(kClassName, L"~TerminalWriter");
  point.Record(MFlowEvent::kDestruction, this);
  try {
    WaitUntilWritten();
  } catch (const MException& exception) {
    RecordDismissed(point, this, exception);
  } catch (const std::exception&) {
    // Without memory for the last event, the text that is still queued is lost.
  }
}

void TerminalWriter::PostText(TextOutput& stream, std::wstring text) {
  RaiseFailure();
  Post([this, &stream, text = std::move(text)] {
    static const MFlowPoint point(kClassName, L"WriteText");
    const MFlowScope scope(point, this);
    EraseProgress();
    stream.Write(text);
  });
}

/// Has `write` called on the scheduler's thread, and what it raises kept for the teller.
void TerminalWriter::Post(std::function<void()> write) {
  scheduler_.ScheduleDesyncEvent(MakeDesyncEvent([this, write = std::move(write)] {
    if (hasFailed_.load(std::memory_order_relaxed)) return;
    try {
      write();
    } catch (const std::exception&) {
      failure_ = std::current_exception();
      hasFailed_.store(true, std::memory_order_release);
    }
  }));
}

void TerminalWriter::ShowProgress(std::wstring line) noexcept {
  if (!ShowsProgress() || progressIsQueued_.exchange(true, std::memory_order_relaxed)) return;
  try {
    Post([this, line = std::move(line)] {
      progressIsQueued_.store(false, std::memory_order_relaxed);
      Paint(line);
    });
  } catch (const std::exception&) {
    progressIsQueued_.store(false, std::memory_order_relaxed);
  }
}

void TerminalWriter::Flush() {
  static const MFlowPoint point(kClassName, L"Flush");
  const MFlowScope scope(point, this);
  WaitUntilWritten();
  RaiseFailure();
}

void TerminalWriter::WaitUntilWritten() {
  scheduler_.ScheduleDesyncEvent(MakeDesyncEvent([this] { EraseProgress(); }));
  scheduler_.Flush();
}

void TerminalWriter::RaiseFailure() const {
  if (hasFailed_.load(std::memory_order_acquire)) std::rethrow_exception(failure_);
}

void TerminalWriter::Paint(const std::wstring& line) {
  const std::size_t width = output_.GetWidth();
  output_.WriteIfPossible(L"\r");
  output_.WriteIfPossible(FitProgress(line, shown_, width));
  shown_ = (std::min)(line.size(), width - 1);
}

void TerminalWriter::EraseProgress() noexcept {
  if (shown_ == 0) return;
  output_.WriteIfPossible(L"\r");
  output_.WriteIfPossible(FitProgress(L"", shown_, output_.GetWidth()));
  output_.WriteIfPossible(L"\r");
  shown_ = 0;
}

}  // namespace FolderAudit
