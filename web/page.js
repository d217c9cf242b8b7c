// The page: takes files, has a worker condition them, one after the other, and keeps what came out.

const DEFAULTS = { BlockAlign: 8192, LineAlign: 8, BaseAddr: 0 }; // the settings are kept in the address by the same names
const MAX_ALIGN = 2 ** 32 - 2;
const MAX_ZIP_BYTES = 2 ** 32 - 2 ** 24;
const SMALL_FILE_BYTES = 2 ** 20; // the worker of a small file is kept for the next one; that of a larger one holds memory
const EXTENSIONS = /\.(hex|mot|srec|s19|s37|s|bin)$/i;

const embedded = (id) => byId(id).textContent;
const program = Uint8Array.from(atob(embedded('program')), (c) => c.charCodeAt(0));
const workerUrl = URL.createObjectURL(new Blob([embedded('loader'), embedded('worker')], { type: 'text/javascript' }));

const jobs = []; // one for each file, in the order in which they came
let runningJob = null;
let worker = null;

const isRawBinary = (file) => /\.bin$/i.test(file.name);
const say = (text) => { byId('status').textContent = text; };
const notice = (text) => { byId('notice').textContent = text; };

const makeLayoutField = (name, label, min, wanted, presets, hint) => makeNumberField({
  label: [label, make('code', {}, `-${name}`)], hint, presets, value: DEFAULTS[name], onChange: takeSettings, onEnter: convertOutdated,
  check: (n) => (n > MAX_ALIGN ? `${formatDecimal(MAX_ALIGN)} or less` : n < min || n % 2 ? wanted : ''),
});
const fields = {
  BlockAlign: makeLayoutField('BlockAlign', 'Block size, in characters', 34, '34 or more, and even', [512, 1024, 2048, 4096, 8192, 16384],
    'No line crosses the end of a block, for sizes of 80 and more.'),
  LineAlign: makeLayoutField('LineAlign', 'Line alignment, in bytes', 0, 'an even number', [0, 2, 4, 8, 16, 32],
    'A record at the end of a block is cut after a multiple of this many bytes. 0: never cut.'),
};
let lastBaseAddr = DEFAULTS.BaseAddr; // the load address that the next raw binary file begins with

function readAddress() {
  const kept = new URLSearchParams(location.hash.slice(1));
  for (const [name, { getValue, set }] of Object.entries(fields)) {
    const n = parseNumber(kept.get(name) ?? String(DEFAULTS[name]));
    if (!Number.isNaN(n) && n !== getValue()) {
      set(n);
    }
  }
  const baseAddr = parseNumber(kept.get('BaseAddr') ?? '');
  lastBaseAddr = baseAddr < 2 ** 32 ? baseAddr : DEFAULTS.BaseAddr;
}

function takeSettings() {
  const values = Object.entries(fields).map(([name, { getValue }]) => [name, getValue()]);
  if (!values.some(([, value]) => Number.isNaN(value))) {
    location.replace(`#${new URLSearchParams([...values, ['BaseAddr', formatHex(lastBaseAddr)]])}`);
  }
  convertOutdated();
}

// The settings that a job would be run with; null while one is not valid.
function settingsOf(job) {
  const settings = {
    BaseAddr: job.baseField?.getValue() ?? 0, BlockAlign: fields.BlockAlign.getValue(), LineAlign: fields.LineAlign.getValue(),
  };
  return Object.values(settings).some(Number.isNaN) ? null : settings;
}

const isSame = (a, b) => Boolean(a && b) && Object.keys(a).every((name) => a[name] === b[name]);

// Whether a job's result, the last one that it had, is that of its file and the settings as they are.
const isCurrent = (job) => job.result?.file === job.file && isSame(job.result.settings, settingsOf(job));

// The one state of a job: a key of VERDICTS.
function stateOf(job) {
  return job.phase !== 'converted' ? job.phase : !isCurrent(job) ? 'outdated' : job.result.isProved ? 'proved' : 'unproved';
}

// A file that is chosen again takes its place.
function addFiles(found) {
  notice('');
  const before = new Map(jobs.map((job) => [job.path, job]));
  const added = found.map(({ file, path }) => {
    const old = before.get(path);
    before.delete(path);
    return old ? Object.assign(old, { file }) : addJob(file, path);
  });
  jobs.forEach((job) => { job.details.open ||= jobs.length === 1; });
  convert(...added.filter(({ phase }) => phase !== 'ready'));
  (added.find(({ phase }) => phase === 'ready')?.baseField.input ?? added[0]?.heading)?.focus();
}

