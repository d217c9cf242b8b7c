// The files as rows: what became of each, its details, and the toolbar above.

const FILTERS = ['All', 'Proved', 'Warnings', 'Refused', 'Waiting'];

let filter = 'All';

const filterOf = (job) => STATES[stateOf(job)].filter;
const countOf = (name) => (name === 'All' ? jobs.length : jobs.filter((job) => filterOf(job) === name).length);

// What became of all jobs, for example 'Proved 97, Warnings 1, Refused 2'.
const summarise = () => FILTERS.filter((name) => name !== 'All' && countOf(name))
  .map((name) => `${name} ${countOf(name)}`).join(', ');

function button(label, onClick, properties = {}) {
  return h('button', { type: 'button', onClick: () => { onClick(); draw(); }, ...properties }, label);
}

const textOf = ({ level, places: [place], text, isOfOutput }) => `${isOfOutput ? 'In the output: ' : ''}` +
  `${place ? `Line ${formatDecimal(place.line)}: ` : ''}${level === 'error' ? '' : `${level}: `}${text}`;

// The row's second line: the first reason for a refusal or a warning, or what the output holds.
function reasonOf(job) {
  const state = stateOf(job);
  const [first] = findingsOf(job).filter(({ level }) => level === (state === 'warned' ? 'warning' : 'error'));
  if (isSilent(job)) {
    return `Nothing has been heard of it for ${SILENCE_MS / 1000} seconds: wait, or stop it.`;
  }
  if (['refused', 'unproved', 'warned'].includes(state)) {
    return first ? textOf(first) : '';
  }
  const waits = { unplaced: 'Needs the load address above.', outdated: 'Needs a valid setting.' };
  const { runs, numBytes } = job.result ?? {};
  return state !== 'proved' ? waits[state] ?? '' : formatCount(numBytes, 'byte') +
    `${numBytes ? ` from ${formatAddress(runs[0])}` : ''}, ${formatCount(countBlocks(job.result), 'block')}`;
}

// What a row shows of a job. A row is drawn anew only if one of these has changed.
function lookOf(job) {
  const { path, file, result, isOpen, wantsSave, progress, outputPath } = job;
  return {
    job, path, size: file.size, result, isOpen, wantsSave, outputPath, isOnly: jobs.length === 1, state: stateOf(job),
    verdict: verdictOf(job), reason: reasonOf(job), bar: job === runningJob ? progress : null,
    findings: findingsOf(job), command: isOpen && result?.isProved ? commandOf(job) : '',
  };
}

class Row extends Component {
  shouldComponentUpdate(next) {
    return !isSame(next, this.props);
  }

  render({ job, path, size, isOpen, isOnly, state, verdict, reason, bar, outputPath, ...look }) {
    const shown = asShown(path);
    const folder = shown.slice(0, -lastOf(shown).length);
    const isNumbered = lastOf(outputPath) !== `${asSavable(withoutExtension(lastOf(path)))}.srec`;
    const toggle = () => { job.isOpen = !job.isOpen; draw(); };
    return h('li', { class: `row ${STATES[state].look}`, 'data-state': state },
      h('div', { class: 'head', onClick: ({ target }) => target.closest('button') || toggle() },
        h('h2', {}, h('button', {
          type: 'button', class: 'open', 'aria-expanded': isOpen, onClick: toggle, title: shown,
        },
        h('span', {}, folder), lastOf(shown), isNumbered && h('span', {}, ` → ${lastOf(outputPath)}`))),
        h('span', { class: 'size' }, formatSize(size)),
        h('span', { class: 'verdict' }, h('b', {}, verdict),
          bar !== null && h('progress', { max: 1, value: bar, 'aria-label': `Progress of ${shown}` })),
        h(SaveButton, { job, state, isOnly, wantsSave: look.wantsSave, shown }),
        button('×', () => remove([job]), { class: 'remove', 'aria-label': `Remove ${shown}` }),
        h('p', { class: 'reason', title: reason }, reason)),
      isOpen && h(Details, { job, state, ...look }));
  }
}

function SaveButton({ job, state, isOnly, wantsSave, shown }) {
  if (state === 'refused' || state === 'unproved') {
    return h('span', { class: 'save' });
  }
  if (state === 'stopped') {
    return button('Convert', () => convert([job]), { class: 'save', 'aria-label': `Convert ${shown}` });
  }
  const label = wantsSave ? 'Will save' : 'Save';
  return button(label, () => pressSave(job), {
    class: `save ${isOnly ? 'primary' : ''}`, 'aria-pressed': wantsSave || undefined, 'aria-label': `${label} ${shown}`,
  });
}

