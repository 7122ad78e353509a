'use strict';
const test = require('node:test');
const assert = require('node:assert');
const { CommandSplitter } = require('../lib/commands');

const move = (name, x, y) => `input ${name} {"type":"mouseMove","x":${x.toFixed(6)},"y":${y.toFixed(6)}}`;
const char = (name, c) => `input ${name} {"type":"char","keyCode":"${c}"}`;

test('back-to-back commands split by their structure', () => {
  const s = new CommandSplitter();
  const stream = ['ping ', 'open a file:///x%20y.html 320 240 1.500000', move('a', 1.5, 2), char('a', '"'),
    char('a', '}'), char('a', '\\\\'), 'input a {"type":"keyDown","keyCode":"\\\\"}',
    'input a {"type":"mouseWheel","x":0,"y":0,"deltaX":-0.000000,"deltaY":40.000000}',
    'input a {"type":"mouseDown","x":3.000000,"y":4.000000,"button":"right","clickCount":1}',
    'close bopen c u 1 1 inf', 'ping '].join('');
  const commands = s.push(Buffer.from(stream, 'latin1'));
  assert.deepStrictEqual(commands.map((c) => c.kind),
    ['ping', 'open', 'input', 'input', 'input', 'input', 'input', 'input', 'input', 'close', 'open', 'ping']);
  assert.deepStrictEqual(commands[1], { kind: 'open', name: 'a', url: 'file:///x%20y.html', width: 320, height: 240,
                                        zoom: 1.5 });
  assert.deepStrictEqual(commands[2].record, { type: 'mouseMove', x: 1.5, y: 2, button: 'none', clickCount: 0 });
  assert.deepStrictEqual(commands.slice(3, 7).map((c) => c.record.keyCode), ['"', '}', '\\', '\\']);
  assert.strictEqual(commands[7].record.deltaY, 40);
  assert.deepStrictEqual(commands[8].record, { type: 'mouseDown', x: 3, y: 4, button: 'right', clickCount: 1 });
  assert.strictEqual(commands[9].name, 'b');
  assert.strictEqual(commands[10].zoom, Infinity);
  assert.strictEqual(s.pending, false);
});

test('a command cut between reads waits for its rest', () => {
  const s = new CommandSplitter();
  const whole = `open page http://h/p 64 32 2.000000${move('page', 7, 8)}`;
  const commands = [];
  let from = 0;
  for (const cut of [12, 30, 36, whole.length - 5, whole.length]) {
    const got = s.push(whole.slice(from, cut));
    if (cut <= 30 || (cut > 36 && cut < whole.length)) assert.deepStrictEqual(got, [], `at ${cut}`);
    commands.push(...got);
    from = cut;
  }
  assert.deepStrictEqual(commands.map((c) => c.kind), ['open', 'input']);
  assert.strictEqual(commands[0].zoom, 2);
  assert.strictEqual(commands[1].record.y, 8);
});

test('a close at the end of the data: at once for an open page, else after the quiet time', () => {
  const open = new Set(['menu']);
  const s = new CommandSplitter((name) => open.has(name));
  assert.deepStrictEqual(s.push('close menu'), [{ kind: 'close', name: 'menu' }]);
  assert.deepStrictEqual(s.push('close men'), []);
  assert.deepStrictEqual(s.push('uping '), [{ kind: 'close', name: 'menu' }, { kind: 'ping' }]);
  assert.deepStrictEqual(s.push('close other'), []);
  assert.deepStrictEqual(s.flush(), [{ kind: 'close', name: 'other' }]);
});

test('bytes that start no command are dropped up to the next command', () => {
  const drops = [];
  const s = new CommandSplitter(() => false, (m) => drops.push(m));
  const commands = s.push('garbage!ping open x y z 1 1.0input a {"type":"mouseMove","x":1}}}}ping ');
  assert.deepStrictEqual(commands.map((c) => c.kind), ['ping', 'input', 'ping']);
  assert.deepStrictEqual(commands[1].record, { type: 'mouseMove', x: 1 });
  assert.strictEqual(drops.length, 3);
  assert.match(drops[0], /dropped 8 bytes: bytes that start no command/);
  assert.match(drops[1], /an open command that does not parse/);
  assert.deepStrictEqual(s.push('pi'), []);
  assert.deepStrictEqual(s.push('ng '), [{ kind: 'ping' }]);
});