function addJob(file, path) {
  const job = { file, path, phase: 'queued', step: '', progress: 0, refusal: [], result: null, outputName: '' };
  if (isRawBinary(file)) {
    job.phase = 'ready';
    job.baseField = makeNumberField({
      label: ['Load address, hexadecimal', make('code', {}, '-BaseAddr')],
      hint: 'Where the first byte of the file is in memory. A raw binary file does not say.',
      value: lastBaseAddr, isAddress: true, check: (n) => (n >= 2 ** 32 ? 'FFFFFFFF or less' : ''),
      onChange: () => { lastBaseAddr = settingsOf(job)?.BaseAddr ?? lastBaseAddr; takeSettings(); },
      onEnter: () => convert(...[job].filter(({ phase }) => ['ready', 'cancelled'].includes(phase))),
    });
  }
  buildCard(job);
  jobs.push(job);
  return job;
}

function remove(...removed) {
  removed.forEach((job) => {
    stop(job);
    jobs.splice(jobs.indexOf(job), 1);
    job.card.remove();
  });
  say(`${removed.length === 1 ? removed[0].path : formatCount(removed.length, 'file')} removed.`);
  runNext();
  drawAll();
  byId('choose').focus();
}

function convert(...wanted) {
  wanted.forEach((job) => {
    stop(job);
    Object.assign(job, { phase: 'queued', progress: 0, refusal: [] });
  });
  runNext();
  drawAll();
}

// Converts again what is no longer that of the settings, and what has waited for valid ones.
function convertOutdated() {
  convert(...jobs.filter((job) => settingsOf(job) &&
    (job === runningJob ? !isSame(job.settings, settingsOf(job)) : stateOf(job) === 'outdated')));
}

function cancel(...cancelled) {
  cancelled.forEach((job) => {
    stop(job);
    job.phase = 'cancelled';
  });
  if (cancelled.length) {
    runNext();
    drawAll();
    say(`${cancelled.length === 1 ? cancelled[0].path : formatCount(cancelled.length, 'conversion')}: cancelled.`);
    cancelled[0].startButton.focus();
  }
}

function stop(job) {
  if (runningJob === job) {
    endRun(true);
  }
}

function endRun(endsWorker) {
  runningJob = null;
  if (endsWorker) {
    worker.terminate();
    worker = null;
  }
}

function runNext() {
  const job = runningJob ? undefined : jobs.find((candidate) => candidate.phase === 'queued' && settingsOf(candidate));
  if (!job) {
    return;
  }
  runningJob = job;
  Object.assign(job, { phase: 'running', step: 'Starting', settings: settingsOf(job) });
  drawCard(job);
  const isNew = !worker;
  worker ??= new Worker(workerUrl);
  worker.onmessage = ({ data }) => take(job, data);
  worker.onerror = () => take(job, { refused: [{ level: 'error', text: 'The conversion could not start in this browser.', places: [] }] });
  worker.postMessage({ program: isNew ? program : null, file: job.file, ...job.settings });
}

function take(job, answer) {
  if (answer.progress !== undefined) {
    Object.assign(job, { step: answer.step, progress: Math.max(job.progress, answer.progress) });
    drawProgress(job);
    return;
  }
  endRun(answer.refused || job.file.size > SMALL_FILE_BYTES);
  if (answer.refused) {
    Object.assign(job, { phase: 'refused', refusal: answer.refused });
  } else {
    const { pieces, ...rest } = answer.converted;
    const output = new Blob(pieces, { type: 'application/octet-stream' });
    Object.assign(job, { phase: 'converted', result: { ...rest, output, file: job.file, settings: job.settings } });
  }
  runNext();
  drawCard(job);
  drawToolbar();
  if (!runningJob) {
    const findings = answer.refused ?? answer.converted.findings;
    say(jobs.length > 1 ? summarise(jobs) : [`${job.path}: ${verdictOf(job)}.`, ...findings.map(textOf)].join(' '));
  }
}

// Draws everything from the jobs. Outputs whose names would be the same are told apart.
function drawAll() {
  const taken = new Set();
  for (const job of jobs) {
    const wanted = job.nameBox.value.trim().replace(/[\\/]/g, '_') || 'output';
    job.outputName = `${wanted}.srec`;
    for (let i = 2; taken.has(job.outputName.toLowerCase()); ++i) {
      job.outputName = `${wanted}-${i}.srec`;
    }
    taken.add(job.outputName.toLowerCase());
    drawCard(job);
  }
  drawToolbar();
}

