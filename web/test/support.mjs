// What the tests and the script that makes the screenshots share: a browser, the page, and files for it.

import { execFileSync, spawnSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { basename, dirname, join } from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

export const ROOT = join(dirname(fileURLToPath(import.meta.url)), '..', '..');
export const PAGE = join(ROOT, 'build/web/blockfit.html');
export const PAGE_URL = pathToFileURL(PAGE).href;
const NATIVE = join(ROOT, 'build/release');

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

export const card = (page, name) => page.locator('.card', { has: page.getByRole('heading', { name, exact: true }) });

export const setNumber = (scope, legend, box, text) =>
  scope.getByRole('group', { name: legend }).getByRole('textbox', { name: box, exact: true })
    .fill(text).then(() => scope.page?.().keyboard.press('Enter') ?? scope.keyboard.press('Enter'));

export async function waitForState(page, name, ...states) {
  const found = card(page, name).and(page.locator(states.map((state) => `[data-state="${state}"]`).join()));
  await found.waitFor({ timeout: 30000 });
  return found;
}

// Runs the native program in a folder and returns the file it writes.
export function conditionNatively(folder, path, option, value) {
  execFileSync(join(NATIVE, 'Blockfit'), ['-a', '8000', option, value, path], { cwd: folder });
  return readFileSync(join(folder, basename(path).replace(/\.[^.]*$/, '.srec')));
}

// Returns what the native check finds in a file, in lines.
export const checkNatively = (path) =>
  spawnSync(join(NATIVE, 'blockfit-check'), [path], { encoding: 'utf8' }).stderr.split('\n');
