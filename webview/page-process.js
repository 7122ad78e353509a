#!/usr/bin/env node
'use strict';
// The page process of the game's web views.
//
//   node page-process.js --pipe BASE [--browser PATH] [--idle-exit SECONDS]
//
// Connects to the game's two sockets BASE.s2c (commands from the game) and BASE.c2s (frames to
// the game), starts a headless browser with a fresh profile, and serves the commands:
//   open NAME URL WIDTH HEIGHT ZOOM   a page of WIDTH x HEIGHT pixels at ZOOM, without a window
//   close NAME                        closes it
//   input NAME {record}               mouse, wheel, key and char events, as real input events
//   ping                              the game lives
// How the undelimited stream is split into commands: lib/commands.js.
//
// Each page is watched through the browser's screencast, which yields a frame whenever the page
// is drawn anew. Its pixels go to the game as raw RGBA, width * height * 4 bytes, in one message:
// name length and data length (4 bytes each, little-endian), name, data. A frame equal to the
// last one sent for that page is not sent. At most one message is in the socket at a time; a
// newer frame of a page replaces its older unsent one.
//
// Zoom works as a browser's zoom: the page is laid out on WIDTH/ZOOM x HEIGHT/ZOOM CSS pixels
// at ZOOM device pixels per CSS pixel. The game's mouse positions are in the texture's pixels
// and are divided by ZOOM. Wheel offsets come as GLFW gives them (up is positive) and are
// turned into the browser's sense (down is positive).
//
// The process ends when the game closes its end of BASE.s2c, when no byte came from the game
// for --idle-exit seconds (default 30; the game pings several times a second), when BASE.c2s
// breaks, or when the browser goes away. It closes the browser and removes its profile.

const fs = require('fs');
const net = require('net');
const os = require('os');
const path = require('path');
const { CommandSplitter } = require('./lib/commands');
const { decodePng, fitRgba } = require('./lib/png');

const BROWSER_FLAGS = [
  '--no-sandbox', '--disable-gpu', '--disable-background-networking', '--disable-component-update',
  '--disable-sync', '--no-first-run', '--mute-audio',
];
const MAX_SIDE = 8192;
const QUIET_MS = 20;

// GLFW-side key names to the browser's key, code and Windows key number.
const KEYS = (() => {
  const keys = {
    Space: [' ', 'Space', 32], "'": ["'", 'Quote', 222], ',': [',', 'Comma', 188], '-': ['-', 'Minus', 189],
    '.': ['.', 'Period', 190], '/': ['/', 'Slash', 191], ';': [';', 'Semicolon', 186], '=': ['=', 'Equal', 187],
    '[': ['[', 'BracketLeft', 219], '\\': ['\\', 'Backslash', 220], ']': [']', 'BracketRight', 221],
    '`': ['`', 'Backquote', 192], Enter: ['Enter', 'Enter', 13], Tab: ['Tab', 'Tab', 9],
    Backspace: ['Backspace', 'Backspace', 8], Insert: ['Insert', 'Insert', 45], Delete: ['Delete', 'Delete', 46],
    Right: ['ArrowRight', 'ArrowRight', 39], Left: ['ArrowLeft', 'ArrowLeft', 37], Down: ['ArrowDown', 'ArrowDown', 40],
    Up: ['ArrowUp', 'ArrowUp', 38], PageUp: ['PageUp', 'PageUp', 33], PageDown: ['PageDown', 'PageDown', 34],
    Home: ['Home', 'Home', 36], End: ['End', 'End', 35], Capslock: ['CapsLock', 'CapsLock', 20],
    Scrolllock: ['ScrollLock', 'ScrollLock', 145], Numlock: ['NumLock', 'NumLock', 144],
    PrintScreen: ['PrintScreen', 'PrintScreen', 44], Pause: ['Pause', 'Pause', 19],
    numdec: ['.', 'NumpadDecimal', 110], numdiv: ['/', 'NumpadDivide', 111], nummult: ['*', 'NumpadMultiply', 106],
    numsub: ['-', 'NumpadSubtract', 109], numadd: ['+', 'NumpadAdd', 107], Shift: ['Shift', 'ShiftLeft', 16],
    Ctrl: ['Control', 'ControlLeft', 17], Alt: ['Alt', 'AltLeft', 18], Super: ['Meta', 'MetaLeft', 91],
    Menu: ['ContextMenu', 'ContextMenu', 93],
  };
  for (let c = 65; c <= 90; c++) keys[String.fromCharCode(c)] = [String.fromCharCode(c + 32), `Key${String.fromCharCode(c)}`, c];
  for (let d = 0; d <= 9; d++) {
    keys[String(d)] = [String(d), `Digit${d}`, 48 + d];
    keys[`num${d}`] = [String(d), `Numpad${d}`, 96 + d];
  }
  return keys;
})();
const MODIFIER_BITS = { Alt: 1, Control: 2, Meta: 4, Shift: 8 };

