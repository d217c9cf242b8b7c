// A job's card: built once, and drawn anew from the job's state whenever that changes.

// What is said of a job in each state, in the order of the summary.
const VERDICTS = {
  proved: 'Proved', unproved: 'Not proved', refused: 'Refused', cancelled: 'Cancelled', outdated: 'Out of date',
  ready: 'Enter the load address, then convert', queued: 'Waiting', running: 'Running',
};

const countWarnings = ({ findings }) => findings.filter(({ level }) => level === 'warning').length;

function verdictOf(job) {
  const state = stateOf(job);
  const numWarnings = state === 'proved' ? countWarnings(job.result) : 0;
  return (state === 'running' ? job.step : VERDICTS[state]) + (numWarnings ? `, ${formatCount(numWarnings, 'warning')}` : '');
}

// What became of all jobs, for example '97 proved, 1 of them with warnings; 2 refused'.
function summarise(jobs) {
  const states = jobs.map(stateOf);
  return Object.entries(VERDICTS).flatMap(([state, text]) => {
    const found = jobs.filter((_, i) => states[i] === state);
    const numWarned = state === 'proved' ? found.filter(({ result }) => countWarnings(result)).length : 0;
    const warned = numWarned ? `, ${formatDecimal(numWarned)} of them with warnings` : '';
    const what = state === 'ready' ? 'without a load address' : text.toLowerCase();
    return found.length ? [`${formatDecimal(found.length)} ${what}${warned}`] : [];
  }).join('; ');
}

const quote = (text) => (/^[\w./+,-]+$/.test(text) ? text : `'${text.replace(/'/g, "'\\''")}'`);
const asPath = (name) => quote(/^[-~]/.test(name) ? `./${name}` : name);
const baseOf = (name) => name.replace(/(.)\.[^.]*$/, '$1');

// The command line that makes a job's output in the current folder. A run takes two options at most; more take a second
// run, which lays out what the first one wrote. One run does not write over its input.
function commandOf({ file, outputName, result: { settings } }) {
  const name = outputName.replace(/\.srec$/, '');
  const target = outputName === file.name ? `out/${name}` : name;
  const run = (options, path) => ['Blockfit', ...options, path].join(' ');
  const optionsOf = (...names) => names.filter((option) => settings[option] !== DEFAULTS[option])
    .map((option) => `-${option} ${settings[option].toString(16).toUpperCase()}`);
  const options = [...optionsOf('BaseAddr', 'BlockAlign', 'LineAlign'), ...(target === baseOf(file.name) ? [] : [`-o ${asPath(target)}`])];
  return options.length <= 2 ? run(options, asPath(file.name))
    : `${run([...optionsOf('BaseAddr'), `-o ${quote(`based/${name}`)}`], asPath(file.name))}\n` +
      run(optionsOf('BlockAlign', 'LineAlign'), quote(`based/${name}.srec`));
}

function makeCommand(job) {
  job.command = make('code', { tabIndex: 0, role: 'group', 'aria-label': 'Command line' });
  const copy = makeButton('Copy', () => {
    getSelection().selectAllChildren(job.command);
    copy.textContent = document.execCommand('copy') ? 'Copied' : 'Selected';
  });
  return make('div', { className: 'command' }, make('p', {}, 'The same on the command line:'), job.command, copy);
}

function buildCard(job) {
  job.heading = make('h2', { tabIndex: -1 }, job.path);
  job.size = make('span', { className: 'size' });
  job.stateText = make('span', { className: 'state' });
  job.bar = make('progress', { max: 1, value: 0, 'aria-label': `Progress of ${job.path}` });
  job.startButton = makeButton('Convert', () => convert(job), { className: 'primary' });
  job.cancelButton = makeButton('Cancel', () => cancel(job));
  job.saveButton = makeButton('', () => save(job.result.output, job.outputName));
  job.nameBox = make('input', { type: 'text', value: baseOf(job.file.name), spellcheck: false, oninput: drawAll });
  job.message = make('div', { className: 'message' });
  job.contents = make('div');
  job.details = make('details', { ontoggle: () => drawContents(job) }, make('summary', {}, 'Memory map, runs and blocks'), job.contents);
  job.commandPart = makeCommand(job);
  job.card = make('article', { className: 'card' },
    make('div', { className: 'head' }, job.heading, job.size, job.stateText,
      makeButton('×', () => remove(job), { className: 'remove', 'aria-label': `Remove ${job.path}` })),
    job.baseField?.element ?? null,
    make('div', { className: 'actions' }, job.bar, job.cancelButton, job.startButton,
      make('label', { className: 'name' }, make('span', {}, 'Output name'), make('span', { className: 'suffixed' }, job.nameBox, '.srec')),
      job.saveButton),
    job.message, job.commandPart, job.details);
  byId('files').append(job.card);
}

