// SPDX-License-Identifier: MIT
// The protocol between an MCommandProcessor, its worker and its callers. Names are those of
// orvel/threads/engine_thread.cpp, orvel/commands/command_processor.cpp and
// orvel/commands/abort_protocol.cpp; README.md beside this file says what is covered and how it is
// run.

// Planted, one at a time, by -DDEFECT=.
mtype:defect = { NONE, MARK_AFTER_THE_EVENT, TAKE_ANY_ANSWER_TO_A_FLUSH, DESTRUCTION_DURING_A_STOP,
  FLUSH_WITHOUT_LOOKING_AT_THE_THREAD, LEND_BEFORE_IT_IS_RESET, LEND_WHILE_THE_COMMAND_HOLDS,
  WAIT_WITHOUT_ABORT, LEAVE_WHILE_IT_RUNS, DRAIN_WITHOUT_THE_MARK, ABORT_WITHOUT_A_SECOND_TRY,
  ABORT_WITHOUT_CLOSING_THE_QUEUE, REOPEN_AMONG_DELETERS, WORKER_WITHOUT_ITS_ID,
  FAIL_DURING_A_STOP, LEAVE_WITHOUT_ON_STOP };

#define WHEN(condition, steps) if :: condition -> steps :: else fi

// Two callers make FIRST_CALLS and SECOND_CALLS calls, chosen in every way there is.
#define COMMANDS (FIRST_CALLS + SECOND_CALLS)
#define LIVES (FIRST_CALLS + SECOND_CALLS + 1)

mtype = { kInactive, kStarting, kRunning, kStopping };
mtype:completion = { kQueued, kExecuting, kSettled };

// The engine. A life of the worker has a number, which is its thread's id and its handle at once.
mtype state_ = kInactive;
bool mutex_;
byte threadId_, thread_, lives;
bool flushRequest_, stopRequest_, threadStarted_, flushDone_;  // the events
bool stopIsServed_, stopIsComing_, stopIsRequested_, stopIsUnderWay_;
byte flushesRequested_, flushesBegun_, flushesServed_;
bool ended[LIVES + 1];

// The processor. The not-empty event is set and reset under the queue's lock: it is the queue.
chan queue_ = [COMMANDS] of { byte };
bool kClosed;
byte deleters;  // the rest of gate_
bool isAborted_, aborted_;

typedef Command {
  bool executed;
  bool deleted;
  bool mustRun;      // was queued before a stop was requested, for a worker that has not failed since
  bool isPromised;   // must run, and a stop was requested since
  bool synchronous;
  byte completion;
  bool callerLeft;
};
Command commands[COMMANDS];
byte made;

typedef Completion {
  mtype:completion state;
  bool done;      // the event
  bool isReset;
  byte holders;   // command and caller, as long as they have not let go
  bool rests;     // in the pool
};
Completion completions[COMMANDS];
byte created;
#define COMPLETION completions[commands[mine].completion]
#define COMPLETION_OF_COMMAND completions[commands[command].completion]

// What goes wrong, anywhere, at most so often.
byte failingCalls = FAILING_CALLS;
byte raisingCommands = RAISING_COMMANDS;
#define CALL_FAILS atomic { failingCalls > 0 -> failingCalls-- }
#define SIGNAL(event) if :: event = true :: CALL_FAILS -> raised = true fi

bool workerFails;  // what is queued now need not be run
byte flushSet;     // the number of the flush that the request's event was last set for
bool destroyed;
byte settled;  // callers that are through, or in a last call that is a stop waiting for the worker

inline Lock() {
  atomic { !mutex_ -> mutex_ = true; assert(!destroyed) }
}
inline Unlock() {
  atomic { assert(!destroyed); mutex_ = false }
}

inline WaitForThread(handle) {
  assert(handle == thread_);  // open still
  if
  :: ended[handle] -> failed = false
  :: CALL_FAILS -> failed = true
  fi
}

inline BecomeInactive() {
  state_ = kInactive;
  threadId_ = 0;
  thread_ = 0;
  atomic {
    stopIsComing_ = false;
    flushesBegun_ = flushesRequested_
  }
}

