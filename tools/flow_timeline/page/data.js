// SPDX-License-Identifier: MIT
'use strict';

// What the program wrote into the page, as typed arrays. A record is known by its number, which is
// its place in the dump. Times are microseconds on the clock of the dump.

const KIND = {
  rootError: -105, warning: -101, stateChange: -25, messageSend: -21, messageReceive: -20,
  construction: -14, destruction: -13, scopePop: -8, scopePush: -7, timingPoint: 0,
};
const SLICE = { whole: 0, open: 1, cutShort: 2, endOnly: 3 };

// Functions in which the library's callers wait; so do all whose names begin with "Wait".
const WAITING_FUNCTIONS = new Set([
  'MCommandProcessor::ExecuteSynchronously', 'MEngineThread::Start', 'MEngineThread::Flush',
  'MEngineThread::Stop',
]);

function addUp(deltas, Type) {
  const values = new Type(deltas.length);
  let sum = 0;
  for (let i = 0; i < deltas.length; ++i) values[i] = sum += deltas[i];
  return values;
}

/** The first index at which `values`, which rise, reach `limit`. */
function firstAtOrAbove(values, limit) {
  let low = 0;
  let high = values.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (values[middle] >= limit) high = middle; else low = middle + 1;
  }
  return low;
}

class FlowData {
  constructor(json) {
    this.title = json.title;
    this.head = json.head;
    this.texts = json.texts;
    this.objects = json.objects.map(([address, name]) => ({ address, name: this.texts[name] }));
    this.events = json.events.map(([kind, name]) => ({ kind, name }));
    this.shapes = json.shapes.map((shape) => this.readShape(shape));
    this.shape = Uint32Array.from(json.records.shape);
    this.time = addUp(json.records.time, Float64Array);
    this.argument1 = Int32Array.from(json.records.argument1);
    this.argument2 = Int32Array.from(json.records.argument2);
    this.recordedTime = new Map(json.records.moved);
    this.threads = json.threads.map((thread, index) => this.readThread(thread, index));
    this.shapes.forEach((shape) => { shape.threadName = this.threads[shape.thread].name; });
    this.lanes = json.lanes.map((lane, index) => this.readLane(lane, index));
    this.readMessages(json.messages);
    this.findItems();
    this.findSelfTimes();
  }

  readShape([event, classId, className, pointId, point, object, thread, detail]) {
    const { kind, name } = this.events[event];
    const shape = {
      kind, event: name, classId, pointId, thread, object, objectName: this.objects[object].name,
      className: this.texts[className], point: this.texts[point], detail: this.texts[detail],
      isError: kind >= KIND.rootError && kind < KIND.warning,
      isWarning: kind === KIND.warning,
      isScope: kind === KIND.scopePush || kind === KIND.scopePop,
    };
    shape.place = shape.className + '::' + shape.point;
    shape.isWait = shape.point.startsWith('Wait') || WAITING_FUNCTIONS.has(shape.place);
    shape.isMark = !shape.isScope && kind !== KIND.stateChange;
    return shape;
  }

  readThread(thread, index) {
    const record = addUp(thread.record, Uint32Array);
    const start = new Float64Array(record.length);
    const finish = new Float64Array(record.length);
    for (let i = 0; i < record.length; ++i) {
      start[i] = thread.kind[i] === SLICE.endOnly ? thread.start : this.time[record[i]];
      finish[i] = start[i] + thread.duration[i];
    }
    return {
      index, id: thread.id, name: this.texts[thread.name], depth: thread.depth, record, start,
      finish,
      end: Int32Array.from(thread.end), level: Uint32Array.from(thread.level),
      kind: Uint8Array.from(thread.kind), marks: [],
    };
  }

  readLane(lane, index) {
    const record = addUp(lane.record, Uint32Array);
    const start = Float64Array.from(record, (number) => this.time[number]);
    const finish = start.map((time, i) => time + lane.duration[i]);
    return {
      index, className: this.texts[lane.class], object: this.objects[lane.object], record, start,
      finish,
    };
  }

