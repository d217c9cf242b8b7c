// The page: takes files, has each conditioned by a worker of its own, one after the other, and shows what came out.

const BLOCKS_ON_A_PAGE = 8;
const MAX_CHARS_ON_A_PAGE = 2 ** 21;
const RUNS_AT_FIRST = 20;
const HOW_TO_VISIT = 'Point at a part, or reach it with Tab and the arrow keys.';
const MAX_ALIGN = 2 ** 32 - 2;

const byId = (id) => document.getElementById(id);
const embedded = (id) => byId(id).textContent;
const program = Uint8Array.from(atob(embedded('program')), (c) => c.charCodeAt(0));
const workerUrl = URL.createObjectURL(
  new Blob([embedded('loader'), embedded('worker')], { type: 'text/javascript' }));

const jobs = []; // one for each file, in the order in which they came
let runningJob = null;

const evenFrom = (min) => (n) => {
  if (n < min || n > MAX_ALIGN) {
    return `From ${min} to ${MAX_ALIGN}.`;
  }
  return n % 2 ? 'An even number.' : '';
};

const blockField = makeNumberField({
  legend: 'Block size, in characters',
  hint: 'No line crosses the end of a block, for sizes of 80 and more.',
  value: 8192,
  presets: [512, 1024, 2048, 4096, 8192, 16384],
  check: evenFrom(34),
  onChange: runAllAgain,
});
const lineField = makeNumberField({
  legend: 'Line group, in bytes',
  hint: 'A record at the end of a block is cut after a multiple of this many bytes. 0: never cut.',
  value: 8,
  presets: [0, 2, 4, 8, 16, 32],
  check: evenFrom(0),
  onChange: runAllAgain,
});
byId('settings').append(blockField.element, lineField.element);

const isRawBinary = (file) => /\.bin$/i.test(file.name);
const outputName = (job) => `${job.nameBox.value.trim().replace(/[\\/]/g, '_') || 'output'}.srec`;
const say = (text) => { byId('status').textContent = text; };

// --- Jobs -----------------------------------------------------------------------------------------------------------

function addFiles(files) {
  const added = [...files].map(addFile);
  added.forEach((job) => { job.details.open = jobs.length === 1; });
  added.filter((job) => !job.needsStart).forEach(enqueue);
  (added.find((job) => job.needsStart)?.baseField.element.querySelector('input') ?? added[0]?.heading)?.focus();
}

function addFile(file) {
  const job = { file, state: '', needsStart: isRawBinary(file), worker: null, output: null };
  buildCard(job);
  jobs.push(job);
  return job;
}

function removeJob(job) {
  stop(job);
  jobs.splice(jobs.indexOf(job), 1);
  job.card.remove();
  say(`${job.file.name} removed.`);
  showToolbar();
  runNext();
  byId('choose').focus();
}

function enqueue(job) {
  stop(job);
  job.needsStart = false;
  job.output = null;
  job.details.hidden = true;
  job.message.replaceChildren();
  setState(job, 'queued', 'Waiting for the file before');
  runNext();
}

function runAllAgain() {
  jobs.filter((job) => !job.needsStart).forEach(enqueue);
}

function cancel(job) {
  stop(job);
  job.needsStart = true;
  setState(job, 'cancelled', 'Cancelled');
  say(`${job.file.name}: cancelled.`);
  job.startButton.focus();
  runNext();
}

function stop(job) {
  job.worker?.terminate();
  job.worker = null;
  if (runningJob === job) {
    runningJob = null;
  }
}

function settingsOf(job) {
  const settings = {
    baseAddr: job.baseField?.getValue() ?? 0,
    blockAlign: blockField.getValue(),
    lineAlign: lineField.getValue(),
  };
  return Object.values(settings).some(Number.isNaN) ? null : settings;
}

function runNext() {
  const job = runningJob ? undefined : jobs.find((candidate) => candidate.state === 'queued');
  if (!job) {
    return;
  }
  job.settings = settingsOf(job);
  if (!job.settings) {
    setState(job, 'invalid', 'A number is not valid');
    runNext();
    return;
  }
  runningJob = job;
  job.bar.value = 0;
  setState(job, 'running', 'Starting');
  job.worker = new Worker(workerUrl);
  job.worker.onmessage = ({ data }) => take(job, data);
  job.worker.onerror = (event) => take(job, { failed: `The conversion could not start: ${event.message}` });
  job.worker.postMessage({ program, file: job.file, ...job.settings });
}

