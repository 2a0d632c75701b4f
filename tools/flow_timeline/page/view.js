// SPDX-License-Identifier: MIT

// What is seen of the timeline: the range in time, the filters, and the rows that they leave.

// Heights of what a row consists of.
const THREAD_HEAD = 24;
const LEVEL = 17;
const LANE = 21;
const SECTION = 26;
const MAX_LEVELS = 60;
const SMALLEST_SPAN = 4;  // microseconds
const STATE_COLOURS = [
  ['#4e79a7', '#fff'], ['#3f7f93', '#fff'], ['#f28e2b', '#111'], ['#b07aa1', '#111'],
  ['#e15759', '#111'], ['#76b7b2', '#111'], ['#edc948', '#111'], ['#9c755f', '#fff'],
  ['#7fbf6a', '#111'], ['#d37295', '#111'], ['#a0cbe8', '#111'], ['#3b6b3f', '#fff'],
];

/** The part of the timeline that is seen, and what is filtered out. */
class View {
  constructor(data) {
    this.data = data;
    this.hiddenThreads = new Set();
    this.hiddenClasses = new Set();
    this.selected = -1;
    this.matches = new Uint32Array(0);
    this.isMatch = null;
    this.listeners = [];
    this.chooseStateColours();
    this.showAll();
    this.filter();
  }

  onChange(listener) { this.listeners.push(listener); }
  changed() { for (const listener of this.listeners) listener(); }

  get span() { return this.finish - this.start; }

  showAll() {
    const { firstTime, lastTime } = this.data.head;
    const margin = Math.max((lastTime - firstTime) * 0.01, SMALLEST_SPAN / 2);
    this.start = firstTime - margin;
    this.finish = lastTime + margin;
    this.changed();
  }

  show(start, finish) {
    const { firstTime, lastTime } = this.data.head;
    const widest = Math.max((lastTime - firstTime) * 1.2, 4 * SMALLEST_SPAN);
    const span = Math.min(Math.max(finish - start, SMALLEST_SPAN), widest);
    // No more than a tenth of what is seen may be before the first record or behind the last.
    const limits = [firstTime - span * 0.1, lastTime - span * 0.9].sort((a, b) => a - b);
    this.start = Math.min(Math.max((start + finish - span) / 2, limits[0]), limits[1]);
    this.finish = this.start + span;
    this.changed();
  }

  zoom(factor, time = (this.start + this.finish) / 2) {
    const span = Math.max(this.span * factor, SMALLEST_SPAN);
    const start = time - ((time - this.start) * span) / this.span;
    this.show(start, start + span);
  }

  pan(part) { this.show(this.start + this.span * part, this.finish + this.span * part); }

  /** The same name has the same colour on every page, but for two names that want the same one. */
  chooseStateColours() {
    const names = new Set();
    for (const lane of this.data.lanes) for (const r of lane.record) names.add(this.data.nameOf(r));
    this.stateColours = new Map();
    const taken = new Set();
    for (const name of [...names].sort()) {
      let index = hashOf(name) % STATE_COLOURS.length;
      while (taken.size < STATE_COLOURS.length && taken.has(index)) {
        index = (index + 1) % STATE_COLOURS.length;
      }
      taken.add(index);
      this.stateColours.set(name, STATE_COLOURS[index]);
    }
  }

  isShown(record) {
    const shape = this.data.shapeOf(record);
    return !this.hiddenThreads.has(shape.thread) && !this.hiddenClasses.has(shape.className);
  }

  /** Sorts what the filters leave into rows, from top to bottom. */
  filter() {
    this.rows = [];
    this.counts = { scopes: 0, marks: 0, states: 0, tooDeep: 0 };
    let y = 0;
    const rowOfThread = new Map();
    for (const thread of this.data.threads) {
      if (this.hiddenThreads.has(thread.index)) continue;
      const row = this.threadRow(thread, y);
      rowOfThread.set(thread.index, row);
      this.rows.push(row);
      y += row.height;
    }
    const lanes = this.data.lanes.map((lane) => this.laneRow(lane)).filter((row) => row.count > 0);
    if (lanes.length > 0) {
      this.rows.push({ type: 'section', y, height: SECTION });
      y += SECTION;
      for (const row of lanes) {
        row.y = y;
        this.rows.push(row);
        y += row.height;
      }
    }
    this.height = y;
    this.findArrows(rowOfThread);
    this.changed();
  }

  threadRow(thread, y) {
    const levels = Array.from({ length: Math.min(thread.depth, MAX_LEVELS) }, () => []);
    for (let i = 0; i < thread.record.length; ++i) {
      if (!this.isShown(thread.record[i])) continue;
      if (thread.level[i] < MAX_LEVELS) {
        levels[thread.level[i]].push(i);
        ++this.counts.scopes;
      } else {
        ++this.counts.tooDeep;
      }
    }
    const marks = thread.marks.filter((record) => this.isShown(record));
    this.counts.marks += marks.length;
    return {
      type: 'thread', thread, y, height: THREAD_HEAD + levels.length * LEVEL + 8,
      levels: levels.map((slices) => ({
        slice: Uint32Array.from(slices),
        start: Float64Array.from(slices, (i) => thread.start[i]),
        finish: Float64Array.from(slices, (i) => thread.finish[i]),
      })),
      mark: marks,
      markTime: Float64Array.from(marks, (record) => this.data.time[record]),
    };
  }

  laneRow(lane) {
    const states = [...lane.record.keys()].filter((i) => this.isShown(lane.record[i]));
    this.counts.states += states.length;
    return {
      type: 'lane', lane, height: LANE, count: states.length,
      record: Uint32Array.from(states, (i) => lane.record[i]),
      start: Float64Array.from(states, (i) => lane.start[i]),
      finish: Float64Array.from(states, (i) => lane.finish[i]),
    };
  }

  findArrows(rowOfThread) {
    const { data } = this;
    this.arrows = [];
    data.send.forEach((send, i) => {
      const receive = data.receive[i];
      if (!this.isShown(send) || !this.isShown(receive)) return;
      this.arrows.push({
        from: data.time[send], to: data.time[receive], send, receive,
        fromRow: rowOfThread.get(data.shapeOf(send).thread),
        toRow: rowOfThread.get(data.shapeOf(receive).thread),
      });
    });
    this.arrows.sort((a, b) => a.from - b.from);
  }

  setMatches(matches) {
    this.matches = matches;
    this.isMatch = null;
    if (matches.length > 0) {
      this.isMatch = new Uint8Array(this.data.shape.length);
      for (const record of matches) this.isMatch[record] = 1;
    }
    this.changed();
  }
}
