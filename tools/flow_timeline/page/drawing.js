// SPDX-License-Identifier: MIT

// The drawing of the timeline, and what is found under the pointer.

const GUTTER = 204;  // width of the names at the left
const RULER = 26;
const MARK_REACH = 6;  // how far from a mark it is still hit
const MAX_ARROWS = 120;
const DIMMED = 0.45;  // how strongly what does not match is drawn

function fitCanvas(canvas, context, width, height) {
  const ratio = window.devicePixelRatio || 1;
  const pixels = [Math.round(width * ratio), Math.round(height * ratio)];
  if (canvas.width !== pixels[0] || canvas.height !== pixels[1]) {
    [canvas.width, canvas.height] = pixels;
  }
  context.setTransform(ratio, 0, 0, ratio, 0, 0);
}

class Painter {
  constructor(view, canvas) {
    this.view = view;
    this.data = view.data;
    this.canvas = canvas;
    this.context = canvas.getContext('2d', { alpha: false });
    this.hues = new Map();
    this.shownTexts = new Map();
  }

  readColours() {
    const style = getComputedStyle(document.documentElement);
    const value = (name) => style.getPropertyValue(`--${name}`).trim();
    this.colours = {};
    for (const name of ['back', 'panel', 'line', 'text', 'faint', 'accent', 'error', 'warning',
      'mark', 'life', 'dense', 'band', 'message', 'select', 'match', 'scope-text']) {
      this.colours[name] = value(name);
    }
    // A golden angle from one class to the next: no two hues are near each other.
    const tail = `${value('scope-saturation')} ${value('scope-lightness')})`;
    const classes = [...new Set(this.data.shapes.map((shape) => shape.className))].sort();
    classes.forEach((name, i) => this.hues.set(name, `hsl(${(i * 137.508) % 360} ${tail}`));
  }

  scopeColour(className) { return this.hues.get(className); }

  markColour(shape) {
    if (shape.isError) return this.colours.error;
    if (shape.isWarning) return this.colours.warning;
    if (shape.kind === KIND.construction || shape.kind === KIND.destruction) {
      return this.colours.life;
    }
    const isMessage = shape.kind === KIND.messageSend || shape.kind === KIND.messageReceive;
    return isMessage ? this.colours.message : this.colours.mark;
  }

  xOf(time) {
    const { start, span } = this.view;
    return GUTTER + ((time - start) * (this.width - GUTTER)) / span;
  }

  timeOf(x) {
    return this.view.start + ((x - GUTTER) * this.view.span) / (this.width - GUTTER);
  }

  /** Draws what the view shows, scrolled down by `top`. */
  draw(width, height, top) {
    if (height !== this.height) this.canvas.style.height = `${height}px`;
    fitCanvas(this.canvas, this.context, width, height);
    this.width = width;
    this.height = height;
    this.top = top;
    const { context, colours } = this;
    context.fillStyle = colours.back;
    context.fillRect(0, 0, width, height);
    context.textBaseline = 'middle';
    this.drawGrid();
    for (const row of this.view.rows) {
      const y = RULER + row.y - top;
      if (y > height || y + row.height < RULER) continue;
      if (row.type === 'thread') this.drawThread(row, y);
      else if (row.type === 'lane') this.drawLane(row, y);
    }
    this.drawArrows();
    this.drawNames();
    this.drawRuler();
  }

  ticks() {
    const wanted = (this.view.span * 110) / (this.width - GUTTER);
    const power = 10 ** Math.floor(Math.log10(wanted));
    const step = Math.max([1, 2, 5, 10].find((n) => n * power >= wanted) * power, 1);
    const times = [];
    for (let t = Math.ceil(this.view.start / step) * step; t <= this.view.finish; t += step) {
      times.push(t);
    }
    return times;
  }

  drawGrid() {
    const { context, colours } = this;
    context.fillStyle = colours.band;
    for (const time of this.ticks()) {
      context.fillRect(Math.round(this.xOf(time)), 0, 1, this.height);
    }
  }

  drawRuler() {
    const { context, colours, width } = this;
    context.fillStyle = colours.panel;
    context.fillRect(0, 0, width, RULER);
    context.fillStyle = colours.line;
    context.fillRect(0, RULER - 1, width, 1);
    context.fillRect(GUTTER - 1, 0, 1, this.height);
    context.font = '12px system-ui, sans-serif';
    context.fillStyle = colours.faint;
    context.fillText('Time since the first record', 8, RULER / 2);
    for (const time of this.ticks()) {
      const x = Math.round(this.xOf(time));
      if (x < GUTTER) continue;
      context.fillRect(x, RULER - 6, 1, 6);
      if (x > width - 50) continue;
      context.fillText(time === 0 ? '0' : formatDuration(time), x + 4, RULER / 2);
    }
  }

