// Prints how the page's times compare with the native programs' for the same work: the conversion and both checks. Names
// no limit and judges nothing. tools/web.sh speed [PAGE...] runs it; with other pages, all take turns, and the first one
// given is what the others are compared with. A page is done when it says so of every file.

import { execFileSync } from 'node:child_process';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';
import { pathToFileURL } from 'node:url';
import { NATIVE, PAGE, hexText, launch } from '../web/test/support.mjs';

const ROUNDS = 5;
const folder = mkdtempSync(join(tmpdir(), 'blockfit-speed-'));
const pages = [...process.argv.slice(2), PAGE];
const write = (name, contents) => (writeFileSync(join(folder, name), contents), join(folder, name));
const median = (values) => values.sort((a, b) => a - b)[Math.floor(values.length / 2)];

function timeNatively(paths) {
  const start = performance.now();
  for (const path of paths) {
    const run = (program, ...args) => execFileSync(join(NATIVE, program), args, { cwd: folder, stdio: 'ignore' });
    run('Blockfit', '-o', 'out', path);
    run('blockfit-check', '--against', path, 'out.srec');
    run('blockfit-check', '--conditioned', 'out.srec');
  }
  return (performance.now() - start) / 1000;
}

// The processor time in seconds of all processes of a browser.
async function processorTime(session) {
  const { processInfo } = await session.send('SystemInfo.getProcessInfo');
  return processInfo.reduce((sum, { cpuTime }) => sum + cpuTime, 0);
}

// Converts files in a page; returns the seconds, those of the processor, and how far the bar of the first file was when.
async function convert(url, paths) {
  const browser = await launch();
  const session = await browser.newBrowserCDPSession();
  const page = await browser.newPage();
  await page.goto(url);
  await page.waitForTimeout(1000);
  const usedBefore = await processorTime(session);
  await page.evaluate(() => {
    window.seen = [];
    const look = () => {
      const bar = document.querySelector('progress');
      if (bar && bar.value !== window.seen.at(-1)?.value) {
        window.seen.push({ value: bar.value, time: performance.now() });
      }
      requestAnimationFrame(look);
    };
    const begin = () => { window.start = performance.now(); look(); };
    document.querySelector('#choose').addEventListener('change', begin, { once: true, capture: true });
  });
  await page.setInputFiles('#choose', paths);
  if (paths[0].endsWith('.bin')) {
    await page.evaluate(() => { window.start = performance.now(); });
    await page.locator('#BaseAddr, .card input').first().press('0');
    await page.keyboard.press('Enter');
  }
  const end = await page.waitForFunction((count) => performance.now() *
    (document.querySelectorAll('[data-state="proved"]').length === count), paths.length, { timeout: 120000 });
  const [start, seen] = await page.evaluate(() => [window.start, window.seen]);
  const used = await processorTime(session) - usedBefore;
  const seconds = (await end.jsonValue() - start) / 1000;
  await browser.close();
  return { seconds, used, seen: seen.map(({ value, time }) => ({ value, time: (time - start) / 1000 })) };
}

function describeBar({ seconds, seen }) {
  const moves = seen.filter(({ time }) => time > 0 && time < seconds);
  const furthest = Math.max(...moves.map(({ value, time }) => Math.abs(value - time / seconds)));
  const longest = Math.max(...moves.map(({ time }, i) => (moves[i + 1]?.time ?? seconds) - time));
  return `; bar at most ${furthest.toFixed(2)} from the time, still for ${longest.toFixed(2)} s at most`;
}

const large = 2 ** 25;
const cases = [
  ['32 MiB as Intel HEX', [write('large.hex', hexText(large))]],
  ['32 MiB as raw binary', [write('large.bin', Buffer.alloc(large, '\x01\x80 not all bytes are the same'))]],
  ['100 small files', Array.from({ length: 100 }, (_, i) => write(`small-${i}.hex`, hexText(2000 + 40 * i)))],
];
for (const [name, paths] of cases) {
  const natively = [];
  const runs = pages.map(() => []);
  for (let i = 0; i < ROUNDS; ++i) {
    natively.push(timeNatively(paths));
    for (const [at, page] of pages.entries()) {
      runs[at].push(await convert(pathToFileURL(resolve(page)).href, paths));
    }
  }
  const native = median(natively);
  const results = runs.map((all) => [median(all.map((run) => run.seconds)), median(all.map((run) => run.used))]);
  for (const [at, [seconds, used]] of results.entries()) {
    const [time, processor] = [seconds / results[0][0], used / results[0][1]].map((ratio) => ratio.toFixed(2));
    const compared = at ? `; ${time} of the first page's time, ${processor} of its processor time` : '';
    console.log(`${name}, ${pages[at]}: ${(seconds / native).toFixed(1)} times the native programs', ` +
      `${seconds.toFixed(2)} s, ${used.toFixed(2)} s of the processor${compared}` +
      `${paths.length === 1 ? describeBar(runs[at][0]) : ''}`);
  }
}
rmSync(folder, { recursive: true });
