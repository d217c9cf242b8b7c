// The page in a browser, opened from disk and from a server: what it saves, says, shows and leaves alone.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import {
  appendFileSync, mkdirSync, mkdtempSync, readdirSync, readFileSync, rmSync, truncateSync, utimesSync, writeFileSync,
} from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { after, before, test } from 'node:test';
import { pathToFileURL } from 'node:url';
import axe from 'axe-core';
import { unzipSync } from 'fflate';
import {
  NATIVE, PAGE, PAGE_URL, ROOT, checkNatively, conditionNatively, drop, hexRecord, hexText, launch, open, rowOf,
  setNumber, waitForState,
} from './support.mjs';

const EXAMPLES = join(ROOT, 'examples');
const GAPS = join(EXAMPLES, 'gaps.hex');
const REFUSED = join(EXAMPLES, 'refused');
const samples = readdirSync(EXAMPLES).filter((name) => /\.(hex|mot|srec|s19|s37|s|bin)$/.test(name));
const refused = readdirSync(REFUSED).map((name) => join(REFUSED, name));
const scratch = mkdtempSync(join(tmpdir(), 'blockfit-web-'));
const HTTP_URL = 'http://localhost/';

// Writes a file for a test, which may be in a folder.
function scratchFile(name, contents) {
  mkdirSync(dirname(join(scratch, name)), { recursive: true });
  writeFileSync(join(scratch, name), contents);
  return join(scratch, name);
}

let browser;
let numPlanted = 0;
before(async () => { browser = await launch(); });
after(async () => {
  await browser.close();
  rmSync(scratch, { recursive: true });
});

// Opens the page for a test, and ends the test with a look at what it asked for and whether it ran without an error.
async function withPage({ mayLog = /^$/, url = PAGE_URL, ...options }, run) {
  const page = await browser.newPage({ viewport: { width: 1180, height: 900 }, ...options });
  const unexpected = [];
  const isForeign = (asked) => asked.split('#')[0] !== url.split('#')[0] && !/^(blob|data):/.test(asked);
  await page.route(HTTP_URL, (route) => route.fulfill({ contentType: 'text/html', path: PAGE }));
  page.on('request', (request) => unexpected.push(...[request.url()].filter(isForeign)));
  page.on('console', (message) => unexpected.push(...[message.text()].filter((text) => !mayLog.test(text))));
  page.on('pageerror', (error) => unexpected.push(error.stack));
  await page.goto(url);
  await run(page);
  assert.deepEqual(unexpected, []);
  await page.close();
}

// Writes the page with faults planted, which are pairs of texts. One in its own script needs the policy to go.
function plant(...faults) {
  const page = faults.reduce((text, [original, fault]) => {
    assert.equal(text.split(original).length, 2, original);
    return text.replace(original, () => fault);
  }, readFileSync(PAGE, 'utf8').replace(/<meta http-equiv.*>/, ''));
  return pathToFileURL(scratchFile(`planted-${++numPlanted}.html`, page)).href;
}

// What is saved when something is done.
async function save(page, act) {
  const arrival = page.waitForEvent('download');
  await act();
  const download = await arrival;
  return { name: download.suggestedFilename(), bytes: readFileSync(await download.path()) };
}

const saveRow = (page, row) => save(page, () => row.locator('.save').click());
const saveAll = async (page) => unzipSync((await save(page, () => page.locator('#save-all').click())).bytes);
const verdictsOf = (page) => page.locator('.row').evaluateAll((rows) => rows.map((row) =>
  [row.querySelector('.open').title, ...['.verdict b', '.reason'].map((part) => row.querySelector(part).textContent)]));
const message = (page) => page.locator('#message:visible').innerText();

