// SPDX-License-Identifier: MIT
// The protocol between an MCommandProcessor, its worker and its callers. Names are those of
// orvel/threads/engine_thread.cpp, orvel/commands/command_processor.cpp and
// orvel/commands/abort_protocol.cpp; README.md beside this file says what is covered and how it is
// run.

// Two callers make FIRST_CALLS and SECOND_CALLS calls, chosen in every way there is.
#define COMMANDS (FIRST_CALLS + SECOND_CALLS)
#define LIVES (FIRST_CALLS + SECOND_CALLS + 1)

mtype = { kInactive, kStarting, kRunning, kStopping };
mtype:completion = { kQueued, kExecuting, kSettled };

// The engine. A life of the worker has a number, which is its thread's id and its handle at once.
mtype state_ = kInactive;
bool mutex_;
byte threadId_;
byte thread_;
bool flushRequest_;
bool stopRequest_;
bool threadStarted_;
bool flushDone_;
bool stopIsServed_;
bool stopIsComing_;
bool stopIsRequested_;
bool stopIsUnderWay_;
byte flushesRequested_;
byte flushesBegun_;
byte flushesServed_;
byte lives;
bool ended[LIVES + 1];

// The processor. The not-empty event is set and reset under the queue's lock: it is the queue.
chan queue_ = [COMMANDS] of { byte };
bool kClosed;
byte deleters;  // the rest of gate_
bool isAborted_;
bool aborted_;

typedef Command {
  bool executed;
  bool deleted;
  bool mustRun;      // was queued, and since then neither was a stop requested nor did the worker fail
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
  index = 0;
  do
  :: index < made ->
    commands[index].isPromised = commands[index].isPromised || commands[index].mustRun;
    index++
  :: else -> break
  od;
  index = 0
}

inline RequestStop() {
#ifndef MARK_AFTER_THE_EVENT
  stopIsComing_ = true;
#endif
  if
  :: stopRequest_ = true;
    stopIsComing_ = true;
    atomic { stopIsRequested_ = true; Promise() };
    failed = false
  :: CALL_FAILS -> stopIsComing_ = stopIsRequested_; failed = true
  fi
}

inline EndWorker() {
  if
  :: thread_ != 0 ->
    RequestStop();
    if
    :: !failed -> WaitForThread(thread_)
    :: failed
    fi
  :: else
  fi;
  BecomeInactive()
}

inline Start() {
  Lock();
  if
  :: state_ != kInactive
  :: else ->
    atomic {
      stopRequest_ = false; flushRequest_ = false; threadStarted_ = false; flushDone_ = false;
      stopIsServed_ = false;
      stopIsRequested_ = false
    }
    atomic { lives++; thread_ = lives; run Worker(lives) }
    threadId_ = thread_;
    state_ = kStarting;
    if
    :: atomic { threadStarted_ -> threadStarted_ = false }; state_ = kRunning
    :: !threadStarted_ && ended[thread_] -> EndWorker()
    :: CALL_FAILS -> EndWorker()
    fi
  fi;
  Unlock()
}

inline Flush() {
  Lock();
  if
  :: state_ == kInactive
  :: else ->
#ifndef MARK_AFTER_THE_EVENT
    flushesRequested_++;
#endif
    if
#ifndef MARK_AFTER_THE_EVENT
    :: atomic { flushRequest_ = true; flushSet = flushesRequested_ };
#else
    :: atomic { flushRequest_ = true; flushSet = flushesRequested_ + 1 };
      flushesRequested_++;
#endif
      do
      :: atomic { flushDone_ -> flushDone_ = false };
        if
#ifndef TAKE_ANY_ANSWER_TO_A_FLUSH
        :: flushesServed_ != flushesRequested_
#endif
        :: else -> assert(!queued || commands[mine].deleted); break
        fi
#ifndef FLUSH_WITHOUT_LOOKING_AT_THE_THREAD
      :: !flushDone_ && ended[thread_] -> break
#endif
      :: CALL_FAILS -> break
      od
    :: CALL_FAILS -> flushesBegun_ = flushesRequested_
    fi
  fi;
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
      atomic {
        Unlock();
        if
        :: last -> settled++; last = false
        :: else
        fi
      };
      WaitForThread(handle);
      Lock();
      stopIsUnderWay_ = false;
      if
      :: !failed -> BecomeInactive()
      :: failed && endsAlways -> EndWorker()
      :: failed && !endsAlways
      fi
    :: failed ->
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
#ifndef DESTRUCTION_DURING_A_STOP
  Lock();
  if
  :: thread_ != 0 -> WaitForThread(thread_)
  :: else
  fi;
  Unlock();
  atomic { !mutex_ && !stopIsUnderWay_ }
#endif
}