  /**
   * Draws boxes that rise in time and do not overlap. Those narrower than a pixel become one run:
   * what is drawn depends on the width of the window, not on how many there are.
   */
  drawBoxes(row, y, height, drawBox) {
    const { context, view } = this;
    const { start, finish } = row;
    const pixel = view.span / (this.width - GUTTER);
    let runStart = 0;
    let runEnd = -1;
    const endRun = () => {
      if (runEnd < 0) return;
      context.fillStyle = this.colours.dense;
      context.fillRect(runStart, y, Math.max(runEnd - runStart, 1), height);
      runEnd = -1;
    };
    for (let i = firstAtOrAbove(finish, view.start); i < start.length && start[i] <= view.finish;) {
      // Whole pixels: they are sharp, and drawn several times as fast.
      const left = Math.round(this.xOf(start[i]));
      const right = Math.round(this.xOf(finish[i]));
      if (right - left >= 2) {
        endRun();
        drawBox(i, Math.max(left, GUTTER), Math.min(right, this.width));
        ++i;
        continue;
      }
      const column = left;
      if (runEnd >= 0 && column > runEnd) endRun();
      if (runEnd < 0) runStart = column;
      runEnd = column + 1;
      // On to the first that begins in another column and is not hidden by this one.
      i = Math.max(i + 1, firstAtOrAbove(finish, view.start + (column + 0.5 - GUTTER) * pixel));
    }
    endRun();
  }

  drawText(text, left, right, y, colour) {
    const room = right - left - 8;
    if (room < 22) return;
    const { context } = this;
    const shown = this.shownText(text);
    const width = shown.widths[context.font] ??= context.measureText(shown.text).width;
    const fits = Math.floor((shown.text.length * room) / width) - 1;
    context.fillStyle = colour;
    context.fillText(width > room ? `${shown.text.slice(0, Math.max(fits, 1))}…` : shown.text,
      left + 4, y, room);
  }

  /** The text as it is drawn, and its widths by font once they were measured. */
  shownText(text) {
    let shown = this.shownTexts.get(text);
    if (shown === undefined) {
      shown = { text: printable(text).slice(0, 200), widths: {} };
      this.shownTexts.set(text, shown);
    }
    return shown;
  }

  drawFrame(record, left, right, y, height) {
    const { context, colours, view } = this;
    const isSelected = record === view.selected;
    if (!isSelected && !(view.isMatch && view.isMatch[record])) return;
    context.strokeStyle = isSelected ? colours.select : colours.match;
    context.lineWidth = 2;
    context.strokeRect(left + 1, y + 1, Math.max(right - left - 2, 1), height - 2);
  }

  drawThread(row, y) {
    const { context, colours, data, view } = this;
    const { thread } = row;
    context.fillStyle = colours.band;
    context.fillRect(GUTTER, y, this.width - GUTTER, THREAD_HEAD - 4);
    context.font = '11px system-ui, sans-serif';
    row.levels.forEach((level, depth) => {
      const top = y + THREAD_HEAD + depth * LEVEL;
      if (top > this.height || top + LEVEL < RULER) return;
      this.drawBoxes(level, top, LEVEL - 2, (i, left, right) => {
        const slice = level.slice[i];
        const record = thread.record[slice];
        const shape = data.shapeOf(record);
        const isDimmed = view.isMatch && !view.isMatch[record];
        context.globalAlpha = isDimmed ? DIMMED : 1;
        context.fillStyle = this.scopeColour(shape.className);
        const gap = right - left > 4 ? 1 : 0;  // to the next
        context.fillRect(left, top, right - left - gap, LEVEL - 2);
        if (shape.isWait) this.hatch(left, right, top);
        this.drawText(shape.place, left, right, top + LEVEL / 2 - 0.5, colours['scope-text']);
        context.globalAlpha = 1;
        this.drawFrame(record, left, right, top, LEVEL - 2);
      });
      this.drawSelectedWithoutWidth(row, level, top);
    });
    this.drawMarks(row, y);
  }

  /** Waiting looks calmer than work. */
  hatch(left, right, top) {
    const { context, colours } = this;
    context.fillStyle = colours.back;
    const alpha = context.globalAlpha;
    context.globalAlpha = alpha * 0.55;
    context.fillRect(left, top + 4, Math.max(right - left - 1, 1), LEVEL - 7);
    context.globalAlpha = alpha;
  }