function take(job, answer) {
  if (answer.progress !== undefined) {
    job.bar.value = answer.progress;
    setState(job, 'running', answer.step);
    return;
  }
  stop(job);
  if (answer.accepted) {
    job.output = new Blob([answer.accepted.output], { type: 'application/octet-stream' });
    showAccepted(job, answer.accepted);
  } else if (answer.refused) {
    showRefused(job, answer.refused);
  } else {
    showFailed(job, answer.failed);
  }
  showToolbar();
  runNext();
}

// Browsers drop downloads that come faster than some ten a second.
const PAUSE_BETWEEN_SAVES = 150;

async function saveAll() {
  for (const job of jobs.filter((candidate) => candidate.output)) {
    save(job);
    await new Promise((resolve) => { setTimeout(resolve, PAUSE_BETWEEN_SAVES); });
  }
}

function save(job) {
  const url = URL.createObjectURL(job.output);
  make('a', { href: url, download: outputName(job) }).click();
  setTimeout(() => URL.revokeObjectURL(url), 60000);
}

// --- Cards ----------------------------------------------------------------------------------------------------------

function makeButton(text, onclick, properties = {}) {
  return make('button', { type: 'button', onclick, ...properties }, text);
}

function buildCard(job) {
  const { file } = job;
  job.heading = make('h2', { tabIndex: -1 }, file.name);
  job.stateText = make('span', { className: 'state' });
  job.bar = make('progress', { max: 1, value: 0 });
  job.bar.setAttribute('aria-label', `Progress of ${file.name}`);
  job.startButton = makeButton('Convert', () => enqueue(job), { className: 'primary' });
  job.cancelButton = makeButton('Cancel', () => cancel(job));
  job.saveButton = makeButton('', () => save(job), { className: 'primary save' });
  job.nameBox = make('input', { type: 'text', value: file.name.replace(/(.)\.[^.]*$/, '$1'), spellcheck: false });
  job.nameBox.oninput = () => { job.saveButton.textContent = `Save ${outputName(job)}`; };
  job.nameBox.oninput();
  job.baseField = isRawBinary(file) ? makeNumberField({
    legend: 'Load address',
    hint: 'Where the first byte of the file is in memory. A raw binary file does not say.',
    value: 0,
    check: (n) => (n > 2 ** 32 - 1 ? 'At most 0xFFFFFFFF.' : ''),
    onChange: () => { if (!job.needsStart) { enqueue(job); } },
  }) : null;
  job.message = make('div', { className: 'message' });
  job.contents = make('div');
  job.details = make('details', { hidden: true }, make('summary', {}, 'Memory map, blocks and runs'), job.contents);
  job.details.addEventListener('toggle', () => { if (job.details.open) { job.redraw?.(); } });
  job.card = make('article', { className: 'card' },
    make('div', { className: 'head' },
      job.heading, make('span', { className: 'size' }, `${formatCount(file.size, 'byte')}`), job.stateText,
      makeButton('×', () => removeJob(job), { className: 'remove', 'aria-label': `Remove ${file.name}` })),
    job.baseField?.element ?? null,
    make('div', { className: 'actions' }, job.bar, job.cancelButton, job.startButton,
      make('label', { className: 'name' }, make('span', {}, 'Output name'), make('span', { className: 'suffixed' }, job.nameBox, '.srec')),
      job.saveButton),
    job.message, job.details);
  byId('files').append(job.card);
  setState(job, 'ready', 'Enter the load address, then convert');
}

function setState(job, state, text) {
  job.state = state;
  job.card.dataset.state = state;
  job.stateText.textContent = text;
  job.bar.hidden = job.cancelButton.hidden = !['running', 'queued'].includes(state);
  job.startButton.hidden = !job.needsStart;
  job.saveButton.hidden = job.nameBox.closest('label').hidden = state !== 'done';
}

function showToolbar() {
  byId('save-all').parentElement.hidden = jobs.filter((job) => job.output).length < 2;
}

// --- Results --------------------------------------------------------------------------------------------------------

function showFailed(job, text) {
  setState(job, 'failed', 'Not converted');
  job.message.replaceChildren(makeFinding({ isError: true, text }));
  say(`${job.file.name}: ${text}`);
}

