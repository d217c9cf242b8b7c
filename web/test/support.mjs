// What the tests and the script that makes the screenshots share: a browser, the page, and files for it.

import { execFileSync, spawnSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { basename, dirname, join } from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

export const ROOT = join(dirname(fileURLToPath(import.meta.url)), '..', '..');
export const PAGE = join(ROOT, 'build/web/blockfit.html');
export const PAGE_URL = pathToFileURL(PAGE).href;
export const NATIVE = join(ROOT, 'build/release');

export const launch = () => chromium.launch({
  executablePath: '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
    '--disable-component-update', '--disable-sync'],
});

// Drops files on the page as a file manager does.
export async function drop(page, ...paths) {
  const files = paths.map((path) => ({ name: basename(path), base64: readFileSync(path, 'base64') }));
  const transfer = await page.evaluateHandle((dropped) => {
    const made = new DataTransfer();
    for (const { name, base64 } of dropped) {
      made.items.add(new File([Uint8Array.from(atob(base64), (c) => c.charCodeAt(0))], name));
    }
    return made;
  }, files);
  await page.dispatchEvent('#drop', 'drop', { dataTransfer: transfer });
}

// The row of a file, by its name with the folder.
export const rowOf = (page, name) =>
  page.locator('.row', { has: page.locator(`.open[title=${JSON.stringify(name)}]`) });

export async function setNumber(page, id, text) {
  await page.locator(`#${id}`).fill(text);
  await page.locator(`#${id}`).press('Enter');
}

export async function waitForState(page, name, ...states) {
  const found = rowOf(page, name).and(page.locator(states.map((state) => `[data-state="${state}"]`).join()));
  await found.waitFor({ timeout: 30000 });
  return found;
}

// Opens the details of a row that is closed.
export async function open(row) {
  await row.locator('.open[aria-expanded="false"]').click();
  return row;
}

// Runs the native program in a folder and returns the file that it writes.
export function conditionNatively(folder, path, ...options) {
  execFileSync(join(NATIVE, 'Blockfit'), [...options, '-o', 'native', path], { cwd: folder });
  return readFileSync(join(folder, 'native.srec'));
}

// Runs the native check and returns what it prints, as lines.
export function checkNatively(...args) {
  const { stdout, stderr } = spawnSync(join(NATIVE, 'blockfit-check'), args, { encoding: 'utf8' });
  return { stdout: stdout.split('\n'), stderr: stderr.split('\n') };
}

export function hexRecord(...bytes) {
  const sum = bytes.reduce((a, b) => a + b, 0);
  return `:${Buffer.from([...bytes, -sum & 0xFF]).toString('hex').toUpperCase()}\n`;
}

// Intel HEX text of about numChars characters, with ascending addresses.
export function hexText(numChars) {
  const data = Array.from({ length: 32 }, (_, i) => 7 * i & 0xFF);
  const lines = [];
  for (let addr = 0, left = numChars; left > 0; addr += 32, left -= lines.at(-1).length) {
    lines.push((addr & 0xFFFF ? '' : hexRecord(2, 0, 0, 4, addr >> 24, addr >> 16 & 0xFF)) +
      hexRecord(32, addr >> 8 & 0xFF, addr & 0xFF, 0, ...data));
  }
  return `${lines.join('')}:00000001FF\n`;
}