function log(message) {
  process.stderr.write(`webview: ${message}\n`);
}

function parseArguments(argv) {
  const options = { pipe: '', browser: process.env.ZENDOLA_WEBVIEW_BROWSER || '/usr/bin/chromium-headless-shell',
                    idleExit: 30 };
  for (let i = 0; i < argv.length; i++) {
    const value = argv[i + 1];
    if (argv[i] === '--pipe' && value) options.pipe = argv[++i];
    else if (argv[i] === '--browser' && value) options.browser = argv[++i];
    else if (argv[i] === '--idle-exit' && value) options.idleExit = Number(argv[++i]);
    else {
      log(`unknown argument ${argv[i]}`);
      process.exit(2);
    }
  }
  if (!options.pipe) {
    log('usage: page-process.js --pipe BASE [--browser PATH] [--idle-exit SECONDS]');
    process.exit(2);
  }
  return options;
}

class WebPage {
  constructor(host, command) {
    this.host = host;
    this.name = command.name;
    this.width = command.width;
    this.height = command.height;
    this.zoom = Number.isFinite(command.zoom) && command.zoom > 0 ? command.zoom : 1;
    this.closed = false;
    this.lastSent = null;
    this.capturing = false;
    this.captureAgain = false;
    this.mouse = { x: 0, y: 0, buttons: 0 };
    this.modifiers = 0;
  }

  async open(browser, url) {
    this.page = await browser.newPage();
    this.session = await this.page.createCDPSession();
    await this.session.send('Emulation.setDeviceMetricsOverride', {
      width: Math.max(1, Math.round(this.width / this.zoom)), height: Math.max(1, Math.round(this.height / this.zoom)),
      deviceScaleFactor: this.zoom, mobile: false,
    });
    this.session.on('Page.screencastFrame', (frame) => this.onScreencastFrame(frame));
    try {
      await this.page.goto(url, { waitUntil: 'load', timeout: 30000 });
    } catch (error) {
      log(`page ${this.name}: ${url}: ${error.message}`);
    }
    if (!this.closed) await this.session.send('Page.startScreencast', { format: 'png', everyNthFrame: 1 });
  }

  async close() {
    this.closed = true;
    if (this.page) await this.page.close().catch(() => {});
  }

  onScreencastFrame(frame) {
    this.session.send('Page.screencastFrameAck', { sessionId: frame.sessionId }).catch(() => {});
    if (this.closed) return;
    // The screencast draws in CSS pixels; at another zoom the device pixels come from a capture.
    if (this.zoom === 1) this.deliver(Buffer.from(frame.data, 'base64'));
    else this.capture();
  }

  async capture() {
    if (this.capturing) {
      this.captureAgain = true;
      return;
    }
    this.capturing = true;
    do {
      this.captureAgain = false;
      try {
        const shot = await this.session.send('Page.captureScreenshot', { format: 'png', fromSurface: true });
        this.deliver(Buffer.from(shot.data, 'base64'));
      } catch (error) {
        if (!this.closed) log(`page ${this.name}: capture failed: ${error.message}`);
      }
    } while (this.captureAgain && !this.closed);
    this.capturing = false;
  }

