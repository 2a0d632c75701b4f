// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <iosfwd>

#include "orvel/logging/event_codes.h"
#include "orvel/logging/event_ring.h"
#include "orvel/logging/flow_logger.h"

class MFlowLoggerImplementation;

/// The flow logger that programs use: both interfaces in one object. Every call goes to its own
/// `MFlowLoggerImplementation` and, while another logger is attached, to that one's as well.
///
/// Thread-safe. Get the process's own from `flowLogger()`.
class MKLoggerAdapter final : public MFlowLogger, public MDiagnosticsRegistry {
 public:
  /// Borrows `implementation`, which must outlive the adapter. With null, the logger does nothing.
  explicit MKLoggerAdapter(MFlowLoggerImplementation* implementation) noexcept;

  void logEvent(std::int32_t kindIndex, std::int32_t arg1, std::int32_t arg2, std::int32_t classId,
                std::int32_t pointId, std::uint64_t object) noexcept override;
  void dump(std::ostream& stream) override;
  bool dumpToFile(const wchar_t* ignored) override;
  void attachModule(MFlowLogger* other) override;

  void nameLabel(std::int32_t id, const wchar_t* name) noexcept override;
  void nameLabelFor(std::uint64_t ignored, std::int32_t id, const wchar_t* name) noexcept override;
  void nameObject(std::uint64_t object, const wchar_t* name) noexcept override;
  void nameCurrentThread(const wchar_t* name) noexcept override;
  void nameState(std::int32_t classId, std::int32_t state, const wchar_t* name) noexcept override;
  void nameLabelAlias(std::int32_t id, const wchar_t* name) noexcept override;
  void nameMessage(std::int32_t id, const wchar_t* name) noexcept override;

 private:
  template <class Operation>
  void ForEachLogger(Operation operation) const noexcept;
  void RecordForEachLogger(std::int32_t code, std::int32_t arg1, std::int32_t arg2,
                           std::int32_t classId, std::int32_t pointId,
                           std::uint64_t object) const noexcept;

  MFlowLoggerImplementation* const implementation_;
  Orvel::Detail::EventRing* const ring_;  // the implementation's
  // Release in attachModule, acquire where it is read: what was built before an attachment is
  // seen by those who record into it.
  std::atomic<MFlowLoggerImplementation*> attached_{nullptr};
};

// Inline, like everything that it calls in the common case. The processor overlaps nothing with a
// locked addition, and a call with seven arguments would cost as much again as that addition.
inline void MKLoggerAdapter::logEvent(std::int32_t kindIndex, std::int32_t arg1, std::int32_t arg2,
                                      std::int32_t classId, std::int32_t pointId,
                                      std::uint64_t object) noexcept {
  // As unsigned, a negative index is out of range as well.
  const auto index = static_cast<std::uint32_t>(kindIndex);
  if (index >= Orvel::Detail::kCodeOfEvent.size()) return;
  const std::int32_t code = Orvel::Detail::kCodeOfEvent[index];
  if (ring_ == nullptr || attached_.load(std::memory_order_relaxed) != nullptr) [[unlikely]] {
    RecordForEachLogger(code, arg1, arg2, classId, pointId, object);
  } else {
    ring_->Record(code, arg1, arg2, classId, pointId, object);
  }
}

namespace Orvel::Detail {

// Written once, with release, by the thread that built the logger.
extern std::atomic<MKLoggerAdapter*> processAdapter;
[[nodiscard]] MKLoggerAdapter& BuildFlowLogger() noexcept;

}  // namespace Orvel::Detail

/// Returns the process's flow logger, which is built on the first call and never destroyed, so that
/// it works before and after every static object. Any thread, without a lock. Raises nothing:
/// without memory for a logger, it returns one that does nothing.
[[nodiscard]] inline MKLoggerAdapter& flowLogger() noexcept {
  // Inline, because every event recorded comes through here.
  MKLoggerAdapter* const adapter = Orvel::Detail::processAdapter.load(std::memory_order_acquire);
  return adapter != nullptr ? *adapter : Orvel::Detail::BuildFlowLogger();
}
