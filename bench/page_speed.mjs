// Prints how the page's times compare with the native programs' for the same work: the conversion and both checks. Names
// no limit and judges nothing. tools/web.sh speed runs it; page_speed.mjs PAGE measures another page.

import { execFileSync } from 'node:child_process';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';
import { pathToFileURL } from 'node:url';
import { NATIVE, PAGE, hexText, launch } from '../web/test/support.mjs';

const folder = mkdtempSync(join(tmpdir(), 'blockfit-speed-'));
const url = pathToFileURL(resolve(process.argv[2] ?? PAGE)).href;
const write = (name, contents) => (writeFileSync(join(folder, name), contents), join(folder, name));

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

// Converts files in a page; returns the seconds, and the times at which the first one's bar was where.
async function convert(page, paths) {
  await page.evaluate(() => {
    window.seen = [];
    const look = () => {
      const bar = document.querySelector('progress');
      if (bar && bar.value !== window.seen.at(-1)?.value) {
        window.seen.push({ value: bar.value, time: performance.now() });
      }
      requestAnimationFrame(look);
    };
    document.querySelector('#choose').addEventListener('change', () => { window.start = performance.now(); look(); }, { once: true, capture: true });
  });
  await page.setInputFiles('#choose', paths);
  if (paths[0].endsWith('.bin')) {
    await page.evaluate(() => { window.start = performance.now(); document.querySelector('.card .primary').click(); });
  }
  const end = await page.waitForFunction((count) =>
    document.querySelectorAll('[data-state="proved"]').length === count && performance.now(), paths.length, { timeout: 120000 });
  const [start, seen] = await page.evaluate(() => [window.start, window.seen]);
  return { seconds: (await end.jsonValue() - start) / 1000, seen: seen.map(({ value, time }) => ({ value, time: (time - start) / 1000 })) };
}

function describeBar({ seconds, seen }) {
  const moves = seen.filter(({ time }) => time > 0 && time < seconds);
  const furthest = Math.max(...moves.map(({ value, time }) => Math.abs(value - time / seconds)));
  const longest = Math.max(...moves.map(({ time }, i) => (moves[i + 1]?.time ?? seconds) - time));
  return `bar at most ${furthest.toFixed(2)} from the time, still for ${longest.toFixed(2)} s at most`;
}

const large = 2 ** 25;
const cases = [
  ['32 MiB as Intel HEX', [write('large.hex', hexText(large))]],
  ['32 MiB as raw binary', [write('large.bin', Buffer.alloc(large, 'not all bytes are the same'))]],
  ['100 small files', Array.from({ length: 100 }, (_, i) => write(`small-${i}.hex`, hexText(2000 + 40 * i)))],
];
const browser = await launch();
for (const [name, paths] of cases) {
  for (let i = 0; i < 3; ++i) {
    const native = timeNatively(paths);
    const page = await browser.newPage();
    await page.goto(url);
    const result = await convert(page, paths);
    const bar = paths.length === 1 ? `; ${describeBar(result)}` : '';
    console.log(`${name}: ${(result.seconds / native).toFixed(1)} times the native programs', ${result.seconds.toFixed(2)} s${bar}`);
    await page.close();
  }
}
await browser.close();
rmSync(folder, { recursive: true });
