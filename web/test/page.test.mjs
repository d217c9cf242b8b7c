// The page in a browser, opened from disk and from a server: what it saves, says, shows and leaves alone.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { appendFileSync, copyFileSync, mkdirSync, mkdtempSync, readdirSync, readFileSync, rmSync, truncateSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { pathToFileURL } from 'node:url';
import axe from 'axe-core';
import { unzipSync } from 'fflate';
import { NATIVE, PAGE, PAGE_URL, ROOT, card, checkNatively, conditionNatively, drop, hexRecord, hexText, launch, setNumber, waitForState } from './support.mjs';

const EXAMPLES = join(ROOT, 'examples');
const GAPS = join(EXAMPLES, 'gaps.hex');
const samples = readdirSync(EXAMPLES).filter((name) => /\.(hex|mot|srec|s19|s37|s|bin)$/.test(name));
const refused = readdirSync(join(EXAMPLES, 'refused')).map((name) => join(EXAMPLES, 'refused', name));
const scratch = mkdtempSync(join(tmpdir(), 'blockfit-web-'));
const scratchFile = (name, contents) => (writeFileSync(join(scratch, name), contents), join(scratch, name));

const HTTP_URL = 'http://localhost/';

let browser;
before(async () => { browser = await launch(); });
after(async () => {
  await browser.close();
  rmSync(scratch, { recursive: true });
});

// Opens the page for a test, and ends the test with a look at what it asked for and whether it ran without an error.
async function withPage({ mayLog = /^$/, url = PAGE_URL, ...options }, run) {
  const page = await browser.newPage({ viewport: { width: 1180, height: 900 }, ...options });
  const unexpected = [];
  await page.route(HTTP_URL, (route) => route.fulfill({ contentType: 'text/html', path: PAGE }));
  page.on('request', (request) => unexpected.push(...[request.url()].filter((asked) => asked.split('#')[0] !== url && !/^(blob|data):/.test(asked))));
  page.on('console', (message) => unexpected.push(...[message.text()].filter((text) => !mayLog.test(text))));
  page.on('pageerror', (error) => unexpected.push(error.stack));
  await page.goto(url);
  await run(page);
  assert.deepEqual(unexpected, []);
  await page.close();
}

// Writes the page with a fault planted in its worker.
function plant(original, fault) {
  const page = readFileSync(PAGE, 'utf8');
  assert.equal(page.split(original).length, 2, original);
  return pathToFileURL(scratchFile('planted.html', page.replace(original, () => fault))).href;
}

async function save(page, button) {
  const arrival = page.waitForEvent('download');
  await button.click();
  const download = await arrival;
  return { name: download.suggestedFilename(), bytes: readFileSync(await download.path()) };
}

const saveAll = async (page) => unzipSync((await save(page, page.getByText('Save all as zip'))).bytes);
const stateOf = (page, name) => card(page, name).locator('.state').innerText();

for (const url of [PAGE_URL, HTTP_URL]) {
  test(`samples are saved as the program writes them, opened by ${url.split(':')[0]}`, () =>
    withPage({ url }, async (page) => {
      await drop(page, ...samples.map((name) => join(EXAMPLES, name)));
      for (const name of samples.filter((sample) => sample.endsWith('.bin'))) {
        await setNumber(card(page, name), /Load address/, '8000');
      }
      for (const [label, option, value] of [[/Block size/, '-BlockAlign', 8192], [/Block size/, '-BlockAlign', 34],
        [/Block size/, '-BlockAlign', 96], [/Block size/, '-BlockAlign', 8192], [/Line align/, '-LineAlign', 0]]) {
        await setNumber(page, label, String(value));
        const proved = samples.filter((name) => name !== 'beyond-32-bits.hex');
        for (const name of proved) {
          await waitForState(page, name, 'proved');
        }
        const expected = proved.map((name) => conditionNatively(scratch, join(EXAMPLES, name),
          ...(name.endsWith('.bin') ? ['-a', '8000'] : [option, value.toString(16)])));
        const saved = Object.entries(await saveAll(page));
        assert.equal(saved.length, proved.length);
        saved.forEach(([name, bytes], i) => {
          const isSame = proved[i].endsWith('.bin') && value !== 8192 || expected[i].equals(Buffer.from(bytes));
          assert.ok(isSame, `${proved[i]} as ${name} with ${option} ${value}`);
        });
        assert.deepEqual(saved.slice(-3).map(([name]) => name), ['sample-6.srec', 'sample-7.srec', 'two-blocks.srec']);
      }
    }));
}

