// SPDX-License-Identifier: MIT

/** The whole dump in a strip: how deep each thread is in scopes, and where errors are. */
class Minimap {
  constructor(painter, canvas) {
    this.painter = painter;
    this.view = painter.view;
    this.canvas = canvas;
    this.context = canvas.getContext('2d', { alpha: false });
    this.picture = document.createElement('canvas');
    this.isStale = true;
  }

  get range() {
    const { firstTime, lastTime } = this.view.data.head;
    return [firstTime, Math.max(lastTime - firstTime, 1)];
  }

  timeOf(x) {
    const [first, span] = this.range;
    return first + (x / this.width) * span;
  }

  draw(width, height) {
    if (this.isStale || width !== this.width) {
      this.width = width;
      this.height = height;
      this.drawPicture();
      this.isStale = false;
    }
    const { context, view } = this;
    fitCanvas(this.canvas, context, width, height);
    context.drawImage(this.picture, 0, 0, width, height);
    const [first, span] = this.range;
    const left = Math.max(((view.start - first) / span) * width, 0);
    const right = Math.min(((view.finish - first) / span) * width, width);
    context.fillStyle = this.painter.colours.text;
    context.globalAlpha = 0.18;
    context.fillRect(0, 0, left, height);
    context.fillRect(right, 0, width - right, height);
    context.globalAlpha = 1;
    context.strokeStyle = this.painter.colours.accent;
    context.lineWidth = 2;
    context.strokeRect(left + 1, 1, Math.max(right - left - 2, 2), height - 2);
  }

  drawPicture() {
    const { width, height, view, painter } = this;
    const { colours } = painter;
    const context = this.picture.getContext('2d', { alpha: false });
    fitCanvas(this.picture, context, width, height);
    context.fillStyle = colours.back;
    context.fillRect(0, 0, width, height);
    const all = view.rows.filter((row) => row.type === 'thread');
    // Of more threads than there are pixels some.
    const step = Math.ceil(all.length / height);
    const rows = all.filter((row, index) => index % step === 0);
    const band = (height - 4) / Math.max(rows.length, 1);
    const [first, span] = this.range;
    const columnOf = (time) => Math.min(Math.floor(((time - first) / span) * width), width - 1);
    rows.forEach((row, index) => {
      const depths = new Uint16Array(width);
      row.levels.forEach((level, depth) => {
        for (let i = 0; i < level.start.length;) {
          const from = columnOf(level.start[i]);
          const to = columnOf(level.finish[i]);
          for (let x = from; x <= to; ++x) depths[x] = depth + 1;
          i = Math.max(i + 1, firstAtOrAbove(level.finish, first + ((to + 1) * span) / width));
        }
      });
      context.fillStyle = colours.dense;
      const deepest = Math.max(row.levels.length, 1);
      depths.forEach((depth, x) => {
        const size = (depth / deepest) * (band - 1);
        if (depth > 0) context.fillRect(x, 2 + (index + 1) * band - size - 1, 1, Math.max(size, 1));
      });
    });
    for (const row of all) {
      row.mark.forEach((record, i) => {
        const shape = view.data.shapeOf(record);
        if (!shape.isError && !shape.isWarning) return;
        context.fillStyle = painter.markColour(shape);
        context.fillRect(columnOf(row.markTime[i]) - 1, 0, 2, height);
      });
    }
  }
}
