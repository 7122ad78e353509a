'use strict';
const test = require('node:test');
const assert = require('node:assert');
const zlib = require('zlib');
const { decodePng, fitRgba } = require('../lib/png');

// A PNG of the pixels with every row filter in turn, so each one is undone by the decoder.
function encodePng(width, height, channels, pixels) {
  const stride = width * channels;
  const raw = Buffer.alloc(height * (stride + 1));
  for (let y = 0; y < height; y++) {
    const filter = y % 5;
    raw[y * (stride + 1)] = filter;
    for (let i = 0; i < stride; i++) {
      const at = y * stride + i;
      const left = i >= channels ? pixels[at - channels] : 0;
      const up = y > 0 ? pixels[at - stride] : 0;
      const upLeft = y > 0 && i >= channels ? pixels[at - stride - channels] : 0;
      const p = left + up - upLeft;
      const paeth = Math.abs(p - left) <= Math.abs(p - up) && Math.abs(p - left) <= Math.abs(p - upLeft) ? left
        : Math.abs(p - up) <= Math.abs(p - upLeft) ? up : upLeft;
      const predicted = [0, left, up, (left + up) >> 1, paeth][filter];
      raw[y * (stride + 1) + 1 + i] = (pixels[at] - predicted) & 0xff;
    }
  }
  const chunk = (type, body) => {
    const head = Buffer.alloc(8);
    head.writeUInt32BE(body.length, 0);
    head.write(type, 4, 'latin1');
    return Buffer.concat([head, body, Buffer.alloc(4)]);
  };
  const ihdr = Buffer.alloc(13);
  ihdr.writeUInt32BE(width, 0);
  ihdr.writeUInt32BE(height, 4);
  ihdr[8] = 8;
  ihdr[9] = channels === 4 ? 6 : 2;
  return Buffer.concat([Buffer.from([0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a]), chunk('IHDR', ihdr),
    chunk('IDAT', zlib.deflateSync(raw)), chunk('IEND', Buffer.alloc(0))]);
}

test('every row filter decodes to the pixels, RGB and RGBA', () => {
  for (const channels of [3, 4]) {
    const width = 7, height = 10;
    const pixels = Buffer.alloc(width * height * channels);
    for (let i = 0; i < pixels.length; i++) pixels[i] = (i * 37 + (i >> 3) * 101) & 0xff;
    const image = decodePng(encodePng(width, height, channels, pixels));
    assert.strictEqual(image.width, width);
    for (let p = 0; p < width * height; p++) {
      const expected = [...pixels.subarray(p * channels, p * channels + 3), channels === 4 ? pixels[p * 4 + 3] : 255];
      assert.deepStrictEqual([...image.rgba.subarray(p * 4, p * 4 + 4)], expected, `pixel ${p}`);
    }
  }
  assert.throws(() => decodePng(Buffer.from('not a png at all')), /not a PNG/);
});

test('a frame of another size is cut or padded to the page size', () => {
  const image = { width: 2, height: 2, rgba: Buffer.from([1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4]) };
  assert.deepStrictEqual([...fitRgba(image, 1, 3)], [1, 1, 1, 1, 3, 3, 3, 3, 0, 0, 0, 0]);
  assert.strictEqual(fitRgba(image, 2, 2), image.rgba);
});