for (const url of [PAGE_URL, HTTP_URL]) {
  test(`samples are saved as the program writes them, opened by ${url.split(':')[0]}`, () =>
    withPage({ url: `${url}#BaseAddr=8000` }, async (page) => {
      await page.setInputFiles('#choose', samples.map((name) => join(EXAMPLES, name)));
      const proved = samples.filter((name) => name !== 'beyond-32-bits.hex');
      for (const [id, option, value] of [['BlockAlign', '-balign', 8192], ['BlockAlign', '-balign', 34],
        ['BlockAlign', '-balign', 96], ['BlockAlign', '-balign', 8192], ['LineAlign', '-lalign', 0]]) {
        await setNumber(page, id, String(value));
        for (const name of proved) {
          await waitForState(page, name, 'proved');
        }
        const saved = Object.entries(await saveAll(page));
        assert.match(await message(page), /^blockfit.zip has 9 files. Left out: beyond-32-bits.hex \(not proved\).$/m);
        const expected = proved.map((name) => conditionNatively(
          scratch, join(EXAMPLES, name.replace('sample.bin', 'sample.hex')),
          ...(name === 'two-blocks.bin' ? ['-a', '8000'] : [option, value.toString(16)])));
        saved.forEach(([name, bytes], i) => assert.ok(expected[i].equals(Buffer.from(bytes)) ||
          (proved[i] === 'two-blocks.bin' && value !== 8192), `${name} of ${proved[i]} with ${option} ${value}`));
        assert.deepEqual(saved.map(([name]) => name).slice(-3), ['sample-7.srec', 'sample-8.srec', 'two-blocks.srec']);
      }
    }));
}

test('findings are those of the check, with the lines around them', () => withPage({}, async (page) => {
  const windows = ':0400000001020304F2\r\n:0400040001020304EE\r\n\r\n:0400080001020304FF\r\n:00000001FF\r\n';
  const paths = [...refused, scratchFile('windows.hex', windows), scratchFile('empty.hex', ''),
    scratchFile('cut.hex', windows.slice(0, 20))];
  await page.setInputFiles('#choose', paths);
  for (const path of paths) {
    const row = await open(await waitForState(page, path.split('/').at(-1), 'refused', 'warned'));
    const shown = await row.locator('.finding').evaluateAll((all) => all.flatMap((one) => [
      one.querySelector('p').textContent, ...[...one.querySelectorAll('pre b')].flatMap((b) =>
        b.textContent.trimEnd().split('\n').map((line) => line.trim()))]));
    const expected = checkNatively(path).stderr.filter(Boolean).flatMap((text) => {
      const [, line, level, finding] = /^\S.*?(?::(\d+))?: (error|warning|note): (.*)$/.exec(text) ?? [];
      return finding === 'first defined here' ? [] : finding === undefined ? [text.trim()]
        : [`${line ? `Line ${line}: ` : ''}${level === 'error' ? '' : `${level}: `}${finding}`];
    });
    assert.deepEqual(shown.map((line) => line.replace(/^\d+ {2}/, '')), expected, path);
    assert.equal(await row.locator('.reason').innerText(), expected.find((line) => !line.includes('note: ')), path);
  }
  const around = (await rowOf(page, 'windows.hex').locator('pre').innerText()).split('\n').map((line) => line.trim());
  assert.deepEqual(around.filter((line) => line !== '^'),
    ['2  :0400040001020304EE', '3', '4  :0400080001020304FF', '5  :00000001FF', '']);
}));

