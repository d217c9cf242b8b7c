// Makes the pictures of the page that the documentation shows: docs/web-light.png and docs/web-dark.png.

import { join } from 'node:path';
import { PAGE_URL, ROOT, drop, launch, waitForState } from '../../web/test/support.mjs';

const browser = await launch();
for (const colorScheme of ['light', 'dark']) {
  const page = await browser.newPage({ colorScheme, viewport: { width: 1120, height: 900 } });
  await page.goto(`${PAGE_URL}#BlockAlign=96`);
  await drop(page, join(ROOT, 'examples/gaps.hex'));
  await waitForState(page, 'gaps.hex', 'proved');
  await page.getByText('0x08000000', { exact: true }).last().click();
  await page.locator('.sought').waitFor();
  await page.evaluate(() => scrollTo(0, 0));
  await page.screenshot({ path: join(ROOT, `docs/web-${colorScheme}.png`), fullPage: true });
}
await browser.close();
