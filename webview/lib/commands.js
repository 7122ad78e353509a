'use strict';
// Splits the game's command stream into commands and parses their input records.
//
// The stream has no delimiter: each command is one write of
//   "open NAME URL WIDTH HEIGHT ZOOM" | "close NAME" | "input NAME {record}" | "ping "
// with names and urls free of blanks. The text is handled as latin1, one character per byte.
// A command ends where its structure says:
//   - "ping " has five characters;
//   - open ends after ZOOM, which "%f" always writes with six decimals ("inf"/"nan" aside);
//   - input ends at the "}" that closes its record: the records come from fixed templates, so
//     each template is matched whole (a char record may hold a quote or a brace that a JSON
//     scanner would misread); anything else is taken to its closing brace outside strings;
//   - close has nothing after NAME, but every command starts with a keyword that ends in a
//     blank and no name holds a blank, so the first keyword after "close " ends the name.
// The one case structure can't decide is a close at the end of the data received so far: its
// name might go on in the next read. It is taken as whole when the name is an open page, else
// when no more bytes arrive within a short quiet time (the caller's flush) — each command is
// one write, and a write this short arrives in one piece.
// Bytes that start no command are reported and skipped up to the next keyword.

const KEYWORDS = ['open ', 'close ', 'input ', 'ping '];
const NUM = '(-?(?:\\d+(?:\\.\\d+)?|inf|nan))';
const OPEN = /open (\S+) (\S+) (\d+) (\d+) (-?(?:\d+\.\d{6}|inf|nan))/y;
const OPEN_PREFIX = /^open (\S+( (\S+( (\d+( (\d+( (-?\d*(\.\d{0,5})?|-?[a-z]{0,2}))?)?)?)?)?)?)?)?$/;
const INPUT_HEAD = /input (\S+) /y;
const RECORDS = [
  [new RegExp(`\\{"type":"(mouseMove|mouseDown|mouseUp)","x":${NUM},"y":${NUM}` +
              '(?:,"button":"(left|right)","clickCount":(\\d+))?\\}', 'y'),
   (m) => ({ type: m[1], x: num(m[2]), y: num(m[3]), button: m[4] || 'none', clickCount: m[5] ? +m[5] : 0 })],
  [new RegExp(`\\{"type":"mouseWheel","x":${NUM},"y":${NUM},"deltaX":${NUM},"deltaY":${NUM}\\}`, 'y'),
   (m) => ({ type: 'mouseWheel', x: num(m[1]), y: num(m[2]), deltaX: num(m[3]), deltaY: num(m[4]) })],
  [/\{"type":"char","keyCode":"(\\\\|[\s\S])"\}/y, (m) => ({ type: 'char', keyCode: m[1] === '\\\\' ? '\\' : m[1] })],
  [/\{"type":"(keyDown|keyUp)","keyCode":"(\\\\|[^"]+)"\}/y,
   (m) => ({ type: m[1], keyCode: m[2] === '\\\\' ? '\\' : m[2] })],
];
const MAX_PENDING = 1 << 20;

function num(text) {
  if (text.endsWith('inf')) return text.startsWith('-') ? -Infinity : Infinity;
  if (text.endsWith('nan')) return NaN;
  return Number(text);
}

// Index just past the "}" closing the object that starts at `from`, outside strings; -1 if the
// text ends first.
function objectEnd(text, from) {
  let depth = 0;
  let inString = false;
  for (let i = from; i < text.length; i++) {
    const c = text[i];
    if (inString) {
      if (c === '\\') i++;
      else if (c === '"') inString = false;
    } else if (c === '"') inString = true;
    else if (c === '{') depth++;
    else if (c === '}' && --depth === 0) return i + 1;
  }
  return -1;
}