// What must run now must do so whatever happens to the worker: a stop is requested.
inline Promise() {
  for (index : 0 .. made - 1) {
    commands[index].isPromised = commands[index].isPromised || commands[index].mustRun
  }
  index = 0
}

inline RequestStop() {
  stopIsComing_ = stopIsComing_ || DEFECT != MARK_AFTER_THE_EVENT;
  if
  :: stopRequest_ = true;
    stopIsComing_ = true;
    atomic { stopIsRequested_ = true; Promise() };
    failed = false
  :: CALL_FAILS -> stopIsComing_ = stopIsRequested_; failed = true
  fi
}

inline EndWorker() {
  WHEN(thread_ != 0, RequestStop(); WHEN(!failed, WaitForThread(thread_)));
  BecomeInactive()
}

inline Start() {
  Lock();
  WHEN(state_ == kInactive,
    atomic {
      stopRequest_ = false; flushRequest_ = false; threadStarted_ = false; flushDone_ = false;
      stopIsServed_ = false; stopIsRequested_ = false
    }
    atomic { lives++; thread_ = lives; run Worker(lives) }
    threadId_ = thread_;
    state_ = kStarting;
    if
    :: atomic { threadStarted_ -> threadStarted_ = false }; state_ = kRunning
    :: !threadStarted_ && ended[thread_] -> EndWorker()
    :: CALL_FAILS -> EndWorker()
    fi);
  Unlock()
}

inline Flush() {
  Lock();
  WHEN(state_ != kInactive,
    flushesRequested_ = flushesRequested_ + (DEFECT != MARK_AFTER_THE_EVENT);
    if
    :: atomic {
        flushRequest_ = true;
        flushSet = flushesRequested_ + (DEFECT == MARK_AFTER_THE_EVENT)
      };
      flushesRequested_ = flushSet;
      do
      :: atomic { flushDone_ -> flushDone_ = false };
        if
        :: flushesServed_ != flushesRequested_ && DEFECT != TAKE_ANY_ANSWER_TO_A_FLUSH
        :: else -> assert(!queued || commands[mine].deleted); break
        fi
      :: !flushDone_ && ended[thread_] && DEFECT != FLUSH_WITHOUT_LOOKING_AT_THE_THREAD -> break
      :: CALL_FAILS -> break
      od
    :: CALL_FAILS -> flushesBegun_ = flushesRequested_
    fi);
  Unlock()
}

inline StopWorker(endsAlways) {
  Lock();
  if
  :: state_ == kInactive || stopIsRequested_ -> Unlock()
  :: else ->
    before = state_;
    state_ = kStopping;
    RequestStop();
    if
    :: !failed ->
      handle = thread_;
      stopIsUnderWay_ = true;
      atomic { Unlock(); WHEN(last, settled++; last = false) };
      WaitForThread(handle);
      Lock();
      stopIsUnderWay_ = false;
      if
      :: !failed -> BecomeInactive()
      :: failed && endsAlways -> EndWorker()
      :: else
      fi
    :: else ->
      if
      :: endsAlways -> EndWorker()
      :: else -> state_ = before
      fi
    fi;
    Unlock()
  fi
}

inline StopBeforeDestruction() {
  StopWorker(true);
  WHEN(DEFECT != DESTRUCTION_DURING_A_STOP,
    Lock();
    WHEN(thread_ != 0, WaitForThread(thread_));
    Unlock();
    atomic { !mutex_ && !stopIsUnderWay_ })
}

// Command and caller each let go once.
#define HELD completions[commands[number].completion]
inline LetGo(number) {
  atomic {
    HELD.holders--;
    HELD.rests = HELD.holders == 0 && (HELD.isReset || DEFECT == LEND_BEFORE_IT_IS_RESET) ||
      HELD.holders == 1 && DEFECT == LEND_WHILE_THE_COMMAND_HOLDS
  }
}

inline Delete(number) {
  assert(!commands[number].deleted);
  commands[number].deleted = true;
  WHEN(commands[number].synchronous, LetGo(number))
}

