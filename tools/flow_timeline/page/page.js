// SPDX-License-Identifier: MIT

// Puts the page together: reads the data, draws when something changed, and takes the input.

const byId = (id) => document.getElementById(id);

class Page {
  constructor() {
    this.data = new FlowData(JSON.parse(byId('data').textContent));
    byId('data').remove();  // it is large, and not needed any more
    this.view = new View(this.data);
    this.painter = new Painter(this.view, byId('timeline'));
    this.minimap = new Minimap(this.painter, byId('minimap'));
    this.panels = new Panels(this.view, (record, moves) => this.select(record, moves));
    this.canvas = byId('timeline');
    this.scroller = byId('scroller');
    this.isWaiting = false;

    document.title = `${this.data.title} – flow timeline`;
    byId('title').textContent = printable(this.data.title);
    this.painter.readColours();
    this.panels.showSummary(byId('summary'));
    this.panels.showFilters(byId('filters'));
    this.showSigns();
    this.listen();
    this.draw();
    performance.mark('timeline drawn');
  }

  listen() {
    const filter = this.view.filter.bind(this.view);
    this.view.filter = () => {
      this.minimap.isStale = true;
      filter();
    };
    this.view.onChange(() => this.drawSoon());
    new ResizeObserver(() => this.drawSoon()).observe(byId('stage'));
    window.addEventListener('resize', () => this.drawSoon());
    this.scroller.addEventListener('scroll', () => this.drawSoon());
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => this.newColours());
    this.listenToPointer();
    this.listenToMinimap();
    this.listenToSearch();
    this.canvas.addEventListener('keydown', (event) => this.takeKey(event));
    document.addEventListener('keydown', (event) => this.takeKeyAnywhere(event));
    byId('zoom-in').addEventListener('click', () => this.view.zoom(0.5));
    byId('zoom-out').addEventListener('click', () => this.view.zoom(2));
    byId('zoom-all').addEventListener('click', () => this.view.showAll());
    byId('theme').addEventListener('click', () => this.changeTheme());
    byId('help-open').addEventListener('click', () => byId('help').showModal());
  }

  drawSoon() {
    if (this.isWaiting) return;
    this.isWaiting = true;
    requestAnimationFrame(() => {
      this.isWaiting = false;
      this.draw();
    });
  }

  draw() {
    const width = this.scroller.clientWidth;
    const height = this.scroller.clientHeight;
    const minimap = byId('minimap');
    const [minimapWidth, minimapHeight] = [minimap.clientWidth, minimap.clientHeight];
    const top = this.scroller.scrollTop;
    // What follows changes the page: reading its measures behind it would lay it out once more.
    const overhang = Math.max(this.view.height + RULER + 12 - height, 0);
    if (overhang !== this.overhang) byId('spacer').style.height = `${overhang}px`;
    this.overhang = overhang;
    this.painter.draw(width, height, top);
    this.minimap.draw(minimapWidth, minimapHeight);
    // Not while it changes with every frame, which would keep screen readers busy.
    clearTimeout(this.statusTimer);
    this.statusTimer = setTimeout(() => this.showStatus(), 120);
  }

  showStatus() {
    const { scopes, marks, states, tooDeep } = this.view.counts;
    const parts = [`${formatTime(this.view.start)} to ${formatTime(this.view.finish)} (${
      formatDuration(this.view.span)})`];
    const { hiddenThreads, hiddenClasses } = this.view;
    if (hiddenThreads.size + hiddenClasses.size > 0) {
      parts.push(`filtered: ${formatCounted(scopes + tooDeep, 'scope', 'scopes')}, ${
        formatCounted(marks, 'mark', 'marks')}, ${formatCounted(states, 'state', 'states')} left`);
    }
    if (this.painter.arrowsLeftOut > 0) {
      parts.push(`${formatCounted(this.painter.arrowsLeftOut, 'arrow shows', 'arrows show')
      } when you zoom in`);
    }
    const text = parts.join('   ·   ');
    if (byId('status').textContent !== text) byId('status').textContent = text;
  }

  changeTheme() {
    const root = document.documentElement;
    const next = { undefined: 'dark', dark: 'light', light: undefined }[root.dataset.theme];
    if (next) root.dataset.theme = next; else delete root.dataset.theme;
    byId('theme').textContent = `Theme: ${next || 'system'}`;
    this.newColours();
  }

  newColours() {
    this.painter.readColours();
    this.minimap.isStale = true;
    this.drawSoon();
  }

  /** Selects a record; `moves` brings it into view. */
  select(record, moves) {
    this.view.selected = record;
    this.panels.showDetails(byId('details'));
    if (record >= 0) {
      byId('details').parentElement.scrollTop = 0;
      if (moves) this.bringIntoView(record);
    }
    this.view.changed();
  }

  bringIntoView(record) {
    const { view, data } = this;
    const start = data.startOf(record);
    const finish = data.finishOf(record);
    if (finish < view.start || start > view.finish) {
      view.show(start - view.span / 2, start + view.span / 2);
    }
    const wide = (finish - start) / view.span;
    if (wide < 0.003 && finish > start) this.panels.zoomTo(record);
    const y = this.rowOf(record);
    if (y < 0) return;
    const { scrollTop, clientHeight } = this.scroller;
    if (y < scrollTop || y > scrollTop + clientHeight - RULER - 40) {
      this.scroller.scrollTop = y - clientHeight / 3;
    }
  }

  rowOf(record) {
    const { view, data } = this;
    const shape = data.shapeOf(record);
    const state = data.stateOf.get(record);
    const row = view.rows.find((one) => (state
      ? one.type === 'lane' && one.lane === state[0]
      : one.type === 'thread' && one.thread.index === shape.thread));
    if (!row) return -1;
    const slice = data.sliceOf[record];
    return row.y + (slice < 0 ? 0 : THREAD_HEAD + data.threads[shape.thread].level[slice] * LEVEL);
  }

  listenToPointer() {
    const { canvas, view } = this;
    let drag = null;
    canvas.addEventListener('pointerdown', (event) => {
      if (event.button !== 0) return;
      drag = { x: event.offsetX, y: event.offsetY, start: view.start, finish: view.finish,
        top: this.scroller.scrollTop, moved: false };
      canvas.setPointerCapture(event.pointerId);
    });
    canvas.addEventListener('pointermove', (event) => {
      if (!drag) { this.showTip(event); return; }
      const x = event.offsetX - drag.x;
      const y = event.offsetY - drag.y;
      if (Math.abs(x) + Math.abs(y) > 4) drag.moved = true;
      if (!drag.moved) return;
      byId('tip').hidden = true;
      const shift = (x * (drag.finish - drag.start)) / (this.painter.width - GUTTER);
      view.show(drag.start - shift, drag.finish - shift);
      this.scroller.scrollTop = drag.top - y;
    });
    canvas.addEventListener('pointerup', (event) => {
      if (drag && !drag.moved) this.select(this.painter.find(event.offsetX, event.offsetY), false);
      drag = null;
    });
    canvas.addEventListener('pointercancel', () => { drag = null; });
    canvas.addEventListener('pointerleave', () => { byId('tip').hidden = true; });
    canvas.addEventListener('dblclick', (event) => {
      const record = this.painter.find(event.offsetX, event.offsetY);
      if (record >= 0) this.panels.zoomTo(record);
    });
    canvas.addEventListener('wheel', (event) => {
      event.preventDefault();
      const lines = event.deltaMode === 1 ? 30 : 1;
      if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
        view.pan(((event.deltaX || event.deltaY) * lines) / 1000);
      } else {
        const factor = Math.exp(Math.max(-1, Math.min(1, (event.deltaY * lines) / 400)));
        view.zoom(factor, this.painter.timeOf(Math.max(event.offsetX, GUTTER)));
      }
    }, { passive: false });
  }

  showTip(event) {
    const { data } = this;
    const record = this.painter.find(event.offsetX, event.offsetY);
    const tip = byId('tip');
    tip.hidden = record < 0;
    if (record < 0) return;
    const shape = data.shapeOf(record);
    const length = data.finishOf(record) - data.startOf(record);
    const object = data.objects[shape.object];
    tip.replaceChildren(element('b', {}, data.nameOf(record)),
      [length > 0 ? formatDuration(length) : '', `at ${formatTime(data.time[record])}`,
        shape.isMark && shape.detail ? `in ${shape.place}` : '',
        object.name === 'none' ? '' : `for ${printable(data.objectText(object))}`]
        .filter(Boolean).join(' · '));
    const stage = byId('stage').getBoundingClientRect();
    const x = event.clientX - stage.left + 14;
    const y = event.clientY - stage.top + 18;
    tip.style.left = `${Math.max(Math.min(x, stage.width - tip.offsetWidth - 4), 0)}px`;
    tip.style.top = `${y + tip.offsetHeight > stage.height ? y - tip.offsetHeight - 30 : y}px`;
  }

  listenToMinimap() {
    const canvas = byId('minimap');
    const go = (event) => {
      if (event.buttons !== 1) return;
      const time = this.minimap.timeOf(event.offsetX);
      this.view.show(time - this.view.span / 2, time + this.view.span / 2);
    };
    canvas.addEventListener('pointerdown', (event) => {
      canvas.setPointerCapture(event.pointerId);
      go(event);
    });
    canvas.addEventListener('pointermove', go);
    canvas.addEventListener('wheel', (event) => {
      event.preventDefault();
      this.view.zoom(event.deltaY > 0 ? 1.25 : 0.8, this.minimap.timeOf(event.offsetX));
    }, { passive: false });
  }

  listenToSearch() {
    const search = () => {
      const words = byId('search-words').value;
      const field = byId('search-field').value;
      const isEmpty = words === '' && field !== 'error';
      this.view.setMatches(isEmpty ? new Uint32Array(0) : this.data.search(words, field));
      this.match = -1;
      byId('search-result').textContent = isEmpty ? ''
        : formatCounted(this.view.matches.length, 'match', 'matches');
    };
    byId('search-words').addEventListener('input', search);
    byId('search-field').addEventListener('change', search);
    byId('search').addEventListener('submit', (event) => {
      event.preventDefault();
      this.goToMatch(1);
    });
    byId('search-previous').addEventListener('click', () => this.goToMatch(-1));
  }

  goToMatch(step) {
    const { matches } = this.view;
    if (matches.length === 0) return;
    this.match = this.match < 0 && step < 0 ? matches.length - 1
      : (this.match + step + matches.length) % matches.length;
    byId('search-result').textContent =
      `${formatCount(this.match + 1)} of ${formatCount(matches.length)}`;
    this.select(matches[this.match], true);
  }

  /** Selects the next item, in the order of time, for which `isWanted` is true. */
  selectNext(step, isWanted) {
    const { items } = this.data;
    const { selected } = this.view;
    let i = selected >= 0 ? items.indexOf(selected) : step > 0 ? -1 : items.length;
    if (selected < 0 && step > 0) {
      while (i + 1 < items.length && this.data.startOf(items[i + 1]) < this.view.start) ++i;
    }
    for (i += step; i >= 0 && i < items.length; i += step) {
      if (isWanted(items[i]) && this.view.isShown(items[i])) {
        this.select(items[i], true);
        return;
      }
    }
  }

  takeKey(event) {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const { view, data } = this;
    const page = this.scroller.clientHeight * 0.8;
    const scroll = (distance) => { this.scroller.scrollTop += distance; };
    const inThread = (record) => view.selected < 0
      || data.shapeOf(record).thread === data.shapeOf(view.selected).thread;
    const actions = {
      ArrowLeft: () => view.pan(-0.1), ArrowRight: () => view.pan(0.1),
      ArrowUp: () => scroll(-40), ArrowDown: () => scroll(40),
      PageUp: () => scroll(-page), PageDown: () => scroll(page),
      '+': () => view.zoom(0.7), '=': () => view.zoom(0.7), '-': () => view.zoom(1 / 0.7),
      0: () => view.showAll(), Home: () => view.showAll(),
      '[': () => this.selectNext(-1, inThread), ']': () => this.selectNext(1, inThread),
      f: () => { if (view.selected >= 0) this.panels.zoomTo(view.selected); },
    };
    if (!actions[event.key]) return;
    event.preventDefault();
    actions[event.key]();
  }

  takeKeyAnywhere(event) {
    if (event.ctrlKey || event.metaKey || event.altKey || byId('help').open) return;
    if (event.key === 'Escape') this.select(-1, false);
    if (event.target.closest('input, select')) return;
    const isSerious = (record) => {
      const shape = this.data.shapeOf(record);
      return shape.isError || shape.isWarning;
    };
    const actions = {
      '/': () => byId('search-words').focus(), '?': () => byId('help').showModal(),
      n: () => this.goToMatch(1), p: () => this.goToMatch(-1),
      e: () => this.selectNext(1, isSerious), E: () => this.selectNext(-1, isSerious),
    };
    if (!actions[event.key]) return;
    event.preventDefault();
    actions[event.key]();
  }

  showSigns() {
    const signs = [
      ['error', '▼', 'an error'], ['warning', '▲', 'a warning'],
      ['', '●', 'an object is built; a ring: it is destroyed'],
      ['', '■', 'a message is sent or received; arrows join the two'],
      ['', '|', 'a timing point, or another record'],
    ];
    byId('signs').append(...signs.map(([className, sign, text]) => element('li', {},
      element('span', { className }, sign), ` ${text}`)),
    element('li', {}, 'boxes below a thread are its scopes, one row per depth, one colour per '
      + 'class; a box with a pale middle is a wait; grey stands for many that are too narrow to '
      + 'tell apart'));
  }
}

const page = new Page();