  deliver(png) {
    let rgba;
    try {
      rgba = fitRgba(decodePng(png), this.width, this.height);
    } catch (error) {
      log(`page ${this.name}: frame dropped: ${error.message}`);
      return;
    }
    if (this.closed || (this.lastSent && this.lastSent.equals(rgba))) return;
    this.lastSent = rgba;
    this.host.sendFrame(this.name, rgba);
  }

  async input(record) {
    const send = (method, params) => this.session.send(method, params);
    const x = record.x / this.zoom, y = record.y / this.zoom;
    switch (record.type) {
      case 'mouseMove':
      case 'mouseDown':
      case 'mouseUp': {
        if (!Number.isFinite(x) || !Number.isFinite(y)) return;
        const bit = record.button === 'right' ? 2 : record.button === 'left' ? 1 : 0;
        if (record.type === 'mouseDown') this.mouse.buttons |= bit;
        if (record.type === 'mouseUp') this.mouse.buttons &= ~bit;
        this.mouse.x = x;
        this.mouse.y = y;
        const type = { mouseMove: 'mouseMoved', mouseDown: 'mousePressed', mouseUp: 'mouseReleased' }[record.type];
        const held = this.mouse.buttons & 1 ? 'left' : this.mouse.buttons & 2 ? 'right' : 'none';
        await send('Input.dispatchMouseEvent', {
          type, x, y, modifiers: this.modifiers, buttons: this.mouse.buttons,
          button: record.type === 'mouseMove' ? held : record.button, clickCount: record.clickCount || 0,
        });
        return;
      }
      case 'mouseWheel':
        if (!Number.isFinite(record.deltaX) || !Number.isFinite(record.deltaY)) return;
        await send('Input.dispatchMouseEvent', {
          type: 'mouseWheel', x: this.mouse.x, y: this.mouse.y, modifiers: this.modifiers,
          deltaX: -record.deltaX, deltaY: -record.deltaY,
        });
        return;
      case 'keyDown':
      case 'keyUp': {
        const key = KEYS[record.keyCode];
        if (!key) return;
        const [keyName, code, keyCode] = key;
        const bit = MODIFIER_BITS[keyName] || 0;
        if (record.type === 'keyDown') this.modifiers |= bit;
        else this.modifiers &= ~bit;
        await send('Input.dispatchKeyEvent', {
          type: record.type === 'keyDown' ? 'rawKeyDown' : 'keyUp', key: keyName, code,
          windowsVirtualKeyCode: keyCode, nativeVirtualKeyCode: keyCode, modifiers: this.modifiers,
        });
        // Enter has no char of its own from the game; forms and text areas need one.
        if (record.type === 'keyDown' && keyName === 'Enter') {
          await send('Input.dispatchKeyEvent', { type: 'char', text: '\r', unmodifiedText: '\r', key: 'Enter' });
        }
        return;
      }
      case 'char': {
        const text = String(record.keyCode);
        await send('Input.dispatchKeyEvent', { type: 'char', text, unmodifiedText: text, key: text });
        return;
      }
      default:
        log(`page ${this.name}: unknown input record ${JSON.stringify(record)}`);
    }
  }
}

class PageProcess {
  constructor(options) {
    this.options = options;
    this.pages = new Map();
    this.chains = new Map();
    this.outgoing = new Map();
    this.writing = false;
    this.lastData = Date.now();
    this.pings = 0;
    this.shuttingDown = false;
    this.splitter = new CommandSplitter((name) => this.pages.has(name), (message) => log(message));
  }

  async start() {
    this.commands = net.createConnection(`${this.options.pipe}.s2c`);
    this.frames = net.createConnection(`${this.options.pipe}.c2s`);
    this.commands.on('error', (error) => this.shutdown(`command socket: ${error.message}`, 1));
    this.frames.on('error', (error) => this.shutdown(`frame socket: ${error.message}`, 1));
    this.commands.on('end', () => this.shutdown('the game closed the link', 0));
    this.frames.on('close', () => this.shutdown('the game closed the frame socket', 0));
    this.commands.on('data', (chunk) => this.onData(chunk));
    this.watchdog = setInterval(() => {
      if (Date.now() - this.lastData > this.options.idleExit * 1000) {
        this.shutdown(`nothing from the game for ${this.options.idleExit} s`, 1);
      }
    }, 1000);
    this.profile = fs.mkdtempSync(path.join(os.tmpdir(), 'zendola-webview-'));
    this.browserReady = this.launch();
    for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP']) process.on(signal, () => this.shutdown(signal, 0));
  }

