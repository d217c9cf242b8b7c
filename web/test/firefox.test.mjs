// The main path in Firefox: files are chosen, converted, shown and saved as one zip file; a damaged one is refused.

import assert from 'node:assert/strict';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { unzipSync } from 'fflate';
import puppeteer from 'puppeteer-core';
import { PAGE_URL, ROOT, conditionNatively } from './support.mjs';

test('Firefox converts files, shows their blocks and saves them', async () => {
  const folder = mkdtempSync(join(tmpdir(), 'blockfit-firefox-'));
  const browser = await puppeteer.launch({
    browser: 'firefox',
    executablePath: '/usr/bin/firefox-esr',
    extraPrefsFirefox: {
      'browser.download.dir': folder, 'browser.download.folderList': 2, 'browser.download.useDownloadDir': true,
      'browser.download.always_ask_before_handling_new_types': false,
    },
  });
  try {
    const page = await browser.newPage();
    const errors = [];
    page.on('pageerror', (error) => errors.push(error.message));
    page.on('console', (message) => errors.push(message.text()));
    await page.goto(PAGE_URL);
    const names = ['gaps.hex', 'sample.s19', 'sample.bin', 'refused/checksum.hex'];
    const paths = names.map((name) => join(ROOT, 'examples', name));
    await (await page.$('#choose')).uploadFile(...paths);
    await page.waitForSelector('[data-state="unplaced"]');
    await page.locator('#BaseAddr').fill('8000');
    await page.keyboard.press('Enter');
    await page.waitForFunction(() => document.querySelectorAll('[data-state="proved"]').length === 3);
    await page.waitForSelector('[data-state="refused"]');
    await page.locator('.row:first-child .open').click();
    await page.waitForSelector('.block .record');
    await page.locator('#save-all').click();
    const zip = join(folder, 'blockfit.zip');
    let saved;
    for (const end = Date.now() + 20000; !saved;) {
      assert.ok(Date.now() < end, 'no zip file was saved');
      await new Promise((resolve) => { setTimeout(resolve, 100); });
      try { // Firefox names the file before it has written it
        saved = Object.values(unzipSync(readFileSync(zip)));
      } catch {}
    }
    saved.forEach((bytes, i) => {
      const expected = conditionNatively(folder, paths[i], ...(i === 2 ? ['-a', '8000'] : []));
      assert.ok(expected.equals(Buffer.from(bytes)), paths[i]);
    });
    assert.deepEqual([saved.length, errors], [3, []]);
  } finally {
    await browser.close();
    rmSync(folder, { recursive: true });
  }
});