test('findings are those of the check, with the lines around them', () => withPage({}, async (page) => {
  const windows = ':0400000001020304F2\r\n:0400040001020304EE\r\n\r\n:0400080001020304FF\r\n:00000001FF\r\n';
  const paths = [...refused, scratchFile('windows.hex', windows), scratchFile('empty.hex', ''), scratchFile('cut.hex', windows.slice(0, 20))];
  await drop(page, ...paths);
  for (const path of paths) {
    const found = await waitForState(page, path.split('/').at(-1), 'refused', 'proved');
    const shown = await found.locator(':is(.error, .warning, .note)').evaluateAll((all) => all.flatMap((one) => [
      one.querySelector('p').textContent, ...[...one.querySelectorAll('pre b')].flatMap((b) => b.textContent.trimEnd().split('\n').map((row) => row.trim()))]));
    const expected = checkNatively(path).stderr.filter(Boolean).flatMap((row) => {
      const [, line, level, text] = /^\S.*?(?::(\d+))?: (error|warning|note): (.*)$/.exec(row) ?? [];
      return text === 'first defined here' ? [] : text === undefined ? [row.trim()] : [`${line ? `Line ${line}: ` : ''}${level === 'error' ? '' : `${level}: `}${text}`];
    });
    assert.deepEqual(shown.map((row) => row.replace(/^\d+ {2}/, '')), expected, path);
  }
  assert.deepEqual((await card(page, 'windows.hex').locator('pre').innerText()).split('\n').map((row) => row.trim()).filter((row) => row !== '^'),
    ['2  :0400040001020304EE', '3', '4  :0400080001020304FF', '5  :00000001FF', '']);
  assert.equal(await stateOf(page, 'cut.hex'), 'Proved, 1 warning');
}));

test('an output that breaks a promise, or has another byte, is never called proved', async () => {
  for (const fault of ['pieces[0][8] |= 32;', 'pieces[0][9] ^= 1; pieces[0][73] -= 1;']) {
    await withPage({ url: plant('begin(TEST,', `${fault} begin(TEST,`) }, async (page) => {
      await drop(page, GAPS, join(EXAMPLES, 'beyond-32-bits.hex'));
      const found = await waitForState(page, 'gaps.hex', 'unproved');
      assert.match(await found.innerText(), /Not proved[^]*Save gaps.srec \(not proved\)/);
      assert.equal(await found.locator('.primary:visible, .proof').count(), 0);
      assert.ok(await page.getByText('Save all as zip').isDisabled());
    });
  }
});

test('a result stays while another is made, and when that is cancelled', () => withPage({}, async (page) => {
  const path = scratchFile('large.hex', hexText(2 ** 25));
  await page.setInputFiles('#choose', path);
  await waitForState(page, 'large.hex', 'proved');
  await setNumber(page, /Block size/, '4096');
  const running = await waitForState(page, 'large.hex', 'running');
  let asked = '';
  page.on('dialog', (dialog) => { asked = dialog.type(); dialog.dismiss(); });
  await page.evaluate(() => { setTimeout(() => location.reload()); });
  await page.waitForFunction(() => document.querySelector('progress').value > 0.2);
  assert.equal(asked, 'beforeunload');
  assert.match(await running.innerText(), /Save large.srec \(out of date\)[^]*made with block size 8,192/);
  await page.keyboard.press('Escape');
  const cancelled = await waitForState(page, 'large.hex', 'cancelled');
  const saved = await save(page, cancelled.getByText('Save large.srec (out of date)'));
  assert.ok(saved.bytes.equals(conditionNatively(scratch, path)));
  await cancelled.getByText('Convert').click();
  await waitForState(page, 'large.hex', 'proved');
  const { bytes } = await save(page, page.getByText('Save large.srec'));
  assert.ok(bytes.equals(conditionNatively(scratch, path, '-balign', '1000')));
}));

test('a file that has changed is refused, and takes its old place when it is chosen again', () => withPage({}, async (page) => {
  const changes = [(path) => appendFileSync(path, 'x'), (path) => truncateSync(path, 3), (path) => rmSync(path)];
  for (const [i, change] of changes.entries()) {
    const path = join(scratch, `file-${i}.bin`);
    copyFileSync(join(EXAMPLES, 'sample.bin'), path);
    await page.setInputFiles('#choose', path);
    change(path);
    await setNumber(card(page, `file-${i}.bin`), /Load address/, '8000000');
    assert.match(await (await waitForState(page, `file-${i}.bin`, 'refused')).innerText(), /Choose it again/);
    copyFileSync(join(EXAMPLES, 'sample.bin'), path);
    await page.setInputFiles('#choose', path);
    await waitForState(page, `file-${i}.bin`, 'proved');
  }
  assert.equal(await page.locator('.card').count(), changes.length);
}));

