// Makes the pictures of the page that the documentation shows: docs/web-light.png and docs/web-dark.png.

import { join } from 'node:path';
import { PAGE_URL, ROOT, drop, launch, setNumber, waitForState } from './support.mjs';

const browser = await launch();
for (const colorScheme of ['light', 'dark']) {
  const page = await browser.newPage({ colorScheme, viewport: { width: 1120, height: 1210 } });
  await page.goto(PAGE_URL);
  await setNumber(page, /Block size/, 'decimal', '96');
  await drop(page, join(ROOT, 'examples/gaps.hex'));
  await waitForState(page, 'gaps.hex', 'done');
  await page.locator('svg.blocks .part.cut').first().evaluate((part) => part.focus({ preventScroll: true }));
  await page.screenshot({ path: join(ROOT, `docs/web-${colorScheme}.png`), fullPage: true });
}
await browser.close();