test('an output that breaks a promise, has another byte or could not be checked is never called proved', async () => {
  const noMemory = 'WebAssembly.Memory.prototype.grow = () => { throw new RangeError(); }; ' +
    'for (let size = 2 ** 26; size > 8; size /= 2) { while (blockfit._malloc(size)); } ';
  for (const [fault, state, reason] of [['pieces[0][8] |= 32; ', 'unproved', /^In the output: Line 1: offset 8/],
    ['pieces[0][9] ^= 1; pieces[0][73] -= 1; ', 'unproved', /output does not have the input's bytes/],
    [noMemory, 'refused', /^The output could not be checked: this browser’s memory is exhausted/]]) {
    await withPage({ url: plant(['begin(TEST,', `${fault}begin(TEST,`]) }, async (page) => {
      await page.setInputFiles('#choose', GAPS);
      const row = await waitForState(page, 'gaps.hex', state);
      assert.match(await row.locator('.reason').innerText(), reason);
      assert.equal(await row.locator('.good, .proof, button.save').count(), 0);
    });
  }
});

test('an output that is damaged after the checks is not saved', () =>
  withPage({ url: plant(['new Blob(pieces,', 'new Blob(pieces.map((piece) => piece.subarray(1)),']) }, async (page) => {
    await page.setInputFiles('#choose', [GAPS, join(EXAMPLES, 'sample.hex')]);
    await (await waitForState(page, 'gaps.hex', 'proved')).locator('.save').click();
    assert.match(await message(page), /gaps.hex was not saved: its output was damaged after the checks/);
    await waitForState(page, 'sample.hex', 'proved');
    await page.locator('#save-all').click();
    await page.locator('#message', { hasText: 'could not be made: the output of gaps.hex was damaged' }).waitFor();
  }));

test('Save with a changed field saves the new result, and an old one only where it is called old', () => {
  const endless = ['begin(readStep,', 'BlockAlign === 2048 && await new Promise(() => {}); begin(readStep,'];
  return withPage({ url: plant(endless) }, async (page) => {
    const path = scratchFile('large.hex', hexText(2 ** 24));
    await page.setInputFiles('#choose', path);
    const row = await waitForState(page, 'large.hex', 'proved');
    const place = await row.locator('.save').boundingBox();
    await page.locator('#BlockAlign').fill('4096');
    const { name, bytes } = await saveRow(page, rowOf(page, 'large.hex'));
    assert.ok(bytes.equals(conditionNatively(scratch, path, '-balign', '1000')));
    assert.equal(name, 'large.srec');
    await setNumber(page, 'BlockAlign', '2048');
    const running = await waitForState(page, 'large.hex', 'running');
    assert.deepEqual(await running.locator('.save').boundingBox(), place);
    await page.waitForFunction(() => document.querySelector('progress').value > 0);
    const asked = page.waitForEvent('dialog');
    await page.evaluate(() => { setTimeout(() => location.reload()); });
    assert.equal((await asked).type(), 'beforeunload');
    await (await asked).dismiss();
    assert.match(await running.locator('.details').innerText(), /out of date: it was made with block size 4,096/);
    await page.locator('#LineAlign').press('Escape');
    await page.locator('.row .open').press('Escape');
    const stopped = await waitForState(page, 'large.hex', 'stopped');
    const old = await save(page, () => stopped.getByText('Save the old result').click());
    assert.ok(old.bytes.equals(bytes));
    assert.equal(old.name, 'large-out-of-date.srec');
    await stopped.locator('.save').click();
    await waitForState(page, 'large.hex', 'running');
  });
});

test('Escape in a text box stops nothing', () => {
  const slow = ['begin(readStep,', 'await new Promise((go) => { setTimeout(go, 2000); }); begin(readStep,'];
  return withPage({ url: plant(slow) }, async (page) => {
    await page.setInputFiles('#choose', GAPS);
    await waitForState(page, 'gaps.hex', 'running');
    await page.locator('#BlockAlign').press('Escape');
    await waitForState(page, 'gaps.hex', 'proved');
  });
});

test('a file from elsewhere gets its own row, one chosen again its old one', () => withPage({}, async (page) => {
  const paths = ['a', 'b'].map((folder) => scratchFile(`${folder}/fw.hex`, hexText(folder === 'a' ? 100 : 300)));
  const same = [':0100000000FF\n', ':0100000001FE\n'].map((text, i) => scratchFile(`same${i}/fw.hex`, text));
  same.forEach((path) => utimesSync(path, 1, 1));
  for (const [i, path] of [...paths, ...same, ...paths, ...same].entries()) {
    await page.setInputFiles('#choose', path);
    await page.waitForFunction((count) =>
      document.querySelectorAll('[data-state="proved"], [data-state="warned"]').length === count, Math.min(i + 1, 4));
  }
  const changes = [(path) => appendFileSync(path, 'x'), (path) => truncateSync(path, 3), (path) => rmSync(path)];
  for (const change of changes) {
    change(paths[0]);
    await setNumber(page, 'LineAlign', String(2 + 2 * changes.indexOf(change)));
    const row = await waitForState(page, 'fw.hex', 'refused');
    assert.match(await row.locator('.reason').innerText(), /Choose it again/);
    scratchFile('a/fw.hex', hexText(200));
    await page.setInputFiles('#choose', paths[0]);
    await page.waitForFunction(() => document.querySelectorAll('[data-state="proved"]').length === 2);
  }
  assert.deepEqual(Object.keys(await saveAll(page)), ['fw.srec', 'fw-2.srec', 'fw-3.srec', 'fw-4.srec']);
}));

test('numbers are read both ways, and wrong ones are said and lose nothing', () => withPage({}, async (page) => {
  await page.setInputFiles('#choose', GAPS);
  const rows = [['0x1000', 'characters = 4,096', '', 'Proved'], ['1000', 'characters = 0x3E8', '', 'Proved'],
    ['81', 'characters = 0x51', '34 or more, and even', 'Out of date'],
    ['12a', 'characters', 'digits, or 0x and hexadecimal digits', 'Out of date'],
    ['4294967296', 'characters = 0x100000000', '4,294,967,294 or less', 'Out of date'],
    ['1000', 'characters = 0x3E8', '', 'Proved']];
  for (const [typed, reading, problem, verdict] of rows) {
    await setNumber(page, 'BlockAlign', typed);
    await page.waitForFunction((text) => document.querySelector('.verdict b').textContent === text, verdict);
    const texts = ['reading', 'problem'].map((part) => page.locator(`#BlockAlign-${part}`).textContent());
    assert.deepEqual(await Promise.all(texts), [reading, problem], typed);
  }
  await page.reload();
  assert.equal(await page.locator('#BlockAlign').inputValue(), '1000');
  await page.goto(`${PAGE_URL}#BlockAlign=33&LineAlign=4&Colour=red`);
  await page.reload();
  assert.match(await message(page), /BlockAlign=33 is wrong: 34 or more, and even; Colour is unknown/);
  assert.equal(await page.locator('#LineAlign').inputValue(), '4');
}));

test('raw binaries have one load address, which is hexadecimal', () => withPage({}, async (page) => {
  await page.setInputFiles('#choose', [join(EXAMPLES, 'sample.bin'), join(EXAMPLES, 'two-blocks.bin'), GAPS]);
  await waitForState(page, 'gaps.hex', 'proved');
  const verdicts = await verdictsOf(page);
  assert.deepEqual(verdicts.map(([, verdict]) => verdict), ['No load address', 'No load address', 'Proved']);
  await page.locator('#BaseAddr').fill('8000000');
  await page.getByText('Convert', { exact: true }).click();
  for (const url of [null, `${PAGE_URL}#BaseAddr=8000000`]) {
    if (url) {
      await page.goto(url);
      await page.reload();
      await page.setInputFiles('#choose', join(EXAMPLES, 'sample.bin'));
    }
    const { bytes } = await saveRow(page, await waitForState(page, 'sample.bin', 'proved'));
    assert.ok(bytes.equals(conditionNatively(scratch, join(EXAMPLES, 'sample.bin'), '-a', '8000000')));
  }
}));

test('data outside the memory of the part is refused, as the check says', () => withPage({}, async (page) => {
  await page.setInputFiles('#choose', GAPS);
  await waitForState(page, 'gaps.hex', 'proved');
  for (const [ranges, problem, state] of [['0x0-0xFFFFFFFF', '', 'proved'], ['0-0xFF', 'with 0x', 'outdated'],
    ['0x8000-0x8FFF, 0x08000000-0x08FFFFFF', '', 'refused'], ['0x10-0x1', 'FIRST-LAST', 'outdated']]) {
    await setNumber(page, 'Within', ranges);
    const row = await waitForState(page, 'gaps.hex', state);
    assert.ok((await page.locator('#Within-problem').textContent()).includes(problem), ranges);
    if (state === 'refused') {
      const options = ranges.split(', ').flatMap((range) => ['--within', range]);
      const [expected] = checkNatively(...options, GAPS).stderr;
      const [, line, text] = /:(\d+): error: (.*)/.exec(expected);
      assert.equal(await row.locator('.reason').innerText(), `Line ${line}: ${text}`);
      await page.reload();
      assert.equal(await page.locator('#Within').inputValue(), '0x00008000-0x00008FFF 0x08000000-0x08FFFFFF');
      await page.setInputFiles('#choose', GAPS);
    }
  }
}));

test('the command line that is shown makes the same output', async () => {
  for (const [path, sample] of [['it’s a "test".bin', 'sample.bin'], ['in/the folder/fw.srec', 'sample.srec'],
    ['-cut.hex', 'sample.hex']]) {
    await withPage({}, async (page) => {
      scratchFile(path, readFileSync(join(EXAMPLES, sample)).subarray(0, path === '-cut.hex' ? 44 : Infinity));
      const [box, chosen] = path.includes('/') ? ['#choose-folder', 'in'] : ['#choose', path];
      await page.setInputFiles(box, join(scratch, chosen));
      for (const [id, value] of [['BaseAddr', '1000'], ['BlockAlign', '512'], ['LineAlign', '16'],
        ['Within', '0x0-0xFFFF']]) {
        await setNumber(page, path.endsWith('.bin') ? id : id.replace('BaseAddr', 'LineAlign'), value);
        const row = await waitForState(page, path, 'proved', 'warned');
        const { name, bytes } = await saveRow(page, row);
        execFileSync('sh', ['-ec', await row.locator('.command code').innerText()],
          { cwd: scratch, env: { ...process.env, PATH: `${NATIVE}:${process.env.PATH}` } });
        const made = join(scratch, dirname(path), name);
        assert.ok(bytes.equals(readFileSync(made)), `${path} with ${id}`);
      }
    });
  }
});

const readsBack = { mayLog: /willReadFrequently/ };
test('blocks are shown and drawn as the check counts them', () => withPage(readsBack, async (page) => {
  for (const blockSize of ['96', '34']) {
    await page.goto(`${PAGE_URL}#BlockAlign=${blockSize}`);
    await page.reload();
    await page.setInputFiles('#choose', GAPS);
    const row = await waitForState(page, 'gaps.hex', 'proved');
    const native = conditionNatively(scratch, GAPS, '-balign', Number(blockSize).toString(16));
    const output = scratchFile('gaps.srec', native);
    const table = checkNatively('--blocks', '--block', blockSize, output).stdout.slice(1, -2)
      .map((line) => line.trim().split(/ +/));
    const cuts = table.flatMap(([, , , cut], i) => (cut === 'yes' ? [i] : []));
    const lines = [];
    await row.locator('.picture').press('Home');
    for (const [i, [, records, bytes, cut, fill]] of table.entries()) {
      await row.locator(`pre[aria-label="Text of block ${i}"]`).waitFor();
      const place = (await row.locator('.place').innerText()).replace(/s\b/g, '');
      assert.ok(place.includes(`: ${records} record, ${bytes} byte, ${fill} character of fill`), place);
      lines.push(...(await row.locator('.block').evaluate((block) => {
        getSelection().selectAllChildren(block);
        return getSelection().toString();
      })).split('\n').filter(Boolean));
      const notes = await row.locator('.block .record:not(.next)').evaluateAll((all) =>
        all.map((one) => one.dataset.note).join());
      assert.equal(notes.includes('cut here'), cut === 'yes', place);
      const before = table.slice(0, i).findLast(([, count]) => count !== '0');
      assert.equal(notes.includes('the rest of'), before?.[3] === 'yes', place);
      const isRed = await row.locator('.cursor').evaluate(({ offsetLeft, offsetTop, offsetWidth, previousSibling }) => {
        const { data } = previousSibling.getContext('2d').getImageData(offsetLeft, offsetTop + 2, offsetWidth, 1);
        return data.some((red, at) => at % 4 === 0 && red === 0xC2 && data[at + 1] === 0x25);
      });
      assert.equal(isRed, cut === 'yes', place);
      await row.locator('.picture').press('ArrowRight');
    }
    assert.deepEqual(lines.join('').replace(/\s/g, ''), native.toString().replace(/\s/g, ''));
    await row.locator('.picture').press('Home');
    await row.getByText('Next cut').click();
    await row.locator(`pre[aria-label="Text of block ${cuts.find((i) => i > 0) ?? cuts[0]}"]`).waitFor();
    await row.locator('summary').click();
    await row.locator('td .link').last().click();
    await row.locator('.sought').waitFor();
    assert.match(await row.locator('.sought').innerText(), /FFFFFFF0/);
    await row.getByLabel('Address', { exact: true }).fill('8000010');
    await row.getByLabel('Address', { exact: true }).press('Enter');
    assert.match(await row.locator('.place').innerText(), /There is no byte at 0x08000010/);
  }
}));

test('of very many runs, not all are listed', () => withPage({}, async (page) => {
  const records = Array.from({ length: 20000 }, (_, i) => 3 * i + 1000 * (i >> 12))
    .map((addr) => hexRecord(1, addr >> 8, addr & 0xFF, 0, 0));
  await page.setInputFiles('#choose', scratchFile('sparse.hex', records.join('')));
  const row = await waitForState(page, 'sparse.hex', 'warned');
  await row.locator('summary').click();
  assert.match(await row.innerText(), /19,000 runs not listed[^]*gap of 0x2/);
}));

test('a batch keeps its folders, waits for its end, and says what is left out', () => withPage({}, async (page) => {
  const batch = { 'a/fw.hex': hexText(1e6), 'b/fw.hex': hexText(101), 'cut.hex': ':0100000000FF\n', 'raw.bin': '\x01',
    'text.hex': 'text', 'z\u202efw.hex': hexText(99), 'con.hex': hexText(98), 'what?.hex': hexText(97),
    'notes.md': '' };
  for (let i = 0; i < 7; ++i) {
    batch[`damaged${i}.hex`] = 'text';
  }
  Object.entries(batch).forEach(([name, text]) => scratchFile(`batch/${name}`, text));
  await page.setInputFiles('#choose-folder', join(scratch, 'batch'));
  assert.match(await message(page), /batch: 1 file of other kinds left out/);
  const saved = await saveAll(page);
  const names = ['a/fw', 'b/fw', 'con_', 'cut', 'what_', 'z_fw'].map((name) => `batch/${name}.srec`);
  assert.deepEqual(Object.keys(saved).sort(), names);
  for (const name of ['a/fw', 'b/fw']) {
    const native = conditionNatively(scratch, join(scratch, `batch/${name}.hex`));
    assert.ok(native.equals(Buffer.from(saved[`batch/${name}.srec`])), name);
  }
  assert.match(await message(page), /has 6 files. Left out: (batch.damaged\d.hex \(refused\),? ){6}and 3 more\.$/m);
  const expected = [['a/fw.hex', 'Proved', /^421,024 bytes from 0x00000000, 125 blocks$/],
    ['b/fw.hex', 'Proved', /^64 bytes/],
    ['con.hex', 'Proved', /bytes/], ['cut.hex', 'Proved, 1 warning', /^Line 1: warning: no end record/],
    ...Array.from({ length: 7 }, (_, i) => [`damaged${i}.hex`, 'Refused', /^Line 1: not Intel HEX/]),
    ['raw.bin', 'No load address', /load address/], ['text.hex', 'Refused', /^Line 1: not Intel HEX/],
    ['what?.hex', 'Proved', /bytes/], ['z\ufffdfw.hex', 'Proved', /bytes/]];
  const rows = await verdictsOf(page);
  assert.equal(rows.length, expected.length);
  rows.forEach(([name, verdict, reason], i) => {
    assert.deepEqual([name, verdict], [`batch/${expected[i][0]}`, expected[i][1]]);
    assert.match(reason, expected[i][2], name);
  });
  assert.deepEqual(await page.locator('.filters button').allTextContents(),
    ['All 15', 'Proved 5', 'Warnings 1', 'Refused 8', 'Waiting 1']);
  await page.locator('.filters .warnings').click();
  assert.deepEqual((await verdictsOf(page)).map(([name]) => name), ['batch/cut.hex']);
  const colour = await page.locator('.reason').evaluate((reason) => getComputedStyle(reason).color);
  assert.equal(colour, 'rgb(138, 83, 0)');
  await page.locator('.filters .all').click();
  assert.equal((await saveRow(page, rowOf(page, 'batch/b/fw.hex'))).name, 'batch_b_fw.srec');
  await page.getByText('Clear').click();
  assert.equal(await page.locator('.row').count(), 0);
}));

test('a dropped folder gives its files, or a sentence where the browser keeps it closed', async () => {
  ['a.hex', 'inner/b.hex', 'notes.md'].forEach((name) => scratchFile(`folder/${name}`, readFileSync(GAPS)));
  for (const [url, notice, names] of [
    [HTTP_URL, 'folder: 1 file of other kinds left out.', ['folder/a.hex', 'folder/inner/b.hex']],
    [PAGE_URL, 'This browser does not open the folder folder when it is dropped here. Use “Choose a folder”.', []]]) {
    await withPage({ url }, async (page) => {
      const session = await page.context().newCDPSession(page);
      const data = { items: [], files: [join(scratch, 'folder')], dragOperationsMask: 1 };
      for (const type of ['dragEnter', 'dragOver', 'drop']) {
        await session.send('Input.dispatchDragEvent', { type, x: 300, y: 200, data });
      }
      await page.getByText(notice).first().waitFor();
      await page.waitForFunction(() => !document.querySelector('.run, .idle'));
      assert.deepEqual((await verdictsOf(page)).map(([name]) => name), names);
    });
  }
});

test('what the browser cannot do is said in a sentence', async () => {
  const cases = [[{ javaScriptEnabled: false }, () => {}], [{}, () => { delete window.WebAssembly; }],
    [{}, () => { WebAssembly.validate = () => false; }]];
  for (const [options, prepare] of cases) {
    const page = await browser.newPage(options);
    await page.addInitScript(prepare);
    await page.goto(PAGE_URL);
    assert.ok(await page.getByText('This page needs JavaScript, and WebAssembly').isVisible());
    assert.ok(!await page.locator('#drop').isVisible());
    await page.close();
  }
  const start = 'async function condition({';
  // The error can overtake the report, which is sent only if none was shortly before.
  const dying = "(progress.last = -1e9, report(1), await new Promise(() => setTimeout(() => { throw 'dead'; }, 500)))";
  const silent = [['SILENCE_MS = 30000', 'SILENCE_MS = 300'], ['await load(file)', 'await new Promise(() => {})']];
  for (const [url, name, state, sentence] of [[PAGE_URL, 'huge.hex', 'refused', /does not fit into this browser/],
    [plant([start, `no script ${start}`]), 'gaps.hex', 'refused', /could not start in this browser/],
    [plant(['await load(file)', dying]), 'gaps.hex', 'refused', /ended unexpectedly/],
    [plant(...silent), 'gaps.hex', 'running', /Nothing has been heard of it for 0.3 seconds/]]) {
    await withPage({ url, mayLog: /dead|SyntaxError/ }, async (page) => {
      truncateSync(scratchFile('huge.hex', ''), 3 * 2 ** 30);
      scratchFile('gaps.hex', readFileSync(GAPS));
      await page.setInputFiles('#choose', join(scratch, name));
      await (await waitForState(page, name, state)).locator('.reason', { hasText: sentence }).waitFor();
    });
  }
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

const looks = [['light', 1180, 'none'], ['dark', 360, 'none'], ['light', 360, 'active']];
for (const [colorScheme, width, forcedColors] of looks) {
  test(`nothing is inaccessible or sticks out: ${colorScheme}, ${width} pixels, forced colours ${forcedColors}`, () =>
    withPage({
      url: plant(['await load(file)', "file.name === 'slow.hex' ? await new Promise(() => {}) : await load(file)"]),
      colorScheme, forcedColors, viewport: { width, height: 800 },
    }, async (page) => {
      await page.evaluate(axe.source);
      const look = async (...states) => {
        const { violations } = await page.evaluate(() => window.axe.run());
        assert.deepEqual(violations.map(({ id, nodes }) => [id, nodes.map((node) => node.html)]), []);
        const shown = await page.evaluate(() => [document.documentElement.scrollWidth,
          ...[...document.querySelectorAll('.row')].map((one) => one.dataset.state)]);
        assert.deepEqual(shown, [width, ...states]);
      };
      await look();
      await page.locator('#try').click();
      await page.locator('.block .record').first().waitFor();
      await page.locator('.row summary').click();
      await look('proved');
      await drop(page, scratchFile(`${'x'.repeat(240)}.hex`, hexText(100)), join(EXAMPLES, 'beyond-32-bits.hex'),
        join(REFUSED, 'checksum.hex'), scratchFile('cut.hex', ':0100000000FF\n'), join(EXAMPLES, 'sample.bin'),
        scratchFile('slow.hex', hexText(100)), scratchFile('last.hex', hexText(100)));
      await waitForState(page, 'slow.hex', 'running');
      await page.locator('.row:nth-child(n + 4) .open').evaluateAll((all) => all.forEach((button) => button.click()));
      await page.locator('.row:nth-child(5) .block .record').first().waitFor();
      await page.locator('.row:last-child .save').click();
      await look('proved', 'proved', 'unproved', 'refused', 'warned', 'unplaced', 'running', 'queued');
      await page.locator('.toolbar').getByText('Stop').click();
      await page.locator('#layout').evaluate((layout) => { layout.open = true; });
      await setNumber(page, 'BlockAlign', '33');
      await look('outdated', 'outdated', 'outdated', 'outdated', 'outdated', 'unplaced', 'stopped', 'stopped');
    }));
}