test('numbers are read both ways, and wrong ones are said at their field and lose nothing', () => withPage({}, async (page) => {
  await drop(page, GAPS);
  const rows = [['0x1000', '= 4,096', '', 'Proved'], ['1000', '= 0x3E8', '', 'Proved'], ['81', '= 0x51', '34 or more, and even', 'Out of date'],
    ['0x20', '= 32', '34 or more, and even', 'Out of date'], ['12a', '', 'digits, or 0x and hexadecimal digits', 'Out of date'],
    ['4294967296', '= 0x100000000', '4,294,967,294 or less', 'Out of date'], ['1000', '= 0x3E8', '', 'Proved']];
  const field = page.locator('.number', { hasText: 'Block size' });
  for (const [typed, reading, problem, verdict] of rows) {
    await setNumber(page, /Block size/, typed);
    await page.waitForFunction((text) => document.querySelector('.state').textContent === text, verdict);
    assert.deepEqual([await field.locator('.reading').innerText(), await field.locator('.problem').innerText()], [reading, problem], typed);
    assert.match(await card(page, 'gaps.hex').innerText(), /Save gaps.srec/);
  }
  await page.reload();
  assert.equal(await page.getByLabel(/Block size/).inputValue(), '1000');
}));

test('the command line that is shown makes the same output', () => withPage({}, async (page) => {
  const name = 'it’s a "test".bin';
  copyFileSync(join(EXAMPLES, 'sample.bin'), join(scratch, name));
  await page.setInputFiles('#choose', join(scratch, name));
  await setNumber(card(page, name), /Load address/, '1000');
  for (const change of [() => {}, () => setNumber(page, /Block size/, '512'), () => setNumber(page, /Line align/, '16'),
    () => card(page, name).getByLabel('Output name').fill('-new')]) {
    await change();
    const found = await waitForState(page, name, 'proved');
    const saved = await save(page, found.locator('.save'));
    execFileSync('sh', ['-ec', await found.locator('.command code').innerText()],
      { cwd: scratch, env: { ...process.env, PATH: `${NATIVE}:${process.env.PATH}` } });
    assert.ok(saved.bytes.equals(readFileSync(join(scratch, saved.name.replace(/_/g, '"')))), saved.name);
  }
}));

test('blocks are shown as the check counts them, and found by address', () => withPage({}, async (page) => {
  for (const blockSize of ['96', '34']) {
    await page.goto(`${PAGE_URL}#BlockAlign=${blockSize}`);
    await page.reload();
    await drop(page, GAPS);
    const found = await waitForState(page, 'gaps.hex', 'proved');
    const output = scratchFile('gaps.srec', conditionNatively(scratch, GAPS, '-balign', Number(blockSize).toString(16)));
    const table = checkNatively('--blocks', '--block', blockSize, output).stdout.slice(1, -2).map((row) => row.trim().split(/ +/));
    const lines = [];
    for (const [i, [, records, bytes, cut, fill]] of table.entries()) {
      await found.locator(`pre[aria-label="Text of block ${i}"]`).waitFor();
      const place = (await found.locator('.blocks [role=status]').innerText()).replace(/s\b/g, '');
      assert.ok(place.endsWith(`${records} record, ${bytes} byte, ${fill} character of fill`), place);
      lines.push(...(await found.locator('.block').evaluate((block) => {
        getSelection().selectAllChildren(block);
        return getSelection().toString();
      })).split('\n').filter((line) => line && !line.startsWith('Free')));
      const notes = await found.locator('.record').evaluateAll((all) => all.map((one) => one.dataset.note).join());
      assert.equal(notes.includes('cut here'), cut === 'yes', place);
      assert.equal(notes.includes('the rest of'), table.slice(0, i).findLast(([, count]) => count !== '0')?.[3] === 'yes', place);
      if (i + 1 < table.length) {
        await found.getByText('Next', { exact: true }).click();
      }
    }
    assert.equal(lines.join(''), readFileSync(output, 'latin1').replaceAll('\r\n', ''));
    await found.getByText('0x08000011', { exact: true }).last().click();
    assert.match(await found.locator('.sought').innerText(), /^S31408000011/);
    await setNumber(found, 'Address', '8000010');
    assert.match(await found.locator('.blocks').innerText(), /There is no byte at 0x08000010/);
  }
}));

test('a file with very many runs is drawn with few parts', () => withPage({}, async (page) => {
  const records = Array.from({ length: 20000 }, (_, i) => 3 * i + 1000 * (i >> 12)).map((addr) => hexRecord(1, addr >> 8, addr & 0xFF, 0, 0));
  await page.setInputFiles('#choose', scratchFile('sparse.hex', records.join('')));
  const found = await waitForState(page, 'sparse.hex', 'proved');
  assert.match(await found.innerText(), /20,000 runs are drawn as 5 areas[^]*19,000 runs not listed/);
}));