// The record at `from`: { record, end } when whole, 'wait' when more may complete it, or null.
function parseRecord(text, from) {
  for (const [pattern, make] of RECORDS) {
    pattern.lastIndex = from;
    const m = pattern.exec(text);
    if (m) return { record: make(m), end: pattern.lastIndex };
  }
  if (text[from] !== '{') return from >= text.length ? 'wait' : null;
  const end = objectEnd(text, from);
  if (end < 0) return 'wait';
  try {
    return { record: JSON.parse(text.slice(from, end)), end };
  } catch {
    return null;
  }
}

function firstKeyword(text, from) {
  let best = -1;
  for (const k of KEYWORDS) {
    const i = text.indexOf(k, from);
    if (i >= 0 && (best < 0 || i < best)) best = i;
  }
  return best;
}

class CommandSplitter {
  // isOpenPage(name): whether the process has a page of that name.
  constructor(isOpenPage = () => false, onDrop = () => {}) {
    this.buffer = '';
    this.isOpenPage = isOpenPage;
    this.onDrop = onDrop;
  }

  // Adds the bytes of one read; returns the commands they complete, in order.
  push(chunk) {
    this.buffer += typeof chunk === 'string' ? chunk : chunk.toString('latin1');
    return this.drain(false);
  }

  // After a quiet time: takes a close at the end of the data as whole.
  flush() {
    return this.drain(true);
  }

  // True when bytes wait that flush() might complete.
  get pending() {
    return this.buffer.length > 0;
  }

  drain(atEnd) {
    const out = [];
    for (;;) {
      const r = this.next(atEnd);
      if (r === null) break;
      if (r.command) out.push(r.command);
      this.buffer = this.buffer.slice(r.length);
    }
    if (this.buffer.length > MAX_PENDING) this.skip(this.buffer.length, 'an unfinished command over 1 MiB');
    return out;
  }

  // { command, length } for a whole command, { length } for skipped bytes, null to wait.
  next(atEnd) {
    const b = this.buffer;
    if (b.length === 0) return null;
    if (b.startsWith('ping ')) return { command: { kind: 'ping' }, length: 5 };
    if (b.startsWith('open ')) {
      OPEN.lastIndex = 0;
      const m = OPEN.exec(b);
      if (m) {
        return {
          command: { kind: 'open', name: m[1], url: Buffer.from(m[2], 'latin1').toString('utf8'),
                     width: +m[3], height: +m[4], zoom: num(m[5]) },
          length: OPEN.lastIndex,
        };
      }
      if (OPEN_PREFIX.test(b)) return null;
      return this.skipBad('an open command that does not parse');
    }
    if (b.startsWith('close ')) {
      const rest = b.slice(6);
      const k = firstKeyword(rest, 0);
      if (k >= 0) return { command: { kind: 'close', name: rest.slice(0, k) }, length: 6 + k };
      if (rest.length > 0 && (atEnd || this.isOpenPage(rest))) {
        return { command: { kind: 'close', name: rest }, length: b.length };
      }
      return null;
    }
    if (b.startsWith('input ')) {
      INPUT_HEAD.lastIndex = 0;
      const head = INPUT_HEAD.exec(b);
      if (!head) return /^input \S*$/.test(b) ? null : this.skipBad('an input command without a page name');
      const r = parseRecord(b, INPUT_HEAD.lastIndex);
      if (r === 'wait') return null;
      if (r === null) return this.skipBad(`an input record that does not parse for page ${head[1]}`);
      return { command: { kind: 'input', name: head[1], record: r.record }, length: r.end };
    }
    if (KEYWORDS.some((k) => k.startsWith(b))) return null;
    return this.skipBad('bytes that start no command');
  }

  skipBad(what) {
    const k = firstKeyword(this.buffer, 1);
    const length = k < 0 ? this.buffer.length : k;
    this.onDrop(`dropped ${length} bytes: ${what}`);
    return { length };
  }

  skip(length, what) {
    this.onDrop(`dropped ${length} bytes: ${what}`);
    this.buffer = this.buffer.slice(length);
  }
}

module.exports = { CommandSplitter, parseRecord };
