// The page in a browser, opened from disk and from a server: what it saves, says, draws and leaves alone.

import assert from 'node:assert/strict';
import { mkdirSync, mkdtempSync, readdirSync, readFileSync, rmSync, truncateSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { tmpdir } from 'node:os';
import { basename, join } from 'node:path';
import { after, before, describe, test } from 'node:test';
import axe from 'axe-core';
import { PAGE, PAGE_URL, ROOT, card, checkNatively, conditionNatively, drop, launch, setNumber, waitForState } from './support.mjs';

const EXAMPLES = join(ROOT, 'examples');
const samples = readdirSync(EXAMPLES).filter((name) => /\.(hex|mot|srec|s19|s37|s|bin)$/.test(name));
const refused = readdirSync(join(EXAMPLES, 'refused'));
const scratch = mkdtempSync(join(tmpdir(), 'blockfit-web-'));

let browser;
let server;
const served = []; // what the server was asked for

before(async () => {
  browser = await launch();
  server = createServer((request, response) => {
    served.push(request.url);
    response.setHeader('Content-Type', 'text/html');
    response.end(readFileSync(PAGE));
  });
  await new Promise((resolve) => { server.listen(0, '127.0.0.1', resolve); });
});

after(async () => {
  await browser.close();
  server.close();
  rmSync(scratch, { recursive: true });
});

// Opens the page for a test, and ends the test with a look at what it asked for and whether it ran without an error.
async function withPage(origin, { mayLog = /^$/, ...options }, run) {
  const url = origin === 'file' ? PAGE_URL : `http://127.0.0.1:${server.address().port}/`;
  const page = await browser.newPage({ viewport: { width: 1180, height: 900 }, ...options });
  const unexpected = [];
  page.on('request', (request) => {
    if (request.url() !== url && !/^(blob|data):/.test(request.url())) {
      unexpected.push(request.url());
    }
  });
  page.on('console', (message) => {
    if (!mayLog.test(message.text())) {
      unexpected.push(message.text());
    }
  });
  page.on('pageerror', (error) => unexpected.push(error.stack));
  served.length = 0;
  await page.goto(url);
  await run(page);
  assert.deepEqual(unexpected, []);
  assert.deepEqual(served, origin === 'file' ? [] : ['/']);
  await page.close();
}

async function save(page, name) {
  const arrival = page.waitForEvent('download');
  await card(page, name).getByRole('button', { name: /^Save / }).click();
  const download = await arrival;
  return { name: download.suggestedFilename(), bytes: readFileSync(await download.path()) };
}

async function saveAll(page, numFiles) {
  const downloads = [];
  page.on('download', (download) => downloads.push(download));
  await page.getByRole('button', { name: 'Save all' }).click();
  await expectSoon(() => downloads.length === numFiles, () => `${downloads.length} of ${numFiles} files were saved`);
  page.removeAllListeners('download');
  return Promise.all(downloads.map(async (download) => readFileSync(await download.path())));
}

async function expectSoon(isTrue, describe) {
  for (const end = Date.now() + 10000; !isTrue();) {
    assert.ok(Date.now() < end, describe());
    await new Promise((resolve) => { setTimeout(resolve, 20); });
  }
}

async function convertRaw(page, name) {
  await setNumber(card(page, name), 'Load address', 'hexadecimal', '8000');
  await card(page, name).getByRole('button', { name: 'Convert' }).click();
}

// 32 MiB of Intel HEX.
function largeHexFile() {
  const path = join(scratch, 'large.hex');
  const lines = [];
  const record = (bytes) => {
    const sum = bytes.reduce((a, b) => a + b, 0);
    return `:${Buffer.from([...bytes, -sum & 0xFF]).toString('hex').toUpperCase()}\n`;
  };
  const data = Array.from({ length: 32 }, (_, i) => 7 * i & 0xFF);
  for (let i = 0, chars = 0; chars < 2 ** 25; ++i) {
    const addr = 32 * i;
    const line = (addr & 0xFFFF ? '' : record([2, 0, 0, 4, addr >> 24, addr >> 16 & 0xFF])) +
      record([32, addr >> 8 & 0xFF, addr & 0xFF, 0, ...data]);
    lines.push(line);
    chars += line.length;
  }
  writeFileSync(path, lines.join(''));
  return path;
}

for (const origin of ['file', 'http']) {
  describe(`opened by ${origin}`, () => {
    test('samples are saved as the program writes them', () => withPage(origin, {}, async (page) => {
      await drop(page, ...samples.map((name) => join(EXAMPLES, name)));
      for (const name of samples.filter((sample) => sample.endsWith('.bin'))) {
        await convertRaw(page, name);
      }
      const cases = [['BlockAlign', 8192], ['BlockAlign', 34], ['BlockAlign', 96], ['BlockAlign', 512], ['LineAlign', 0]];
      for (const [option, value] of cases) {
        const legend = option === 'BlockAlign' ? /Block size/ : /Line group/;
        await setNumber(page, legend, 'decimal', String(value));
        for (const name of samples) {
          await waitForState(page, name, 'done');
        }
        const saved = await saveAll(page, samples.length);
        samples.forEach((name, i) => {
          const hexValue = value.toString(16);
          assert.ok(saved[i].equals(conditionNatively(scratch, join(EXAMPLES, name), `-${option}`, hexValue)),
            `${name} with ${option} ${value}`);
        });
        await setNumber(page, /Block size/, 'decimal', '8192');
      }
    }));

    test('refused files say why, as the check does', () => withPage(origin, {}, async (page) => {
      await drop(page, ...refused.map((name) => join(EXAMPLES, 'refused', name)));
      for (const name of refused) {
        const found = await waitForState(page, name, 'refused', 'done');
        const shown = (await found.locator('.message > div').first().innerText()).split('\n');
        const [first, excerpt, mark] = checkNatively(join(EXAMPLES, 'refused', name));
        const [, line, text] = /^.*?(?::(\d+))?: (?:error|warning): (.*)$/.exec(first);
        assert.equal(shown[0], `${line ? `Line ${line}: ` : ''}${text}`, name);
        if (excerpt) {
          const marked = shown.findIndex((row) => row.trim() === '^');
          const gutter = shown[marked - 1].length - excerpt.slice(2).length;
          assert.equal(shown[marked - 1].slice(gutter), excerpt.slice(2), name);
          assert.equal(shown[marked].indexOf('^') - gutter, mark.indexOf('^') - 2, name);
        }
      }
    }));

    test('a large file moves the bar, leaves the page alive and can be cancelled', () => withPage(origin, {}, async (page) => {
      await page.evaluate(() => {
        window.seen = { values: new Set(), longestFrame: 0 };
        let last = performance.now();
        const look = (now) => {
          const bar = document.querySelector('progress');
          if (bar && !bar.hidden) {
            window.seen.values.add(bar.value);
            window.seen.longestFrame = Math.max(window.seen.longestFrame, now - last);
          }
          last = now;
          requestAnimationFrame(look);
        };
        requestAnimationFrame(look);
      });
      await page.setInputFiles('#choose', largeHexFile());
      await waitForState(page, 'large.hex', 'running');
      await page.waitForFunction(() => {
        const cancel = [...document.querySelectorAll('button')].find((button) => button.textContent === 'Cancel');
        return document.querySelector('progress').value > 0.1 && (cancel.click(), true);
      });
      await waitForState(page, 'large.hex', 'cancelled');
      await card(page, 'large.hex').getByRole('button', { name: 'Convert' }).click();
      await waitForState(page, 'large.hex', 'done');
      const { values, longestFrame } = await page.evaluate(() => ({ ...window.seen, values: [...window.seen.values] }));
      assert.ok(values.length > 6, `the bar showed ${values}`);
      assert.ok(longestFrame < 1000, `a frame took ${longestFrame} ms`);
      const saved = await save(page, 'large.hex');
      assert.equal(saved.name, 'large.srec');
      assert.ok(saved.bytes.equals(conditionNatively(scratch, join(scratch, 'large.hex'), '-balign', '2000')));
    }));
  });
}

test('the page cannot connect to anything', () => withPage('http', { mayLog: /Content Security Policy/ }, async (page) => {
  const refusals = await page.evaluate(async () => {
    const violations = [];
    document.addEventListener('securitypolicyviolation', (event) => violations.push(event.effectiveDirective));
    await fetch('/x').catch(() => {});
    navigator.sendBeacon('/x');
    const script = document.createElement('script');
    script.textContent = 'window.injected = true';
    document.body.append(script);
    await new Promise((resolve) => { setTimeout(resolve, 100); });
    return [...violations.sort(), window.injected ?? 'not run'];
  });
  assert.deepEqual(refusals, ['connect-src', 'connect-src', 'script-src-elem', 'not run']);
}));

test('numbers are shown both ways, and wrong ones are not used', () => withPage('file', {}, async (page) => {
  await drop(page, join(EXAMPLES, 'sample.hex'));
  const block = page.getByRole('group', { name: /Block size/ });
  const rows = [['hexadecimal', '1000', '4096', '0x1000', 'done'], ['decimal', '1000', '1000', '0x3E8', 'done'],
    ['decimal', '81', '81', '0x51', 'invalid'], ['hexadecimal', '0x20', '32', '0x20', 'invalid'],
    ['decimal', '12a', '12a', '', 'invalid'], ['decimal', '4294967296', '4294967296', '0x100000000', 'invalid']];
  for (const [box, typed, decimal, hexadecimal, state] of rows) {
    await setNumber(page, /Block size/, box, typed);
    assert.equal(await block.getByLabel('decimal', { exact: true }).inputValue(), decimal, typed);
    assert.equal(await block.getByLabel('hexadecimal', { exact: true }).inputValue(), hexadecimal, typed);
    await waitForState(page, 'sample.hex', state);
  }
}));

test('what does not fit into memory is said', () => withPage('file', {}, async (page) => {
  const path = join(scratch, 'huge.hex');
  writeFileSync(path, '');
  truncateSync(path, 3 * 2 ** 30);
  await page.setInputFiles('#choose', path);
  assert.match(await (await waitForState(page, 'huge.hex', 'failed')).innerText(), /does not fit into this browser/);
}));

test('pictures can be read with the keyboard', () => withPage('file', {}, async (page) => {
  await drop(page, join(EXAMPLES, 'gaps.hex'));
  await setNumber(page, /Block size/, 'decimal', '96');
  const found = await waitForState(page, 'gaps.hex', 'done');
  const spoken = () => page.evaluate(() => document.activeElement.getAttribute('aria-label'));
  await found.locator('svg.map [tabindex="0"]').focus();
  await page.keyboard.press('ArrowDown');
  assert.match(await spoken(), /^Nothing from 0x00000028 to 0x0000FFFB: 65,492 bytes/);
  await page.keyboard.press('End');
  assert.match(await spoken(), /^0xFFFFFFF0 to 0xFFFFFFFF: 16 bytes/);
  await page.keyboard.press('Tab');
  assert.equal(await spoken(), 'Table of runs');
  await page.keyboard.press('Tab');
  assert.match(await spoken(), /^S1 record: 0x00000000 to 0x0000001F; block 0, offset 0x0 to 0x4B/);
  const parts = await found.locator('svg.blocks .part').evaluateAll((all) => all.map((one) => one.getAttribute('aria-label')));
  for (const kind of [/^Fill: /, /cut here/, /rest of a cut record/, /^End record/]) {
    assert.ok(parts.some((one) => kind.test(one)), `${kind} in ${parts}`);
  }
}));

test('a file with very many runs and records is drawn with few parts, and all blocks can be reached', () =>
  withPage('file', {}, async (page) => {
    const path = join(scratch, 'sparse.srec');
    const record = (addr) => {
      const body = Buffer.from([4, addr >> 8, addr & 0xFF, 0]);
      return `S1${body.toString('hex')}${(~body.reduce((a, b) => a + b) & 0xFF).toString(16).padStart(2, '0')}\n`;
    };
    writeFileSync(path, Array.from({ length: 20000 }, (_, i) => record(3 * i + 1000 * (i >> 12))).join(''));
    await page.setInputFiles('#choose', path);
    const found = await waitForState(page, 'sparse.srec', 'done');
    assert.match(await found.innerText(), /20,000 runs are drawn as 5 areas[^]*19,980 runs not shown/);
    assert.match(await found.locator('.warning').innerText(), /^Line 20,000: no end record/);
    assert.ok(await found.locator('.part').count() < 8 * 130 + 10);
    await found.getByRole('button', { name: 'Last' }).click();
    await page.getByText('Blocks 32 to 34 of 0 to 34').waitFor();
    assert.match(await found.locator('svg.blocks .part').last().getAttribute('aria-label'), /^End record; block 34/);
  }));

for (const [colorScheme, width] of [['light', 1180], ['dark', 360]]) {
  test(`nothing serious is inaccessible, overlaps or sticks out: ${colorScheme}, ${width} pixels`, () =>
    withPage('file', { colorScheme, viewport: { width, height: 800 } }, async (page) => {
      await drop(page, join(EXAMPLES, 'gaps.hex'), join(EXAMPLES, 'refused/checksum.hex'), join(EXAMPLES, 'sample.bin'));
      await waitForState(page, 'checksum.hex', 'refused');
      await page.locator('.card details').first().evaluate((details) => { details.open = true; });
      await page.locator('svg.blocks .part').first().waitFor();
      // The page's own policy keeps scripts out, so this one comes by way of the debugger.
      await page.evaluate(axe.source);
      const { violations } = await page.evaluate(() => window.axe.run());
      assert.deepEqual(violations.filter(({ impact }) => ['serious', 'critical'].includes(impact))
        .map(({ id, nodes }) => [id, nodes.map((node) => node.html)]), []);
      const layout = await page.evaluate(() => {
        const boxes = [...document.querySelectorAll('svg text')].map((text) => [text.textContent, text.getBoundingClientRect()]);
        const touching = boxes.flatMap(([a, p], i) => boxes.slice(i + 1)
          .filter(([, q]) => p.width && q.width && p.left < q.right && q.left < p.right && p.top + 2 < q.bottom && q.top + 2 < p.bottom)
          .map(([b]) => `${a} and ${b}`));
        return { touching, width: document.documentElement.scrollWidth };
      });
      assert.deepEqual(layout, { touching: [], width });
    }));
}
