// SPDX-License-Identifier: MIT
#include "orvel/logging/klogger_adapter.h"

#include <cstddef>
#include <fstream>
#include <memory>
#include <new>
#include <typeinfo>

#include "orvel/logging/event_codes.h"
#include "orvel/logging/process_logger.h"
#include "orvel/platform/debugger_thread_name.h"
#include "orvel/platform/kernel_handle.h"

namespace {

namespace EventCode = Orvel::Detail::EventCode;

constexpr const char* kDumpFile = "C:\\Temp\\DebugDump.log";

// Written once, with release, by the thread that built the implementation; read with acquire.
constinit std::atomic<MFlowLoggerImplementation*> processImplementation{nullptr};

/// Returns what `slot` holds, after storing `built` into it if it was empty.
template <class T>
T* PublishOnce(std::atomic<T*>& slot, std::unique_ptr<T> built) noexcept {
  T* present = nullptr;
  if (slot.compare_exchange_strong(present, built.get(), std::memory_order_acq_rel,
                                   std::memory_order_acquire)) {
    return built.release();
  }
  return present;
}

MKLoggerAdapter* BuildProcessLogger() {
  MFlowLoggerImplementation* implementation = processImplementation.load(std::memory_order_acquire);
  if (implementation == nullptr) {
    implementation =
        PublishOnce(processImplementation, std::make_unique<MFlowLoggerImplementation>());
  }
  return PublishOnce(Orvel::Detail::processAdapter,
                     std::make_unique<MKLoggerAdapter>(implementation));
}

/// Returns `logger` if it is an adapter, else null. Compares the class's name: every module that
/// links the library has its own copy of the class and its virtual table, and a `dynamic_cast` to a
/// final class may compare the tables' addresses.
MKLoggerAdapter* AsAdapter(MFlowLogger* logger) {
  if (logger == nullptr || typeid(*logger) != typeid(MKLoggerAdapter)) return nullptr;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-static-cast-downcast)
  return static_cast<MKLoggerAdapter*>(logger);
}

/// A logger without ring, in storage that is never destroyed.
MKLoggerAdapter& SilentLogger() noexcept {
  alignas(MKLoggerAdapter) static std::byte storage[sizeof(MKLoggerAdapter)];
  static MKLoggerAdapter* const logger = new (storage) MKLoggerAdapter(nullptr);
  return *logger;
}

}  // namespace

MKLoggerAdapter::MKLoggerAdapter(MFlowLoggerImplementation* implementation) noexcept
    : implementation_(implementation),
      ring_(implementation != nullptr ? &implementation->ring_ : nullptr) {}

template <class Operation>
void MKLoggerAdapter::ForEachLogger(Operation operation) const noexcept {
  if (implementation_ != nullptr) operation(*implementation_);
  if (auto* const attached = attached_.load(std::memory_order_acquire)) operation(*attached);
}

void MKLoggerAdapter::RecordForEachLogger(std::int32_t code, std::int32_t arg1, std::int32_t arg2,
                                          std::int32_t classId, std::int32_t pointId,
                                          std::uint64_t object) const noexcept {
  ForEachLogger([&](MFlowLoggerImplementation& logger) {
    logger.Record(code, arg1, arg2, classId, pointId, object);
  });
}

void MKLoggerAdapter::dump(std::ostream& stream) {
  if (implementation_ != nullptr) implementation_->Dump(stream);
}

bool MKLoggerAdapter::dumpToFile(const wchar_t*) {
  std::ofstream file(kDumpFile, std::ios::out | std::ios::trunc);
  if (!file.is_open()) return false;
  dump(file);
  return true;
}

void MKLoggerAdapter::attachModule(MFlowLogger* other) {
  const MKLoggerAdapter* const adapter = AsAdapter(other);
  const auto record = [](MFlowLoggerImplementation* logger, std::int32_t code,
                         const MFlowLoggerImplementation* object) {
    if (logger != nullptr) logger->Record(code, 0, 0, 0, 0, FlowObject(object));
  };
  if (adapter != nullptr) {
    MFlowLoggerImplementation* const theirs = adapter->implementation_;
    if (theirs == implementation_) return;
    record(implementation_, EventCode::kLogModuleAdded, theirs);
    attached_.store(theirs, std::memory_order_release);
    record(theirs, EventCode::kLogModuleAdded, implementation_);
    if (implementation_ != nullptr && theirs != nullptr) implementation_->CopyNamesInto(*theirs);
    return;
  }
  MFlowLoggerImplementation* const attached = attached_.load(std::memory_order_acquire);
  if (attached == nullptr) return;
  record(implementation_, EventCode::kLogModuleRemoved, attached);
  attached_.store(nullptr, std::memory_order_release);
  record(attached, EventCode::kLogModuleRemoved, implementation_);
}

void MKLoggerAdapter::nameLabel(std::int32_t id, const wchar_t* name) noexcept {
  ForEachLogger([&](MFlowLoggerImplementation& logger) { logger.NameLabel(id, name); });
}

void MKLoggerAdapter::nameLabelFor(std::uint64_t, std::int32_t id, const wchar_t* name) noexcept {
  nameLabel(id, name);
}

void MKLoggerAdapter::nameObject(std::uint64_t object, const wchar_t* name) noexcept {
  ForEachLogger([&](MFlowLoggerImplementation& logger) { logger.NameObject(object, name); });
}

void MKLoggerAdapter::nameCurrentThread(const wchar_t* name) noexcept {
  const std::uint32_t threadId = Orvel::Detail::CurrentThreadId();
  try {
    Orvel::Detail::AnnounceThreadName(threadId, Orvel::Detail::NarrowName(name).c_str());
  } catch (const std::bad_alloc&) {
    // Only the debugger goes without the name.
  }
  Orvel::Detail::DescribeCurrentThread(name != nullptr ? name : L"");
  ForEachLogger([&](MFlowLoggerImplementation& logger) { logger.NameThread(threadId, name); });
}

void MKLoggerAdapter::nameState(std::int32_t classId, std::int32_t state,
                                const wchar_t* name) noexcept {
  ForEachLogger([&](MFlowLoggerImplementation& logger) { logger.NameState(classId, state, name); });
}

void MKLoggerAdapter::nameLabelAlias(std::int32_t id, const wchar_t* name) noexcept {
  nameLabel(id, name);
}

void MKLoggerAdapter::nameMessage(std::int32_t id, const wchar_t* name) noexcept {
  ForEachLogger([&](MFlowLoggerImplementation& logger) { logger.NameMessage(id, name); });
}

namespace Orvel::Detail {

constinit std::atomic<MKLoggerAdapter*> processAdapter{nullptr};

MFlowLoggerImplementation* ProcessLoggerForCrash() noexcept {
  return processImplementation.load(std::memory_order_acquire);
}

MKLoggerAdapter& BuildFlowLogger() noexcept {
  try {
    return *BuildProcessLogger();
  } catch (const std::bad_alloc&) {
    return SilentLogger();
  }
}

}  // namespace Orvel::Detail
