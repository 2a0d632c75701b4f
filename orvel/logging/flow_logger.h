// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <iosfwd>

/// Kinds of flow event as callers of `MFlowLogger::logEvent` pass them. The logger translates each
/// to the code that it records and prints. A kind with arguments names them after the semicolon.
enum class MFlowEvent : std::int32_t {
  kTimingPoint = 0,       ///< a point was reached; two values of the caller's own
  kRootError = 1,         ///< an error was raised; its label, the source line
  kCascadeError = 2,      ///< the same, while a standard exception was being handled
  kDismissedError = 3,    ///< an error was caught and dismissed; its label, 0
  kConstruction = 4,      ///< an object was built
  kDestruction = 5,       ///< an object is being destroyed
  kStateChange = 6,       ///< the object has changed its state; the new state
  kScopePush = 7,         ///< a scope was entered
  kScopePop = 8,          ///< a scope was left
  kTimingPointAlias = 9,  ///< records the same code as kTimingPoint
  kReturnError = 10,      ///< an error was reported as a return value; its label, the source line
  kWarning = 11,          ///< a warning; its label
  kMessageSend = 12,      ///< a message was sent; its number
  kMessageReceive = 13    ///< a message was received; its number
};

/// Returns an object's address in the form that flow events store: 0, which means none, for null.
[[nodiscard]] inline std::uint64_t FlowObject(const void* object) noexcept {
  return reinterpret_cast<std::uintptr_t>(object);
}

/// Records flow events into a ring in memory and dumps them as text on demand.
///
/// Thread-safe: any thread may call any operation at any time.
class MFlowLogger {
 public:
  MFlowLogger() = default;
  MFlowLogger(const MFlowLogger&) = delete;
  MFlowLogger& operator=(const MFlowLogger&) = delete;
  virtual ~MFlowLogger() = default;

  /// Records one event, here and in the attached logger if there is one. `kindIndex` is the value
  /// of an `MFlowEvent`; an index outside 0 to 13 records nothing. `classId` and `pointId` are
  /// label identifiers (`FlowLabelId`) or, for the point of a timing event, a plain number;
  /// `object` is the address or handle of the object concerned, 0 for none. Takes no lock,
  /// allocates nothing, never fails; while a dump runs the event is dropped.
  virtual void logEvent(std::int32_t kindIndex, std::int32_t arg1, std::int32_t arg2,
                        std::int32_t classId, std::int32_t pointId,
                        std::uint64_t object) noexcept = 0;

  /// Writes the text of all records to `stream`, then forgets them. Recording stops meanwhile. When
  /// the stream throws or fails (because the disk is full, for example), the rest is skipped, the
  /// records are kept, and recording stays off until a later dump is complete. Raises nothing, even
  /// if the stream does. The stream's formatting flags have no effect. Dumps of one logger run one
  /// after another; a dump of a full ring pauses eight times for 10 ms.
  virtual void dump(std::ostream& stream) = 0;

  /// Dumps into the file "C:\Temp\DebugDump.log", which is truncated; its lines end in CR LF.
  /// Returns false when the file cannot be opened (a missing folder is not created), otherwise
  /// true, even if the dump failed. The argument is ignored.
  virtual bool dumpToFile(const wchar_t* ignored) = 0;

  /// Attaches `other` when it is an `MKLoggerAdapter`: each of the two records the fact, `other`
  /// gets the names that are registered here, and from then on everything recorded or named here
  /// goes to `other` as well. Anything else, null included, detaches the logger attached before, if
  /// any. Attaching a logger to itself does nothing. `other` may be another module's that was built
  /// with the same compiler, runtime and version of the library. The attached logger must outlive
  /// the attachment, and a recorder that is running while it is detached may still reach it: let
  /// such threads come to rest before that module goes away.
  virtual void attachModule(MFlowLogger* other) = 0;
};

/// Registers the names by which dumps show identifiers.
///
/// Thread-safe. Every operation applies to this logger and to the attached one, if any. Of each
/// character only the low byte is kept; a null name counts as empty. The first name of a key stays;
/// later ones are ignored, even when the system has given a thread id or an address to something
/// else. Raises nothing: a name is dropped when there is no memory for it.
class MDiagnosticsRegistry {
 public:
  MDiagnosticsRegistry() = default;
  MDiagnosticsRegistry(const MDiagnosticsRegistry&) = delete;
  MDiagnosticsRegistry& operator=(const MDiagnosticsRegistry&) = delete;
  virtual ~MDiagnosticsRegistry() = default;

  /// Names a label: a class, a point in the code, an error.
  virtual void nameLabel(std::int32_t id, const wchar_t* name) noexcept = 0;
  /// The same; the first argument is ignored.
  virtual void nameLabelFor(std::uint64_t ignored, std::int32_t id,
                            const wchar_t* name) noexcept = 0;
  /// Names an object by its address or handle.
  virtual void nameObject(std::uint64_t object, const wchar_t* name) noexcept = 0;
  /// Names the calling thread: to the logger, to an attached debugger, and to the system, which
  /// shows the name in debuggers that attach later and in crash dumps.
  virtual void nameCurrentThread(const wchar_t* name) noexcept = 0;
  /// Names a state of a class; `classId` is the class's label identifier.
  virtual void nameState(std::int32_t classId, std::int32_t state,
                         const wchar_t* name) noexcept = 0;
  /// The same operation as `nameLabel`, kept for callers of this slot.
  virtual void nameLabelAlias(std::int32_t id, const wchar_t* name) noexcept = 0;
  /// Names a message. Messages share their table with states: message m and state m of class 0
  /// are one entry.
  virtual void nameMessage(std::int32_t id, const wchar_t* name) noexcept = 0;
};