inline DeleteUnservedCommands() {
  do
  :: atomic { !kClosed -> break }
  :: atomic { kClosed -> deleters++ };
    if
    :: atomic { queue_?unserved -> taken = true }
    :: atomic { empty(queue_) -> taken = false }
    fi;
    deleters--;
    atomic {
      if
      :: taken ->
        assert(!commands[unserved].mustRun && !commands[unserved].isPromised);
        Delete(unserved)
      :: else -> break
      fi
    }
  od
}

inline Push(isSynchronous) {
  atomic {
    mine = made;
    made++;
    commands[mine].synchronous = isSynchronous
  };
  if
  :: atomic {
      WHEN(isSynchronous, Lend());
      queue_!mine;
      commands[mine].mustRun = !kClosed && !stopRequest_ && !workerFails;
      queued = true
    };
    DeleteUnservedCommands()
  :: atomic { CALL_FAILS -> commands[mine].deleted = true; queued = false }
  fi
}

inline Lend() {
  do
  :: index < created && !completions[index].rests -> index++
  :: else -> break
  od;
  WHEN(index == created, created++);
  commands[mine].completion = index;
  COMPLETION.state = kQueued;
  COMPLETION.isReset = false;
  COMPLETION.holders = 2;
  COMPLETION.rests = false;
  index = 0
}

inline ExecuteSynchronously() {
  WHEN(!isAborted_,
    Push(true);
    WHEN(queued,
      if
      :: atomic { COMPLETION.done -> COMPLETION.done = false; COMPLETION.isReset = true };
        assert(commands[mine].executed)
      :: atomic { !COMPLETION.done && aborted_ && DEFECT != WAIT_WITHOUT_ABORT }; Leave()
      :: CALL_FAILS -> Leave()
      fi;
      LetGo(mine)))
}

inline Leave() {
  atomic {
    COMPLETION.state != kExecuting || DEFECT == LEAVE_WHILE_IT_RUNS ->
    assert(COMPLETION.state != kExecuting);
    COMPLETION.state = kSettled;
    commands[mine].callerLeft = true
  }
}

proctype Caller(byte left) {
  byte handle, mine, unserved, index;
  mtype before;
  bool failed, taken, queued, last;
  do
  :: left == 0 -> break
  :: else ->
    atomic { left--; last = (left == 0) };
    if  // A guard each: an "else" at the start of a call would stand for all the others, too.
    :: true -> Start()
    :: true -> Flush()
    :: true -> StopWorker(false)  // Stop
    :: true -> StopWorker(true)   // ForceStop
    :: true -> Push(false)        // QueueCommand
    :: true -> ExecuteSynchronously()
    fi
  od;
  WHEN(last, settled++)
}

// What a handler may do wrong. Without knowing that it is the worker it would wait for the lock.
inline CallItself() {
  WHEN(threadId_ != life, Lock(); Unlock())
}

inline ExecuteNextCommand() {
  atomic {
    if
    :: queue_?command -> more = true
    :: empty(queue_) -> more = false
    fi
  };
  WHEN(more,
    assert(!destroyed);
    if
    :: atomic { commands[command].synchronous && COMPLETION_OF_COMMAND.state == kSettled }
    :: atomic {
        !commands[command].synchronous || COMPLETION_OF_COMMAND.state == kQueued ->
        WHEN(commands[command].synchronous, COMPLETION_OF_COMMAND.state = kExecuting)
      };
      CallItself();
      atomic {
        assert(!commands[command].executed && !commands[command].callerLeft);
        commands[command].executed = true
      };
      if
      :: commands[command].synchronous ->
        COMPLETION_OF_COMMAND.state = kSettled;
        SIGNAL(COMPLETION_OF_COMMAND.done)
      :: !commands[command].synchronous
      :: atomic {
          !commands[command].synchronous && raisingCommands > 0 ->
          raisingCommands--;
          raised = true
        }
      fi
    fi;
    atomic { Delete(command) })
}

// Between two commands, which must not be when a request's event was set before.
inline LookAtTheMark() {
  atomic {
    pending = DEFECT != DRAIN_WITHOUT_THE_MARK &&
      (stopIsComing_ || flushesRequested_ != flushesBegun_);
    assert(pending || !(stopRequest_ || flushSet > flushesBegun_))
  }
}