function drawToolbar() {
  byId('toolbar').hidden = jobs.length < 2;
  byId('summary').textContent = summarise(jobs);
  byId('save-all').disabled = isZipping || !jobs.some((job) => stateOf(job) === 'proved');
}

function save(blob, name) {
  const url = URL.createObjectURL(blob);
  make('a', { href: url, download: name }).click();
  setTimeout(() => URL.revokeObjectURL(url), 60000);
}

let isZipping = false;

async function saveAll() {
  isZipping = true;
  drawToolbar();
  try {
    save(await makeZip(jobs.filter((job) => stateOf(job) === 'proved')), 'blockfit.zip');
    notice('');
  } catch {
    notice('The zip file could not be made: together, the outputs are too large for it or for this browser’s memory. Save them one by one.');
  }
  isZipping = false;
  drawToolbar();
}

// The outputs pass in pieces, so that the page stays alive.
async function makeZip(proved) {
  const outputs = proved.map(({ outputName, result }) => [outputName, result.output]);
  if (outputs.reduce((sum, [, { size }]) => sum + size, 0) > MAX_ZIP_BYTES) {
    throw new RangeError();
  }
  const parts = [];
  const zip = new fflate.Zip((error, data) => parts.push(data));
  for (const [name, output] of outputs) {
    const entry = new fflate.ZipDeflate(name, { level: 1 });
    zip.add(entry);
    const reader = output.stream().getReader();
    for (let piece; !(piece = await reader.read()).done;) {
      entry.push(piece.value);
    }
    entry.push(new Uint8Array(0), true);
  }
  zip.end();
  return new Blob(parts, { type: 'application/zip' });
}

const asPromise = (start) => new Promise((resolve, reject) => { start(resolve, reject); });

// The files at an entry that was dropped, which is one or a folder.
async function filesAt(entry) {
  if (!entry.isDirectory) {
    return [{ file: await asPromise((...then) => entry.file(...then)), path: entry.fullPath.slice(1) }];
  }
  const found = [];
  const reader = entry.createReader();
  for (let some; (some = await asPromise((...then) => reader.readEntries(...then))).length;) {
    found.push(...(await Promise.all(some.map(filesAt))).flat());
  }
  return found;
}

async function takeDropped({ items }) {
  const dropped = [...items].filter(({ kind }) => kind === 'file').map((item) => [item.webkitGetAsEntry?.(), item.getAsFile()]);
  const notices = [];
  const found = await Promise.all(dropped.map(async ([entry, file]) => {
    if (!entry?.isDirectory) {
      return [{ file, path: file.name }];
    }
    const all = await filesAt(entry).catch(() => null);
    const known = all?.filter((one) => EXTENSIONS.test(one.file.name)) ?? [];
    notices.push(!all ? `The folder ${entry.name} could not be opened. Choose its files instead.`
      : known.length < all.length ? `${entry.name}: ${formatCount(all.length - known.length, 'file')} of other kinds left out.` : '');
    return known;
  }));
  addFiles(found.flat());
  notice(notices.join(' '));
}

byId('choose').onchange = ({ target }) => {
  addFiles([...target.files].map((file) => ({ file, path: file.name })));
  target.value = '';
};
byId('save-all').onclick = saveAll;
byId('remove-all').onclick = () => remove(...jobs);
byId('settings').append(fields.BlockAlign.element, fields.LineAlign.element);
byId('settings').onsubmit = (event) => event.preventDefault();

for (const type of ['dragenter', 'dragover', 'dragleave', 'drop']) {
  document.addEventListener(type, (event) => {
    event.preventDefault();
    byId('drop').classList.toggle('over', type === 'dragenter' || type === 'dragover');
    if (type === 'drop') {
      takeDropped(event.dataTransfer);
    }
  });
}

const isBusy = ({ phase }) => phase === 'running' || phase === 'queued';
onkeydown = ({ key }) => { if (key === 'Escape') { cancel(...jobs.filter(isBusy)); } };
onbeforeunload = (event) => { if (jobs.some(isBusy)) { event.preventDefault(); } };
onhashchange = () => { readAddress(); convertOutdated(); };

if (self.WebAssembly?.validate(program)) {
  byId('unable').hidden = true;
  document.querySelector('main').hidden = false;
  readAddress();
}
