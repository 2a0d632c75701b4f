// SPDX-License-Identifier: MIT

// The panels beside the timeline: summary, details of a record, filters, and the signs in the help.

const TOP = 10;
const MANY = 30;
const MANY_CHOICES = 500;

class Panels {
  constructor(view, select) {
    this.view = view;
    this.data = view.data;
    this.select = select;  // selects a record and shows it
  }

  link(text, record) {
    // A long name may break between class and function.
    const button = element('button', { type: 'button', className: 'link' },
      text.replaceAll('::', '::\u200b'));
    button.addEventListener('click', () => this.select(record, true));
    return button;
  }

  table(heads, rows) {
    const cell = (tag, content, i) => element(tag, {
      className: i > 0 ? 'number' : '', ...(tag === 'th' ? { scope: 'col' } : {}),
    }, content);
    return element('table', {},
      element('thead', {}, element('tr', {}, ...heads.map((head, i) => cell('th', head, i)))),
      element('tbody', {}, ...rows.map((row) => element('tr', {},
        ...row.map((content, i) => cell('td', content, i))))));
  }

  facts(pairs) {
    return element('dl', {}, ...pairs.flatMap(([name, value]) => [
      element('dt', {}, name), element('dd', {}, value)]));
  }

  showSummary(panel) {
    const { data } = this;
    const { firstTime, lastTime } = data.head;
    const { counts } = this.view;
    panel.append(
      element('h2', {}, 'Summary'),
      this.facts([
        ['Records', `${formatCount(data.shape.length)} of ${
          formatCounted(data.threads.length, 'thread', 'threads')}`],
        ['Shown as', `${formatCounted(counts.scopes, 'scope', 'scopes')}, ${
          formatCounted(counts.marks, 'mark', 'marks')}, ${
          formatCounted(counts.states, 'state', 'states')}, ${
          formatCounted(data.send.length, 'arrow', 'arrows')}`],
        ['Covers', formatDuration(lastTime - firstTime)],
        ['From', formatWallClock(data, firstTime)],
        ['To', formatWallClock(data, lastTime)]]),
      element('h3', {}, 'What is not shown as it was'), ...this.notes(counts),
      element('h3', {}, 'Errors and warnings'), this.errors(),
      element('h3', {}, 'Busiest functions'), this.busiest(),
      element('h3', {}, 'Longest scopes'), this.longest(),
      element('h3', {}, 'Waits'), this.waits());
    if (this.view.stateColours.size > 0) {
      const items = [...this.view.stateColours].map(([name, [back, text]]) => {
        const item = element('li', {}, name);
        item.style.background = back;
        item.style.color = text;
        return item;
      });
      panel.append(element('h3', {}, 'Colours of states'),
        element('ul', { className: 'legend' }, ...items));
    }
  }

  notes(counts) {
    const { head } = this.data;
    const notes = [];
    if (head.isRingFull) {
      notes.push(`The ring was full (${formatCount(head.capacity)} records): what happened before ${
        formatTime(head.firstTime)}, at ${
        formatWallClock(this.data, head.firstTime)}, is overwritten.`);
    }
    if (head.skippedRecords > 0) {
      notes.push(`${formatCounted(head.skippedRecords, 'record', 'records')} could not be read.`);
    }
    if (head.strayLines > 0) {
      notes.push(`${formatCounted(head.strayLines, 'line of the file belongs',
        'lines of the file belong')} to no record.`);
    }
    if (head.isCut) notes.push('The file ends inside a record: its end is missing.');
    if (head.holdsAnother) notes.push('The file goes on with another dump, which is not shown.');
    if (!head.hasHead) notes.push('The head of the dump is missing: the wall clock is not known.');
    if (head.movedRecords > 0) {
      notes.push(`${formatCounted(head.movedRecords, 'record', 'records')
      } had a time before that of the record before in the same thread, and stand at that time.`);
    }
    if (counts.tooDeep > 0) {
      notes.push(`${formatCounted(counts.tooDeep, 'scope', 'scopes')} more than ${
        MAX_LEVELS} deep are not drawn.`);
    }
    const kinds = [0, 0, 0, 0];
    for (const thread of this.data.threads) for (const kind of thread.kind) ++kinds[kind];
    if (kinds[SLICE.open] > 0) {
      notes.push(`${formatCounted(kinds[SLICE.open], 'scope was', 'scopes were')
      } not left when the dump was made: drawn to its last time.`);
    }
    if (kinds[SLICE.endOnly] > 0) {
      notes.push(`${formatCounted(kinds[SLICE.endOnly], 'scope has', 'scopes have')
      } no begin in the dump: drawn without width where the thread begins.`);
    }
    if (kinds[SLICE.cutShort] > 0) {
      notes.push(`${formatCounted(kinds[SLICE.cutShort], 'scope has', 'scopes have')
      } no end in the dump: drawn to the end of a scope around.`);
    }
    const note = (text) => element('p', { className: 'note' }, text);
    if (notes.length > 0) return notes.map(note);
    return [element('p', { className: 'note good' }, 'Every record of the dump is shown.')];
  }