inline Abort() {
  kClosed = kClosed || DEFECT != ABORT_WITHOUT_CLOSING_THE_QUEUE;
  isAborted_ = true;
  if
  :: aborted_ = true
  :: CALL_FAILS ->
    if
    :: atomic { DEFECT != ABORT_WITHOUT_A_SECOND_TRY -> aborted_ = true }
    :: DEFECT == ABORT_WITHOUT_A_SECOND_TRY -> raised = true
    :: CALL_FAILS -> raised = true
    fi
  fi;
  DeleteUnservedCommands()
}

inline OnFlushWrapper() {
  atomic { requested = flushesRequested_; flushesBegun_ = requested };
  do
  :: ExecuteNextCommand();
    WHEN(raised || !more, break)
  od;
  WHEN(!raised,
    flushesServed_ = requested;
    SIGNAL(flushDone_))
}

inline OnStopWrapper() {
  WHEN(!stopIsServed_,
    stopIsServed_ = true;
    atomic { WHEN(!stopIsRequested_, stopIsRequested_ = true; Promise()) };
    do
    :: ExecuteNextCommand();
      raised = false;
      WHEN(!more, break)
    od;
    Abort())
}

inline ReopenQueue() {
  wasClosed = false;
  do
  :: !kClosed -> break
  :: else ->
    wasClosed = true;
    DeleteUnservedCommands();
    atomic { deleters == 0 || DEFECT == REOPEN_AMONG_DELETERS -> kClosed = false }
  od
}

inline Fail() {
  atomic {
    workerFails = true;
    for (index : 0 .. COMMANDS - 1) { commands[index].mustRun = false }
    index = 0
  }
}

proctype Worker(byte life) {
  byte command, unserved, index, requested;
  bool more, raised, taken, wasClosed, pending;
  threadId_ = (DEFECT == WORKER_WITHOUT_ITS_ID -> threadId_ : life);
  workerFails = false;
  CallItself();  // the thread-start callback
  ReopenQueue();
  if
  :: threadStarted_ = true
  :: atomic { life > 1 && failingCalls > 0 -> failingCalls-- };
    // Not in a first start, which would leave callers waiting for another one.
    WHEN(wasClosed, Fail(); Abort());
    goto end
  fi;
  do
  :: // WaitForEvents: the first that is signalled
    if
    :: atomic { flushRequest_ -> flushRequest_ = false }; OnFlushWrapper()
    :: !flushRequest_ && stopRequest_ -> OnStopWrapper()
    :: !flushRequest_ && !stopRequest_ && nempty(queue_) ->
      do
      :: ExecuteNextCommand();
        WHEN(raised || !more, break);
        LookAtTheMark();
        WHEN(pending, break)
      od
    :: CALL_FAILS -> raised = true
    fi;
    atomic {
      if
      :: !raised
      :: raised && stopIsRequested_ && !stopIsServed_ && DEFECT != FAIL_DURING_A_STOP ->
        raised = false  // IsStopPending
      :: else -> Fail(); break
      fi
    };
    // ServeStopRequest
    WHEN(stopIsServed_ || stopIsRequested_,
      WHEN(!stopIsServed_ && DEFECT != LEAVE_WITHOUT_ON_STOP,
        if
        :: atomic { flushRequest_ -> flushRequest_ = false }; OnFlushWrapper(); raised = false
        :: !flushRequest_
        :: CALL_FAILS
        fi;
        OnStopWrapper());
      break)
  od;
  WHEN(raised, raised = false; Fail(); Abort());
end:
  atomic { assert(!destroyed); ended[life] = true }
}

init {
  byte handle, index;
  mtype before;
  bool failed, last;
  Start();
  atomic { run Caller(FIRST_CALLS); run Caller(SECOND_CALLS) };
  // An object is not destroyed while others are about to call it; a stop that waits may be.
  settled == 2;
  StopBeforeDestruction();
  atomic {
    destroyed = true;
    assert(thread_ == 0 || ended[thread_]);
    assert(empty(queue_));
    for (index : 0 .. made - 1) { assert(commands[index].deleted) }
  }
}