  readMessages(messages) {
    this.send = addUp(messages.send, Uint32Array);
    this.receive = Uint32Array.from(messages.receive, (distance, i) => this.send[i] + distance);
    this.partner = new Map();
    this.send.forEach((send, i) => {
      this.partner.set(send, this.receive[i]);
      this.partner.set(this.receive[i], send);
    });
  }

  /** Finds what stands for each record: a slice, a state or a mark; and the order in time. */
  findItems() {
    const count = this.shape.length;
    this.sliceOf = new Int32Array(count).fill(-1);  // index in its thread's slices
    this.stateOf = new Map();  // record to [lane, index]
    const endsSlice = new Uint8Array(count);
    for (const thread of this.threads) {
      thread.record.forEach((record, i) => {
        this.sliceOf[record] = i;
        if (thread.kind[i] === SLICE.whole) endsSlice[record + thread.end[i]] = 1;
      });
    }
    for (const lane of this.lanes) {
      lane.record.forEach((record, i) => this.stateOf.set(record, [lane, i]));
    }
    const items = [];
    this.errorCount = 0;
    this.warningCount = 0;
    for (let record = 0; record < count; ++record) {
      const shape = this.shapeOf(record);
      if (!endsSlice[record]) items.push(record);
      if (shape.isMark) this.threads[shape.thread].marks.push(record);
      this.errorCount += shape.isError;
      this.warningCount += shape.isWarning;
    }
    for (const thread of this.threads) thread.marks = Uint32Array.from(thread.marks);
    this.items = Uint32Array.from(items).sort((a, b) => this.startOf(a) - this.startOf(b) || a - b);
  }

  /** How long each slice lasts without those in it. */
  findSelfTimes() {
    for (const thread of this.threads) {
      const self = thread.finish.map((finish, i) => finish - thread.start[i]);
      const open = [];  // slices around, by level
      for (let i = 0; i < self.length; ++i) {
        const level = thread.level[i];
        open[level] = i;
        if (level > 0 && thread.kind[i] !== SLICE.endOnly) {
          self[open[level - 1]] -= thread.finish[i] - thread.start[i];
        }
      }
      thread.self = self;
    }
  }

  shapeOf(record) { return this.shapes[this.shape[record]]; }

  startOf(record) {
    const slice = this.sliceOf[record];
    return slice < 0 ? this.time[record] : this.threads[this.shapeOf(record).thread].start[slice];
  }

  finishOf(record) {
    const slice = this.sliceOf[record];
    if (slice >= 0) return this.threads[this.shapeOf(record).thread].finish[slice];
    const state = this.stateOf.get(record);
    return state ? state[0].finish[state[1]] : this.time[record];
  }

  /** What the record is called on the page. */
  nameOf(record) {
    const shape = this.shapeOf(record);
    if (shape.isScope) return shape.place;
    const what = shape.detail || (shape.isMark ? shape.place : `state ${this.argument1[record]}`);
    return shape.kind === KIND.stateChange ? what : `${shape.event} ${what}`;
  }

  objectText(object) {
    return object.name === 'unknown' ? object.address : `${object.name} ${object.address}`;
  }

  threadText(thread) { return `${thread.name} (${thread.id})`; }

  /** The items, in the order of time, that hold `words` in the field. */
  search(words, field) {
    const wanted = words.toLowerCase();
    const fields = {
      class: (shape) => shape.className,
      function: (shape) => shape.point,
      object: (shape) => this.objectText(this.objects[shape.object]),
      thread: (shape) => this.threadText(this.threads[shape.thread]),
      error: (shape) => (shape.isError || shape.isWarning ? `${shape.event} ${shape.detail}` : ''),
      anything: (shape) => [shape.event, shape.detail, shape.place, fields.object(shape),
        fields.thread(shape)].join('\n'),
    };
    const matches = this.shapes.map((shape) => {
      if (field === 'error' && !shape.isError && !shape.isWarning) return false;
      return fields[field](shape).toLowerCase().includes(wanted);
    });
    return this.items.filter((record) => matches[this.shape[record]]);
  }

  /** Time on the wall clock of the machine that recorded, in milliseconds; null when unknown. */
  wallClockOf(time) {
    const { loggerTime, loggerWallClock } = this.head;
    if (loggerTime === null || loggerWallClock === null) return null;
    return (loggerWallClock + time - loggerTime) / 1000;
  }
}