  /** Groups the records that `choose` takes by what they say. */
  errors() {
    const { data } = this;
    const groups = new Map();
    for (const record of data.items) {
      const shape = data.shapeOf(record);
      if (!shape.isError && !shape.isWarning) continue;
      const key = `${shape.event}\n${shape.detail}\n${shape.place}`;
      const group = groups.get(key);
      if (group) ++group.count;
      else groups.set(key, { record, shape, count: 1 });
    }
    if (groups.size === 0) return element('p', {}, 'None.');
    const sorted = [...groups.values()].sort(
      (a, b) => b.shape.isError - a.shape.isError || b.count - a.count);
    const rows = sorted.slice(0, MANY).map(({ record, shape, count }) => {
      const link = this.link(`${shape.detail} in ${shape.place}`, record);
      link.classList.add(shape.isError ? 'error' : 'warning');
      return [element('span', {}, link, ` ${shape.event}`), formatCount(count)];
    });
    return element('div', {}, this.table(['What, where', 'Count'], rows),
      ...this.more(sorted.length - rows.length, 'kind', 'kinds'));
  }

  /** Says how many a list leaves out. */
  more(count, one, many) {
    const others = formatCounted(count, `other ${one}`, `other ${many}`);
    return count > 0 ? [element('p', {}, `and ${others}`)] : [];
  }

  busiest() {
    const { data } = this;
    const places = new Map();
    for (const thread of data.threads) {
      thread.record.forEach((record, i) => {
        const shape = data.shapeOf(record);
        if (shape.isWait) return;
        const place = places.get(shape.place) || { calls: 0, self: 0, longest: record, length: -1 };
        places.set(shape.place, place);
        ++place.calls;
        place.self += thread.self[i];
        const length = thread.finish[i] - thread.start[i];
        if (length > place.length) { place.length = length; place.longest = record; }
      });
    }
    const rows = [...places].sort((a, b) => b[1].self - a[1].self).slice(0, TOP)
      .map(([place, { calls, self, longest }]) => [
        this.link(place, longest), formatCount(calls), formatDuration(self)]);
    if (rows.length === 0) return element('p', {}, 'None.');
    return element('div', {}, this.table(['Function, without waiting', 'Calls', 'Own time'], rows));
  }

  longest() {
    const { data } = this;
    const best = [];
    for (const thread of data.threads) {
      thread.record.forEach((record, i) => {
        const length = thread.finish[i] - thread.start[i];
        if (best.length >= TOP && length <= best[best.length - 1].length) return;
        best.push({ record, length });
        best.sort((a, b) => b.length - a.length);
        best.length = Math.min(best.length, TOP);
      });
    }
    if (best.length === 0) return element('p', {}, 'None.');
    return this.table(['Scope', 'Thread', 'Time'], best.map(({ record, length }) => {
      const shape = data.shapeOf(record);
      return [this.link(shape.place, record), String(data.threads[shape.thread].id),
        formatDuration(length)];
    }));
  }

  waits() {
    const { data } = this;
    const threads = data.threads.map((thread) => {
      let time = 0;
      let count = 0;
      let longest = -1;
      thread.record.forEach((record, i) => {
        if (!data.shapeOf(record).isWait) return;
        ++count;
        time += thread.self[i];
        if (longest < 0 || thread.self[i] > thread.self[longest]) longest = i;
      });
      const marks = thread.marks;
      const first = Math.min(thread.start[0] ?? Infinity, data.time[marks[0]] ?? Infinity);
      const last = Math.max(thread.finish.reduce((a, b) => Math.max(a, b), -Infinity),
        data.time[marks[marks.length - 1]] ?? -Infinity);
      return { thread, longest, count, time, share: formatPercent(time, last - first) };
    });
    const most = [...threads].sort((a, b) => b.time - a.time).slice(0, MANY);
    const rows = most.map(({ thread, longest, count, time, share }) => {
      const name = data.threadText(thread);
      return [longest < 0 ? name : this.link(name, thread.record[longest]), formatCount(count),
        formatDuration(time), share];
    });
    return element('div', {}, this.table(['Thread', 'Waits', 'Time', 'Share'], rows),
      ...this.more(threads.length - rows.length, 'thread', 'threads'),
      element('p', {}, 'Counted: functions whose names begin with “Wait”, synchronous commands, and '
        + 'starting, flushing and stopping an engine thread, without the scopes in them. The share '
        + 'is of the time from the thread’s first record to its last.'));
  }