const textOf = ({ line, text, isOfOutput }) =>
  `${isOfOutput ? 'In the output: ' : ''}${line ? `Line ${formatDecimal(line)}: ` : ''}${text}`;

// A finding, with its line and a mark under the place, and the lines around it if they came with it.
function makeFinding(finding) {
  const children = [make('p', {}, textOf(finding))];
  if (finding.excerpt) {
    const width = String(finding.line + 9).length;
    const row = (number, text) => `${String(number).padStart(width)}  ${text}\n`;
    const { line, around = [] } = finding;
    children.push(make('pre', { tabIndex: 0, role: 'region', 'aria-label': `Around line ${line}` },
      ...around.filter(({ number }) => number < line).map(({ number, text }) => row(number, text)),
      make('b', {}, row(line, finding.excerpt), row('', `${' '.repeat(finding.markColumn)}^`)),
      ...around.filter(({ number }) => number > line).map(({ number, text }) => row(number, text))));
  }
  return make('div', { className: finding.isError ? 'refusal' : 'warning' }, ...children);
}

function showRefused(job, finding) {
  setState(job, 'refused', 'Refused');
  job.message.replaceChildren(makeFinding(finding));
  say(`${job.file.name} is refused. ${textOf(finding)}`);
}

function showAccepted(job, result) {
  const { blockAlign } = job.settings;
  job.redraw = () => showContents(job, result);
  setState(job, 'done', 'Done');
  const numBlocks = Math.ceil(job.output.size / blockAlign);
  const summary = `${formatCount(result.numBytes, 'byte')} in ${formatCount(result.numRuns, 'run')}, ` +
    `written as ${formatCount(job.output.size, 'character')} in ${formatCount(numBlocks, 'block')} of ` +
    `${formatDecimal(blockAlign)} (${formatHex(blockAlign)})`;
  const proof = result.isProved
    ? make('p', { className: 'proof' }, 'Checked: the output has the same bytes at the same addresses, ' +
      `${blockAlign < 80 ? 'and is laid out as promised' : 'and no line crosses the end of a block'}.`) : null;
  job.message.replaceChildren(make('p', {}, summary), ...result.findings.map(makeFinding), ...(proof ? [proof] : []));
  job.details.hidden = false;
  if (job.details.open) {
    job.redraw();
  }
  say(`${job.file.name}: done. ${summary}. ${result.findings.map(textOf).join('. ')}`);
}

function showContents(job, result) {
  job.contents.replaceChildren(makeMapSection(job, result), makeBlocksSection(job));
}

const widthOf = (job) => Math.max(240, Math.floor(job.contents.clientWidth));

function makeMapSection(job, { groups, runs, numRuns, numBytes }) {
  if (!numRuns) {
    return make('p', {}, 'The file has no data: the output is the end record only.');
  }
  const note = make('p', { className: 'visited' }, HOW_TO_VISIT);
  const width = widthOf(job) > 660 ? 300 : widthOf(job);
  const picture = drawMap(groups, width, (one) => { note.textContent = one.getAttribute('aria-label'); });
  note.style.maxWidth = `${width}px`;
  const joined = groups.length < numRuns
    ? ` ${formatDecimal(numRuns)} runs are drawn as ${groups.length} areas; small gaps are left out.` : '';
  return make('section', {},
    make('h3', {}, 'Memory map'),
    make('p', { className: 'hint' }, `Heights follow the logarithm of the size.${joined}`),
    make('div', { className: 'side-by-side' }, make('div', { className: 'map-frame' }, picture, note), makeRunTable(runs, numRuns, numBytes)));
}