// Caller and command, each once, the latter with the command.
inline LetGo(completion_) {
  atomic {
    completions[completion_].holders--;
    if
#ifdef LEND_BEFORE_IT_IS_RESET
    :: completions[completion_].holders == 0 -> completions[completion_].rests = true
#else
    :: completions[completion_].holders == 0 && completions[completion_].isReset ->
      completions[completion_].rests = true
#endif
#ifdef LEND_WHILE_THE_COMMAND_HOLDS
    :: completions[completion_].holders == 1 -> completions[completion_].rests = true
#endif
    :: else
    fi
  }
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
        assert(!commands[unserved].mustRun && !commands[unserved].deleted);
        assert(!commands[unserved].isPromised);
        commands[unserved].deleted = true;
        if
        :: commands[unserved].synchronous -> LetGo(commands[unserved].completion)
        :: else
        fi
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
      if
      :: isSynchronous -> Lend()
      :: else
      fi;
      queue_!mine;
      commands[mine].mustRun = !kClosed && !stopRequest_ && !workerFails;
      queued = true
    };
    DeleteUnservedCommands()
  :: atomic { CALL_FAILS -> commands[mine].deleted = true; queued = false }
  fi
}

inline Lend() {
  index = 0;
  do
  :: index < created && !completions[index].rests -> index++
  :: else -> break
  od;
  if
  :: index == created -> created++
  :: else
  fi;
  commands[mine].completion = index;
  COMPLETION.state = kQueued;
  COMPLETION.isReset = false;
  COMPLETION.holders = 2;
  COMPLETION.rests = false;
  index = 0
}

inline ExecuteSynchronously() {
  if
  :: isAborted_
  :: else ->
    Push(true);
    if
    :: !queued
    :: else ->
      if
      :: atomic { COMPLETION.done -> COMPLETION.done = false; COMPLETION.isReset = true };
        assert(commands[mine].executed)
#ifndef WAIT_WITHOUT_ABORT
      :: atomic { !COMPLETION.done && aborted_ }; Leave()
#endif
      :: CALL_FAILS -> Leave()
      fi;
      LetGo(commands[mine].completion)
    fi
  fi
}

inline Leave() {
#ifndef LEAVE_WHILE_IT_RUNS
  atomic { COMPLETION.state != kExecuting -> COMPLETION.state = kSettled };
#endif
  atomic { assert(COMPLETION.state != kExecuting); commands[mine].callerLeft = true }
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
  if
  :: last -> settled++
  :: else
  fi
}

// What a handler may do wrong. Without knowing that it is the worker it would wait for the lock.
inline CallItself() {
  if
  :: threadId_ == life
  :: else -> Lock(); Unlock()
  fi
}

inline ExecuteNextCommand() {
  atomic {
    if
    :: queue_?command -> more = true
    :: empty(queue_) -> more = false
    fi
  };
  if
  :: !more
  :: else ->
    assert(!destroyed);
    if
    :: atomic { commands[command].synchronous && COMPLETION_OF_COMMAND.state == kSettled }
    :: atomic {
        !commands[command].synchronous || COMPLETION_OF_COMMAND.state == kQueued ->
        if
        :: commands[command].synchronous -> COMPLETION_OF_COMMAND.state = kExecuting
        :: else
        fi
      };
      CallItself();
      atomic { assert(!commands[command].executed && !commands[command].callerLeft);
        commands[command].executed = true };
      if
      :: commands[command].synchronous ->
        COMPLETION_OF_COMMAND.state = kSettled;
        if
        :: COMPLETION_OF_COMMAND.done = true
        :: CALL_FAILS -> raised = true
        fi
      :: !commands[command].synchronous
      :: atomic {
          !commands[command].synchronous && raisingCommands > 0 ->
          raisingCommands--;
          raised = true
        }
      fi
    fi;
    atomic {
      assert(!commands[command].deleted);
      commands[command].deleted = true;
      if
      :: commands[command].synchronous -> LetGo(commands[command].completion)
      :: else
      fi
    }
  fi
}

