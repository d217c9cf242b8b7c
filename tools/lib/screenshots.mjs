// Makes the pictures of the page that the documentation shows: docs/web-start.png, and a sample, docs/web-light.png and
// docs/web-dark.png.

import { join } from 'node:path';
import { PAGE_URL, ROOT, launch } from '../../web/test/support.mjs';

const browser = await launch();
for (const [name, colorScheme] of [['start', 'light'], ['light', 'light'], ['dark', 'dark']]) {
  const page = await browser.newPage({ colorScheme, viewport: { width: 1216, height: 800 } });
  await page.goto(PAGE_URL);
  if (name !== 'start') {
    await page.getByText('Try a sample').click();
    await page.locator('.block .cut').first().waitFor();
    await page.getByText('Next cut').click();
    await page.locator('pre[aria-label="Text of block 1"]').waitFor();
    await page.locator('.picture').focus();
  }
  await page.screenshot({ path: join(ROOT, `docs/web-${name}.png`), fullPage: true });
}
await browser.close();