  showDetails(panel) {
    const { data } = this;
    const record = this.view.selected;
    panel.replaceChildren();
    panel.hidden = record < 0;
    if (record < 0) return;
    const shape = data.shapeOf(record);
    const object = data.objects[shape.object];
    const facts = [['Event', `${shape.event} (${shape.kind})`]];
    if (shape.detail) {
      const what = shape.kind === KIND.stateChange ? 'State'
        : shape.isError || shape.isWarning ? 'Label' : 'Message';
      facts.push([what, shape.detail]);
    }
    facts.push(['Class', `${shape.className}  (${shape.classId})`],
      ['Function', `${shape.point}  (${shape.pointId})`],
      ['Object', `${object.address}  (${object.name})`],
      ['Thread', data.threadText(data.threads[shape.thread])],
      ['Time', formatTime(data.time[record])],
      ['Wall clock', formatWallClock(data, data.time[record])],
      ['Arguments', `${data.argument1[record]}, ${data.argument2[record]}`],
      ['Record', `${formatCount(record + 1)} of ${formatCount(data.shape.length)}`]);
    if (data.recordedTime.has(record)) {
      facts.push(['Dumped time', formatTime(data.recordedTime.get(record))]);
    }
    this.addSpan(facts, record, shape);
    const partner = data.partner.get(record);
    const actions = [
      this.action('Zoom to it (f)', () => this.zoomTo(record)),
      ...(partner === undefined ? [] : [this.action(
        shape.kind === KIND.messageSend ? 'Go to the receipt' : 'Go to the send',
        () => this.select(partner, true))])];
    panel.append(element('h2', {}, data.nameOf(record)), this.facts(facts),
      element('div', { className: 'actions' }, ...actions));
  }

  addSpan(facts, record, shape) {
    const { data } = this;
    const slice = data.sliceOf[record];
    if (slice >= 0) {
      const thread = data.threads[shape.thread];
      const notes = ['', 'not left when the dump was made', 'its own end is missing',
        'its begin is missing; the time is that of its end'];
      if (thread.kind[slice] !== SLICE.endOnly) {
        facts.push(['Lasts', formatDuration(thread.finish[slice] - thread.start[slice])],
          ['Own time', formatDuration(thread.self[slice])],
          ['Ends', formatTime(thread.finish[slice])]);
        if (thread.end[slice] !== 0) {
          facts.push(['Ends with', `record ${formatCount(record + thread.end[slice] + 1)}`]);
        }
      }
      facts.push(['Depth', String(thread.level[slice] + 1)]);
      if (notes[thread.kind[slice]]) facts.push(['Note', notes[thread.kind[slice]]]);
    }
    const state = data.stateOf.get(record);
    if (state) {
      const [lane, index] = state;
      facts.push(['Lasts', formatDuration(lane.finish[index] - lane.start[index])],
        ['Ends', formatTime(lane.finish[index])]);
    }
  }

  action(text, run) {
    const button = element('button', { type: 'button' }, text);
    button.addEventListener('click', run);
    return button;
  }

  zoomTo(record) {
    const start = this.data.startOf(record);
    const finish = this.data.finishOf(record);
    const margin = Math.max((finish - start) * 0.15, 20);
    this.view.show(start - margin, finish + margin);
  }

  showFilters(panel) {
    const { data, view } = this;
    const perThread = new Uint32Array(data.threads.length);
    const perClass = new Map();
    for (const record of data.items) {
      const shape = data.shapeOf(record);
      ++perThread[shape.thread];
      perClass.set(shape.className, (perClass.get(shape.className) || 0) + 1);
    }
    const classes = [...perClass].sort((a, b) => b[1] - a[1] || (a[0] < b[0] ? -1 : 1));
    panel.append(element('h2', {}, 'Filters'),
      this.choices('Threads', view.hiddenThreads, data.threads.map((thread) => (
        [thread.index, data.threadText(thread), perThread[thread.index]]))),
      this.choices('Classes', view.hiddenClasses,
        classes.map(([name, count]) => [name, name || '(no name)', count])));
  }

  choices(title, hidden, entries) {
    const boxes = [];
    const list = element('div', {}, ...entries.slice(0, MANY_CHOICES).map(([key, name, count]) => {
      const box = element('input', { type: 'checkbox', checked: true });
      box.addEventListener('change', () => {
        if (box.checked) hidden.delete(key); else hidden.add(key);
        this.view.filter();
      });
      boxes.push(box);
      return element('label', { className: 'choice' }, box, element('span', {}, name),
        element('small', {}, formatCount(count)));
    }));
    const setAll = (checked) => {
      for (const box of boxes) box.checked = checked;
      for (const [key] of entries) {
        if (checked) hidden.delete(key); else hidden.add(key);
      }
      this.view.filter();
    };
    return element('fieldset', {}, element('legend', {}, title), list,
      ...this.more(entries.length - boxes.length, title.toLowerCase(), title.toLowerCase()),
      element('div', { className: 'actions' },
        this.action(`All ${title.toLowerCase()}`, () => setAll(true)),
        this.action(`No ${title.toLowerCase()}`, () => setAll(false))));
  }
}