test('a batch has a summary, and is removed at once', () => withPage({}, async (page) => {
  await drop(page, GAPS, scratchFile('cut.hex', ':0100000000FF\n'), refused[0], join(EXAMPLES, 'sample.bin'));
  await page.locator('#summary').getByText('2 proved, 1 of them with warnings; 1 refused; 1 without a load address').waitFor();
  await page.getByText('Remove all').click();
  assert.equal(await page.locator('.card').count(), 0);
}));

test('a dropped folder gives its files, or a sentence where the browser keeps it closed', async () => {
  mkdirSync(join(scratch, 'folder/inner'), { recursive: true });
  for (const name of ['a.hex', 'inner/b.hex', 'notes.md']) {
    copyFileSync(GAPS, join(scratch, 'folder', name));
  }
  for (const [url, notice, headings] of [[HTTP_URL, 'folder: 1 file of other kinds left out.', ['folder/a.hex', 'folder/inner/b.hex']],
    [PAGE_URL, 'The folder folder could not be opened. Choose its files instead.', []]]) {
    await withPage({ url }, async (page) => {
      const session = await page.context().newCDPSession(page);
      const data = { items: [], files: [join(scratch, 'folder')], dragOperationsMask: 1 };
      for (const type of ['dragEnter', 'dragOver', 'drop']) {
        await session.send('Input.dispatchDragEvent', { type, x: 300, y: 200, data });
      }
      await page.getByText(notice).waitFor();
      assert.deepEqual((await page.locator('.card h2').allInnerTexts()).sort(), headings);
    });
  }
});

test('what the browser cannot do is said in a sentence', async () => {
  const cases = [[{ javaScriptEnabled: false }, () => {}], [{}, () => { delete window.WebAssembly; }], [{}, () => { WebAssembly.validate = () => false; }]];
  for (const [options, prepare] of cases) {
    const page = await browser.newPage(options);
    await page.addInitScript(prepare);
    await page.goto(PAGE_URL);
    assert.ok(await page.getByText('This page needs JavaScript, and WebAssembly').isVisible());
    assert.ok(!await page.locator('#drop').isVisible());
    await page.close();
  }
  await withPage({}, async (page) => {
    truncateSync(scratchFile('huge.hex', ''), 3 * 2 ** 30);
    await page.setInputFiles('#choose', join(scratch, 'huge.hex'));
    assert.match(await (await waitForState(page, 'huge.hex', 'refused')).innerText(), /does not fit into this browser’s memory/);
  });
});

test('the page cannot connect to anything', () =>
  withPage({ url: HTTP_URL, mayLog: /Content Security Policy/ }, async (page) => {
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

for (const [colorScheme, width, forcedColors] of [['light', 1180, 'none'], ['dark', 360, 'none'], ['light', 360, 'active']]) {
  test(`nothing is inaccessible or sticks out, in any state: ${colorScheme}, ${width} pixels, forced colours ${forcedColors}`, () =>
    withPage({ url: plant('let bytes = await load(file);', "if (file.name === 'slow.hex') { await new Promise(() => {}); }\n  let bytes = await load(file);"),
      colorScheme, forcedColors, viewport: { width, height: 800 } }, async (page) => {
      // The page's own policy keeps scripts out, so this one comes by way of the debugger.
      await page.evaluate(axe.source);
      const look = async (states) => {
        const { violations } = await page.evaluate(() => window.axe.run());
        assert.deepEqual(violations.map(({ id, nodes }) => [id, nodes.map((node) => node.html)]), []);
        const shown = await page.evaluate(() => [document.documentElement.scrollWidth, ...[...document.querySelectorAll('.card')].map((one) => one.dataset.state)]);
        assert.deepEqual(shown, [width, ...states]);
      };
      const slow = scratchFile('slow.hex', hexText(100));
      const long = scratchFile(`${'x'.repeat(240)}.hex`, hexText(100));
      await look([]);
      await drop(page, GAPS, long, join(EXAMPLES, 'beyond-32-bits.hex'), join(EXAMPLES, 'refused/checksum.hex'), join(EXAMPLES, 'sample.bin'), slow);
      await waitForState(page, 'slow.hex', 'running');
      await drop(page, scratchFile('last.hex', hexText(100)));
      await page.locator('.card details').first().evaluate((details) => { details.open = true; });
      await page.locator('.block .record').first().waitFor();
      await look(['proved', 'proved', 'unproved', 'refused', 'ready', 'running', 'queued']);
      await page.keyboard.press('Escape');
      await setNumber(page, /Block size/, '33');
      await look(['outdated', 'outdated', 'outdated', 'refused', 'ready', 'cancelled', 'cancelled']);
    }));
}