// A finding's line, with a mark under the place, and the lines around it if they came with it.
function Place({ line, excerpt, markColumn, around = [] }) {
  const width = String(line + 9).length;
  const row = (number, text) => `${String(number).padStart(width)}  ${text}\n`;
  const rows = (has) => around.filter(({ number }) => has(number)).map((one) => row(one.number, one.text));
  return h('pre', { tabIndex: 0, role: 'group', 'aria-label': `Around line ${line}` }, rows((number) => number < line),
    h('b', {}, row(line, excerpt), row('', `${' '.repeat(markColumn)}^`)), rows((number) => number > line));
}

const Finding = ({ finding }) => h('div', { class: `finding ${finding.level}` }, h('p', {}, textOf(finding)),
  finding.places.filter(({ excerpt }) => excerpt).map((place) => h(Place, place)));

// What a result is, and what is proved of it. One that is out of date says what it was made with, and claims nothing.
function Claim({ job, state, result }) {
  const { runs, numBytes, numChars, isProved, settings: { BaseAddr, BlockAlign, LineAlign, Within } } = result;
  const address = isRawBinary(job.file) ? `, load address ${formatAddress(BaseAddr)}` : '';
  if (state !== 'proved' && state !== 'warned' && state !== 'unproved') {
    return h('p', { class: 'finding warning' }, 'The result below is out of date: it was made ' +
      `${result.file === job.file ? '' : 'from the file that was chosen before, '}with block size ` +
      `${formatDecimal(BlockAlign)}, line alignment ${formatDecimal(LineAlign)}${address}` +
      `${Within && `, memory ${Within}`}. `,
    isProved && button('Save the old result', () => save(job)));
  }
  const lines = BlockAlign < 80 ? 'laid out as promised' : 'no line across a block end';
  const part = Within && ', all in the memory of the part';
  return h('p', {}, isProved ? h('b', { class: 'proof' }, `Same bytes, same addresses, ${lines}${part}. `)
    : h('b', { class: 'flaw' }, 'Not proved: the output does not keep what is promised. Do not use it. '),
  `${formatCount(numBytes, 'byte')} in ${formatCount(runs.length / 2, 'run')}${address}, written as ` +
  `${formatCount(numChars, 'character')} in ${formatCount(Math.ceil(numChars / BlockAlign), 'block')} of ` +
  `${formatDecimal(BlockAlign)} (${formatHex(BlockAlign)}).`);
}

function Command({ command }) {
  const copy = ({ target }) => {
    getSelection().selectAllChildren(target.parentNode.querySelector('code'));
    target.textContent = document.execCommand('copy') ? 'Copied' : 'Selected';
  };
  return h('div', { class: 'command' }, 'Command line',
    h('code', { tabIndex: 0, role: 'group', 'aria-label': 'Command line' }, command),
    h('button', { type: 'button', onClick: copy }, 'Copy'));
}

function Details({ job, state, result, findings, command }) {
  return h('div', { class: 'details' },
    findings.map((finding) => h(Finding, { finding })),
    !result && !findings.length && h('p', {}, 'Not converted yet.'),
    result && h(Claim, { job, state, result }), result?.isProved && h(Contents, { key: result, result }),
    command && h(Command, { command }));
}

function Toolbar() {
  const numGood = jobs.filter(isGood).length;
  const busy = jobs.some(isBusy);
  const label = isZipping ? 'Saving' : wantsZip ? 'Will save' : busy || numGood === jobs.length ? 'Save all'
    : `Save ${numGood} of ${jobs.length}`;
  return h('div', { class: 'toolbar' },
    h('div', { class: 'filters', role: 'group', 'aria-label': 'Rows to show' }, FILTERS.map((name) =>
      button([name, ' ', h('span', {}, countOf(name))], () => { filter = name; }, {
        'aria-pressed': name === filter, disabled: !countOf(name), class: name.toLowerCase() }))),
    button('Stop', stopAll, { disabled: !busy }),
    button([label, h('span', {}, ' .zip')], pressSaveAll, {
      class: 'primary', id: 'save-all', 'aria-pressed': wantsZip || undefined,
      disabled: isZipping || !(busy || numGood),
    }),
    button('Clear', () => { remove([...jobs]); byId('choose').focus(); }));
}

function Files() {
  const numUnplaced = jobs.filter((job) => stateOf(job) === 'unplaced').length;
  filter = countOf(filter) ? filter : 'All';
  const shown = jobs.filter((job) => filter === 'All' || filterOf(job) === filter);
  return [
    jobs.some(({ file }) => isRawBinary(file)) && h(Form, {
      names: ['BaseAddr'], look: `placing ${numUnplaced ? 'wanted' : ''}`,
    },
      h('button', { class: 'primary', disabled: !numUnplaced }, 'Convert')),
    jobs.length > 1 && h(Toolbar),
    jobs.length > 0 && h('ul', { class: 'rows' }, shown.map((job) => h(Row, { key: job.id, ...lookOf(job) }))),
  ];
}