function makeRunTable(runs, numRuns, numBytes) {
  const row = (run) => make('tr', {},
    make('td', {}, formatAddress(run.start)), make('td', {}, formatAddress(run.start + run.numBytes - 1)),
    make('td', {}, formatDecimal(run.numBytes)), make('td', {}, formatHex(run.numBytes)));
  const body = make('tbody', {}, ...runs.slice(0, RUNS_AT_FIRST).map(row));
  const more = make('p', { className: 'hint' });
  const showRest = () => {
    const rest = numRuns - body.rows.length;
    more.replaceChildren();
    if (body.rows.length < runs.length) {
      more.append(makeButton(`Show ${formatDecimal(runs.length - body.rows.length)} more`, () => {
        body.append(...runs.slice(RUNS_AT_FIRST).map(row));
        showRest();
      }));
    }
    more.append(rest ? ` ${formatCount(rest, 'run')} not shown.` : '');
  };
  showRest();
  const head = ['first', 'last', 'bytes', 'hexadecimal'].map((text) => make('th', { scope: 'col' }, text));
  return make('div', { className: 'runs', tabIndex: 0, role: 'region', 'aria-label': 'Table of runs' },
    make('table', {},
      make('caption', {}, `${formatCount(numRuns, 'run')}, ${formatCount(numBytes, 'byte')}`),
      make('thead', {}, make('tr', {}, ...head)), body),
    more);
}

function makeBlocksSection(job) {
  const { output, settings: { blockAlign } } = job;
  const numBlocks = Math.ceil(output.size / blockAlign);
  const scale = numBlocks === 1 ? `The output fills ${formatDecimal(output.size)} of the block’s ${formatDecimal(blockAlign)} characters.`
    : 'Each bar is a block; its width is the block size.';
  const numShown = Math.max(1, Math.min(BLOCKS_ON_A_PAGE, numBlocks, Math.floor(MAX_CHARS_ON_A_PAGE / blockAlign)));
  const frame = make('div');
  const place = make('span', { className: 'place' });
  const visited = make('p', { className: 'visited' }, HOW_TO_VISIT);
  const text = make('code', { className: 'line' });
  let first = 0;

  async function show(block) {
    first = Math.max(0, Math.min(block, numBlocks - 1));
    first -= first % numShown;
    const blocks = await readBlocks(output, blockAlign, first, numShown, MAX_CHARS_ON_A_PAGE);
    const last = first + blocks.length - 1;
    frame.replaceChildren(drawBlocks(blocks, first, blockAlign, Math.min(blockAlign, output.size), widthOf(job), (one) => {
      visited.textContent = one.getAttribute('aria-label');
      text.textContent = one.dataset.text;
    }));
    place.textContent = `Blocks ${formatDecimal(first)} to ${formatDecimal(last)} of 0 to ${formatDecimal(numBlocks - 1)}`;
    if (blockAlign > MAX_CHARS_ON_A_PAGE) {
      place.textContent += `; the first ${formatDecimal(MAX_CHARS_ON_A_PAGE)} characters`;
    }
    for (const [button, target] of pager) {
      button.disabled = target() < 0 || target() >= numBlocks || target() === first;
    }
  }
  const lastPage = () => numBlocks - 1 - ((numBlocks - 1) % numShown);
  const pager = [['First', () => 0], ['Previous', () => first - numShown], ['Next', () => first + numShown], ['Last', lastPage]]
    .map(([name, target]) => [makeButton(name, () => show(target())), target]);
  show(0);
  const legend = [['record', 'record'], ['cut', 'cut record'], ['fill', 'fill'], ['end', 'end record']]
    .map(([className, name]) => make('span', { className: `key ${className}` }, name));
  return make('section', {},
    make('h3', {}, 'Blocks of the output'),
    make('p', { className: 'hint' }, scale),
    make('p', { className: 'legend' }, ...legend),
    frame, visited, text,
    make('div', { className: 'pager', hidden: numBlocks <= numShown }, ...pager.map(([button]) => button), place));
}

// --- Files come in --------------------------------------------------------------------------------------------------

byId('choose').onchange = ({ target }) => {
  addFiles(target.files);
  target.value = '';
};
byId('save-all').onclick = saveAll;
byId('settings').onsubmit = (event) => event.preventDefault();

for (const type of ['dragenter', 'dragover', 'dragleave', 'drop']) {
  document.addEventListener(type, (event) => {
    event.preventDefault();
    byId('drop').classList.toggle('over', type === 'dragenter' || type === 'dragover');
    if (type === 'drop') {
      addFiles(event.dataTransfer.files);
    }
  });
}

let drawnWidth = document.body.clientWidth;
addEventListener('resize', () => {
  if (document.body.clientWidth !== drawnWidth) {
    drawnWidth = document.body.clientWidth;
    jobs.filter((job) => job.output && job.details.open).forEach((job) => job.redraw());
  }
});