  drawSelectedWithoutWidth(row, level, top) {
    const { data, view, context } = this;
    const slice = view.selected < 0 ? -1 : data.sliceOf[view.selected];
    if (slice < 0 || data.shapeOf(view.selected).thread !== row.thread.index) return;
    const i = firstAtOrAbove(level.slice, slice);
    if (level.slice[i] !== slice) return;
    const left = this.xOf(level.start[i]);
    if (this.xOf(level.finish[i]) - left >= 1.5) return;
    context.fillStyle = this.colours.select;
    context.fillRect(left - 1, top, 3, LEVEL - 2);
  }

  /** Draws a mark per column, the most serious of those in it; errors over all others. */
  drawMarks(row, y) {
    const { data, view } = this;
    const { mark, markTime } = row;
    const chosen = [[], [], []];  // by how serious they are
    let i = firstAtOrAbove(markTime, view.start);
    while (i < mark.length && markTime[i] <= view.finish) {
      const column = Math.floor(this.xOf(markTime[i]));
      const limit = this.timeOf(column + 1);
      let best = i;
      let bestRank = -1;
      for (; i < mark.length && (bestRank < 0 || markTime[i] < limit); ++i) {
        const shape = data.shapeOf(mark[i]);
        const rank = shape.isError ? 2 : Number(shape.isWarning);
        if (rank > bestRank) { best = i; bestRank = rank; }
      }
      chosen[bestRank].push(best);
    }
    const draw = (record) => {
      this.drawMark(record, data.shapeOf(record), this.xOf(data.time[record]), y);
    };
    for (const j of chosen.flat()) draw(mark[j]);
    const { selected } = view;
    if (selected >= 0 && mark[firstAtOrAbove(mark, selected)] === selected) draw(selected);
  }

  drawMark(record, shape, x, y) {
    const { context, view, colours } = this;
    const middle = y + THREAD_HEAD / 2 - 2;
    context.fillStyle = this.markColour(shape);
    context.globalAlpha = view.isMatch && !view.isMatch[record] ? DIMMED : 1;
    context.beginPath();
    if (shape.isError) {
      context.moveTo(x, middle + 8);
      context.lineTo(x - 6, middle - 8);
      context.lineTo(x + 6, middle - 8);
    } else if (shape.isWarning) {
      context.moveTo(x, middle - 8);
      context.lineTo(x - 6, middle + 7);
      context.lineTo(x + 6, middle + 7);
    } else if (shape.kind === KIND.construction || shape.kind === KIND.destruction) {
      context.arc(x, middle, 4, 0, 7);
      if (shape.kind === KIND.destruction) context.arc(x, middle, 2, 0, 7, true);
    } else if (shape.kind === KIND.messageSend || shape.kind === KIND.messageReceive) {
      context.rect(x - 3.5, middle - 3.5, 7, 7);
    } else {
      context.rect(x - 1, middle - 7, 2, 14);
    }
    context.fill();
    context.globalAlpha = 1;
    const isSelected = record === view.selected;
    if (isSelected || (view.isMatch && view.isMatch[record])) {
      context.strokeStyle = isSelected ? colours.select : colours.match;
      context.lineWidth = 2;
      context.strokeRect(x - 8, middle - 10, 16, 20);
    }
  }

  drawLane(row, y) {
    const { context, data, view } = this;
    context.font = '11px system-ui, sans-serif';
    this.drawBoxes(row, y + 2, LANE - 4, (i, left, right) => {
      const record = row.record[i];
      const name = data.nameOf(record);
      const [back, text] = view.stateColours.get(name);
      context.globalAlpha = view.isMatch && !view.isMatch[record] ? DIMMED : 1;
      context.fillStyle = back;
      context.fillRect(left, y + 2, Math.max(right - left - 1, 1), LANE - 4);
      this.drawText(name, left, right, y + LANE / 2, text);
      context.globalAlpha = 1;
      this.drawFrame(record, left, right, y + 2, LANE - 4);
    });
  }

