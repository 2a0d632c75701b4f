// SPDX-License-Identifier: MIT
#include "bare/bare_worker.h"

#include <utility>

namespace {

class SignallingItem final : public BareItem {
 public:
  explicit SignallingItem(HANDLE done) : done_(done) {}
  void Run() override { ::SetEvent(done_); }

 private:
  HANDLE done_;
};

HANDLE CreateBareEvent(bool manualReset) {
  return ::CreateEventW(nullptr, manualReset ? TRUE : FALSE, FALSE, nullptr);
}

}  // namespace

BareWorker::BareWorker(Drain drain)
    : drain_(drain),
      handles_{CreateBareEvent(false), CreateBareEvent(true), CreateBareEvent(false),
               CreateBareEvent(true)},
      aborted_(CreateBareEvent(true)) {
  ::InitializeCriticalSection(&section_);
  thread_ = reinterpret_cast<HANDLE>(
      ::_beginthreadex(nullptr, 0, &BareWorker::ThreadEntry, this, 0, &threadId_));
}

BareWorker::~BareWorker() {
  ::SetEvent(handles_[kStop]);
  ::WaitForSingleObject(thread_, INFINITE);
  ::CloseHandle(thread_);
  for (HANDLE handle : handles_) ::CloseHandle(handle);
  ::CloseHandle(aborted_);
  ::DeleteCriticalSection(&section_);
}

void BareWorker::Push(std::unique_ptr<BareItem> item) {
  ::EnterCriticalSection(&section_);
  queue_.push_back(std::move(item));
  ::SetEvent(handles_[kNotEmpty]);
  ::LeaveCriticalSection(&section_);
}

void BareWorker::RunSynchronously() {
  if (::WaitForSingleObject(aborted_, 0) != WAIT_TIMEOUT) return;
  const HANDLE done = CreateBareEvent(false);
  Push(std::make_unique<SignallingItem>(done));
  const std::array<HANDLE, 2> handles = {done, aborted_};
  ::WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, INFINITE);
  ::CloseHandle(done);
}

unsigned BareWorker::ThreadEntry(void* self) {
  static_cast<BareWorker*>(self)->Loop();
  return 0;
}

void BareWorker::Loop() {
  const DWORD timeoutMs = drain_ == Drain::kOneItem ? kIdleTimeoutMs : INFINITE;
  do {
    const DWORD status = ::WaitForMultipleObjects(static_cast<DWORD>(kHandleCount), handles_.data(),
                                                  FALSE, timeoutMs);
    if (status != WAIT_OBJECT_0 + kNotEmpty) continue;
    std::size_t left = drain_ == Drain::kOneItem ? 1 : GetSize();
    while (left > 0 && RunNext()) --left;
  } while (::WaitForSingleObject(handles_[kStop], 0) == WAIT_TIMEOUT);
}

bool BareWorker::RunNext() {
  ::EnterCriticalSection(&section_);
  if (queue_.empty()) {
    ::LeaveCriticalSection(&section_);
    return false;
  }
  const std::unique_ptr<BareItem> item = std::move(queue_.front());
  queue_.pop_front();
  if (queue_.empty()) ::ResetEvent(handles_[kNotEmpty]);
  ::LeaveCriticalSection(&section_);
  item->Run();
  return true;
}

std::size_t BareWorker::GetSize() {
  ::EnterCriticalSection(&section_);
  const std::size_t size = queue_.size();
  ::LeaveCriticalSection(&section_);
  return size;
}