// Between two commands, which must not be when a request's event was set before.
inline LookAtTheMark() {
  atomic {
#ifdef DRAIN_WITHOUT_THE_MARK
    pending = false;
#else
    pending = stopIsComing_ || flushesRequested_ != flushesBegun_;
#endif
    assert(pending || !(stopRequest_ || flushSet > flushesBegun_))
  }
}

inline Abort() {
#ifndef ABORT_WITHOUT_CLOSING_THE_QUEUE
  kClosed = true;
#endif
  isAborted_ = true;
  if
  :: aborted_ = true
  :: CALL_FAILS ->
#ifdef ABORT_WITHOUT_A_SECOND_TRY
    raised = true
#else
    if
    :: aborted_ = true
    :: CALL_FAILS -> raised = true
    fi
#endif
  fi;
  DeleteUnservedCommands()
}

inline OnFlushWrapper() {
  atomic { requested = flushesRequested_; flushesBegun_ = requested };
  do
  :: ExecuteNextCommand();
    if
    :: raised || !more -> break
    :: else
    fi
  od;
  if
  :: raised
  :: else ->
    flushesServed_ = requested;
    if
    :: flushDone_ = true
    :: CALL_FAILS -> raised = true
    fi
  fi
}

inline OnStopWrapper() {
  if
  :: stopIsServed_
  :: else ->
    stopIsServed_ = true;
    atomic {
      if
      :: !stopIsRequested_ -> stopIsRequested_ = true; Promise()
      :: else
      fi
    };
    do
    :: ExecuteNextCommand();
      raised = false;
      if
      :: !more -> break
      :: else
      fi
    od;
    Abort()
  fi
}

inline ReopenQueue() {
  wasClosed = false;
  do
  :: !kClosed -> break
  :: else ->
    wasClosed = true;
    DeleteUnservedCommands();
#ifdef REOPEN_AMONG_DELETERS
    kClosed = false
#else
    atomic { deleters == 0 -> kClosed = false }
#endif
  od
}

inline Fail() {
  atomic {
    workerFails = true;
    index = 0;
    do
    :: index < COMMANDS -> commands[index].mustRun = false; index++
    :: else -> break
    od;
    index = 0
  }
}

proctype Worker(byte life) {
  byte command, unserved, index, requested;
  bool more, raised, taken, wasClosed, pending;
#ifndef WORKER_WITHOUT_ITS_ID
  threadId_ = life;
#endif
  workerFails = false;
  CallItself();  // the thread-start callback
  ReopenQueue();
  if
  :: threadStarted_ = true
  :: atomic { life > 1 && failingCalls > 0 -> failingCalls-- };
    // Not in a first start, which would leave callers waiting for another one.
    if
    :: wasClosed -> Fail(); Abort()
    :: else
    fi;
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
        if
        :: raised || !more -> break
        :: else
        fi;
        LookAtTheMark();
        if
        :: pending -> break
        :: else
        fi
      od
    :: CALL_FAILS -> raised = true
    fi;
    atomic {
      if
      :: !raised
#ifndef FAIL_DURING_A_STOP
      :: raised && stopIsRequested_ && !stopIsServed_ -> raised = false  // IsStopPending
      :: raised && !(stopIsRequested_ && !stopIsServed_) -> Fail(); break
#else
      :: raised -> Fail(); break
#endif
      fi
    };
    // ServeStopRequest
    if
    :: !stopIsServed_ && !stopIsRequested_
    :: stopIsServed_ || stopIsRequested_ ->
#ifndef LEAVE_WITHOUT_ON_STOP
      if
      :: stopIsServed_
      :: else ->
        if
        :: atomic { flushRequest_ -> flushRequest_ = false }; OnFlushWrapper(); raised = false
        :: !flushRequest_
        :: CALL_FAILS
        fi;
        OnStopWrapper()
      fi;
#endif
      break
    fi
  od;
  if
  :: raised ->
    raised = false;
    Fail();
    Abort()
  :: else
  fi;
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
    do
    :: index < made -> assert(commands[index].deleted); index++
    :: else -> break
    od
  }
}