  /** Draws the messages between what is seen; of many every second, fourth and so on. */
  drawArrows() {
    const { context, colours, view } = this;
    const seen = [];
    for (let i = 0; i < view.arrows.length; ++i) {
      const arrow = view.arrows[i];
      if (arrow.from > view.finish) break;
      if (arrow.to >= view.start) seen.push(i);
    }
    let step = 1;
    while (seen.length / step > MAX_ARROWS) step *= 2;
    this.arrowsLeftOut = 0;
    context.strokeStyle = context.fillStyle = colours.message;
    for (const i of seen) {
      const arrow = view.arrows[i];
      const isSelected = arrow.send === view.selected || arrow.receive === view.selected;
      // By its number, so that panning changes nothing.
      if (i % step !== 0 && !isSelected) {
        ++this.arrowsLeftOut;
        continue;
      }
      context.lineWidth = isSelected ? 3 : 1.25;
      context.globalAlpha = isSelected ? 1 : 0.7;
      this.drawArrow(arrow, this.xOf(arrow.from), this.xOf(arrow.to));
    }
    context.globalAlpha = 1;
  }

  drawArrow(arrow, left, right) {
    const { context } = this;
    const middle = RULER - this.top + THREAD_HEAD / 2 - 2;
    const from = arrow.fromRow.y + middle;
    const to = arrow.toRow.y + middle;
    // Between rows a curve; within a row one that leaves it.
    const bend = Math.max(Math.min(Math.abs(right - left) / 2, 60), 12);
    const lift = from === to ? 12 : 0;
    context.beginPath();
    context.moveTo(left, from);
    context.bezierCurveTo(left + bend, from + lift, right - bend, to + lift, right - 4, to);
    context.stroke();
    context.beginPath();
    context.moveTo(right - 1, to);
    context.lineTo(right - 8, to - 4);
    context.lineTo(right - 8, to + 4);
    context.fill();
  }

  drawNames() {
    const { context, colours, view } = this;
    context.fillStyle = colours.panel;
    context.fillRect(0, RULER, GUTTER - 1, this.height);
    for (const row of view.rows) {
      const y = RULER + row.y - this.top;
      if (y > this.height || y + row.height < 0) continue;
      context.fillStyle = colours.line;
      context.fillRect(0, y + row.height - 1, row.type === 'lane' ? GUTTER : this.width, 1);
      if (row.type === 'section') {
        context.fillStyle = colours.panel;
        context.fillRect(0, y, this.width, row.height - 1);
        context.font = '600 12px system-ui, sans-serif';
        context.fillStyle = colours.text;
        context.fillText('Objects and their states', 8, y + row.height / 2);
      } else if (row.type === 'lane') {
        const { object, className } = row.lane;
        const name = object.name === 'unknown' ? className : object.name;
        this.drawName(name, y + LANE / 2, '12px', colours.text);
      } else {
        this.drawName(row.thread.name, y + 11, '600 12px', colours.text);
        if (row.height <= 40) continue;
        this.drawName(`Thread ${row.thread.id}`, y + 27, '12px', colours.faint);
      }
    }
  }

  drawName(name, y, font, colour) {
    this.context.font = `${font} system-ui, sans-serif`;
    this.drawText(name, 4, GUTTER - 2, y, colour);
  }

  /** The record at a place of the canvas; -1 where there is none. */
  find(x, y) {
    if (x < GUTTER || y < RULER) return -1;
    const down = y - RULER + this.top;
    const row = this.view.rows.find((one) => down >= one.y && down < one.y + one.height);
    if (!row || row.type === 'section') return -1;
    const reach = (MARK_REACH * this.view.span) / (this.width - GUTTER);
    const time = this.timeOf(x);
    if (row.type === 'lane') {
      const i = this.findBox(row, time, reach / 3);
      return i < 0 ? -1 : row.record[i];
    }
    const depth = Math.floor((down - row.y - THREAD_HEAD) / LEVEL);
    if (depth < 0) return this.findMark(row, time, reach);
    const level = row.levels[depth];
    const i = level ? this.findBox(level, time, reach / 3) : -1;
    return i < 0 ? -1 : row.thread.record[level.slice[i]];
  }

  findBox({ start, finish }, time, reach) {
    const i = firstAtOrAbove(finish, time);
    if (i < start.length && start[i] <= time) return i;
    const isNear = (j) => start[j] - reach <= time && finish[j] + reach >= time;
    return isNear(i) ? i : isNear(i - 1) ? i - 1 : -1;
  }

  findMark({ mark, markTime }, time, reach) {
    let best = -1;
    let bestRank = Infinity;
    let i = firstAtOrAbove(markTime, time - reach);
    for (; i < mark.length && markTime[i] <= time + reach; ++i) {
      const shape = this.data.shapeOf(mark[i]);
      const seriousness = shape.isError ? 2 : Number(shape.isWarning);
      const rank = Math.abs(markTime[i] - time) / reach - seriousness;
      if (rank < bestRank) { best = mark[i]; bestRank = rank; }
    }
    return best;
  }
}
