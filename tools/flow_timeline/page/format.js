// SPDX-License-Identifier: MIT

// Times and numbers as text, and elements made from text. Nothing here makes markup from text.

function formatCount(count) { return count.toLocaleString('en-US'); }

function formatCounted(count, one, many) {
  return `${formatCount(count)} ${count === 1 ? one : many}`;
}

function formatDuration(microseconds) {
  const size = Math.abs(microseconds);
  if (size < 1e3) return `${Math.round(microseconds * 1e3) / 1e3} µs`;
  if (size < 1e6) return `${Number((microseconds / 1e3).toPrecision(4))} ms`;
  return `${Number((microseconds / 1e6).toPrecision(5))} s`;
}

/** Like the dump, so that a record can be found there. */
function formatTime(microseconds) { return `${(microseconds / 1e6).toFixed(6)} s`; }

function formatWallClock(data, time) {
  const milliseconds = data.wallClockOf(time);
  if (milliseconds === null || !(Math.abs(milliseconds) < 8e15)) return 'unknown';
  const text = new Date(Math.floor(milliseconds)).toISOString();
  const fraction = Math.floor((milliseconds - Math.floor(milliseconds)) * 1000);
  return `${text.slice(0, 10)} ${text.slice(11, 23)}${String(fraction).padStart(3, '0')}`;
}

function formatPercent(part, whole) {
  return whole > 0 ? `${Math.round((100 * part) / whole)} %` : '–';
}

/** The text with an escape for each character that would not show. */
function printable(text) {
  return text.replace(/[\u0000-\u001f\u007f-\u009f\u00ad\u2028\u2029]/g, (character) => (
    character === '\n' ? '\\n' : `\\x${character.charCodeAt(0).toString(16).padStart(2, '0')}`));
}

/** Returns a new element. Children are elements and texts; what texts hold is never markup. */
function element(tag, properties = {}, ...children) {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name.startsWith('aria-') || name === 'scope') node.setAttribute(name, value);
    else node[name] = value;
  }
  node.append(...children.map((child) => (typeof child === 'string' ? printable(child) : child)));
  return node;
}

/** A number that is the same for the same text, on every page. */
function hashOf(text) {
  let hash = 2166136261;
  for (let i = 0; i < text.length; ++i) hash = Math.imul(hash ^ text.charCodeAt(i), 16777619);
  return hash >>> 0;
}