function drawCard(job) {
  const state = stateOf(job);
  const { result } = job;
  const mark = !result?.isProved ? ' (not proved)' : state === 'proved' ? '' : ' (out of date)';
  job.card.dataset.state = state;
  job.size.textContent = formatCount(job.file.size, 'byte');
  job.bar.hidden = job.cancelButton.hidden = !['running', 'queued'].includes(state);
  job.startButton.hidden = !['ready', 'cancelled'].includes(state);
  job.saveButton.className = state === 'proved' ? 'primary save' : 'save';
  job.saveButton.textContent = `Save ${job.outputName}${mark}`;
  job.saveButton.hidden = job.details.hidden = job.commandPart.hidden = job.nameBox.closest('label').hidden = !result;
  job.command.textContent = result ? commandOf(job) : '';
  job.message.replaceChildren(...job.refusal.map(makeFinding), ...(result ? describeResult(job) : []));
  drawProgress(job);
  drawContents(job);
}

function drawProgress(job) {
  job.stateText.textContent = verdictOf(job);
  job.bar.value = job.progress;
}

const textOf = ({ level, places: [place], text, isOfOutput }) =>
  `${isOfOutput ? 'In the output: ' : ''}${place ? `Line ${formatDecimal(place.line)}: ` : ''}${level === 'error' ? '' : `${level}: `}${text}`;

// A finding's line, with a mark under the place, and the lines around it if they came with it.
function makePlace({ line, excerpt, markColumn, around = [] }) {
  const width = String(line + 9).length;
  const row = (number, text) => `${String(number).padStart(width)}  ${text}\n`;
  return make('pre', { tabIndex: 0, role: 'group', 'aria-label': `Around line ${line}` },
    ...around.filter(({ number }) => number < line).map(({ number, text }) => row(number, text)),
    make('b', {}, row(line, excerpt), row('', `${' '.repeat(markColumn)}^`)),
    ...around.filter(({ number }) => number > line).map(({ number, text }) => row(number, text)));
}

function makeFinding(finding) {
  return make('div', { className: finding.level },
    make('p', {}, textOf(finding)), ...finding.places.filter(({ excerpt }) => excerpt).map(makePlace));
}

// A result that is out of date says what it was made with, and claims nothing.
function describeResult(job) {
  const { file, result } = job;
  const { runs, numBytes, output, findings, isProved, settings: { BaseAddr, BlockAlign, LineAlign } } = result;
  const parts = [];
  if (!isCurrent(job)) {
    const address = isRawBinary(file) ? `, load address ${formatAddress(BaseAddr)}` : '';
    parts.push(make('p', { className: 'stale' }, 'The result below is out of date. It was made ' +
      `${result.file === file ? '' : 'from the file that was chosen before, '}with block size ${formatDecimal(BlockAlign)}, ` +
      `line alignment ${formatDecimal(LineAlign)}${address}.`));
  }
  parts.push(make('p', {}, `${formatCount(numBytes, 'byte')} in ${formatCount(runs.length / 2, 'run')}, written as ` +
    `${formatCount(output.size, 'character')} in ${formatCount(Math.ceil(output.size / BlockAlign), 'block')} of ` +
    `${formatDecimal(BlockAlign)} (${formatHex(BlockAlign)}).`));
  parts.push(...findings.map(makeFinding));
  if (!isProved) {
    parts.push(make('p', { className: 'error' }, 'Not proved: the output does not keep what is promised. Do not use it.'));
  } else if (isCurrent(job)) {
    const layout = BlockAlign < 80 ? 'and is laid out as promised' : 'and no line crosses the end of a block';
    parts.push(make('p', { className: 'proof' }, `Proved: the output has the same bytes at the same addresses, ${layout}.`));
  }
  return parts;
}

function drawContents(job) {
  const { result } = job;
  if (!result || !job.details.open || job.drawnResult === result) {
    return;
  }
  job.drawnResult = result;
  const viewer = makeBlocksSection(result);
  const width = Math.floor(job.contents.clientWidth);
  const onRun = (start) => {
    viewer.goToAddress(start);
    viewer.element.scrollIntoView({ block: 'nearest' });
  };
  job.contents.replaceChildren(makeMapSection(result, width > 660 ? 300 : width, onRun), viewer.element);
}