  async launch() {
    const puppeteer = require('puppeteer-core');
    try {
      this.browser = await puppeteer.launch({
        executablePath: this.options.browser, headless: 'shell', pipe: true, userDataDir: this.profile,
        defaultViewport: null, args: BROWSER_FLAGS, handleSIGINT: false, handleSIGTERM: false, handleSIGHUP: false,
      });
    } catch (error) {
      this.shutdown(`cannot start the browser ${this.options.browser}: ${error.message}`, 1);
      return null;
    }
    this.browser.on('disconnected', () => this.shutdown('the browser went away', 1));
    return this.browser;
  }

  onData(chunk) {
    this.lastData = Date.now();
    clearTimeout(this.quietTimer);
    for (const command of this.splitter.push(chunk)) this.dispatch(command);
    if (this.splitter.pending) {
      this.quietTimer = setTimeout(() => {
        for (const command of this.splitter.flush()) this.dispatch(command);
      }, QUIET_MS);
    }
  }

  // Commands of one page run in order; pages don't wait for each other.
  dispatch(command) {
    if (command.kind === 'ping') {
      this.pings++;
      return;
    }
    const name = command.name;
    let run;
    if (command.kind === 'open') {
      if (!(command.width >= 1 && command.width <= MAX_SIDE && command.height >= 1 && command.height <= MAX_SIDE)) {
        log(`page ${name}: refused size ${command.width}x${command.height}`);
        return;
      }
      const old = this.pages.get(name);
      const page = new WebPage(this, command);
      this.pages.set(name, page);
      run = async () => {
        if (old) await old.close();
        const browser = await this.browserReady;
        if (browser) await page.open(browser, command.url);
      };
    } else if (command.kind === 'close') {
      const page = this.pages.get(name);
      this.pages.delete(name);
      this.outgoing.delete(name);
      if (!page) return;
      page.closed = true;
      run = () => page.close();
    } else {
      const page = this.pages.get(name);
      if (!page) return;  // input for a page that isn't open
      run = () => (page.closed || !page.session ? undefined : page.input(command.record));
    }
    const chain = (this.chains.get(name) || Promise.resolve())
      .then(run)
      .catch((error) => log(`page ${name}: ${command.kind}: ${error.message}`));
    this.chains.set(name, chain);
  }

  sendFrame(name, rgba) {
    if (!this.pages.has(name)) return;
    this.outgoing.delete(name);
    this.outgoing.set(name, rgba);
    this.pump();
  }

  pump() {
    if (this.writing || this.shuttingDown) return;
    const next = this.outgoing.entries().next();
    if (next.done) return;
    const [name, rgba] = next.value;
    this.outgoing.delete(name);
    const nameBytes = Buffer.from(name, 'latin1');
    const header = Buffer.alloc(8);
    header.writeUInt32LE(nameBytes.length, 0);
    header.writeUInt32LE(rgba.length, 4);
    this.writing = true;
    this.frames.write(Buffer.concat([header, nameBytes, rgba]), (error) => {
      this.writing = false;
      if (!error) this.pump();
    });
  }

  async shutdown(reason, code) {
    if (this.shuttingDown) return;
    this.shuttingDown = true;
    log(`${reason}; ending`);
    clearInterval(this.watchdog);
    const finish = () => {
      try {
        fs.rmSync(this.profile, { recursive: true, force: true });
      } catch {}
      process.exit(code);
    };
    setTimeout(() => {
      if (this.browser && this.browser.process()) this.browser.process().kill('SIGKILL');
      finish();
    }, 3000).unref();
    if (this.browser) await this.browser.close().catch(() => {});
    finish();
  }
}

if (require.main === module) {
  new PageProcess(parseArguments(process.argv.slice(2))).start();
}

module.exports = { PageProcess, WebPage, KEYS };
