// The memory map of an accepted file: its runs of bytes and the gaps between them, in the order of their addresses.

const MAX_RUNS_LISTED = 1000;

// The lengths of the bars follow the logarithm of the size, so that a byte and a megabyte can both be seen.
function MapRow({ start, size, onRun }) {
  const cells = [formatAddress(start + size - 1), formatDecimal(size), formatHex(size)];
  return h('tr', {},
    h('td', {}, h('button', { type: 'button', class: 'link', onClick: () => onRun(start) }, formatAddress(start))),
    cells.map((cell) => h('td', {}, cell)),
    h('td', {}, h('meter', { max: 33, value: Math.log2(size) + 1, 'aria-hidden': true, onClick: () => onRun(start) })));
}

// onRun(start) is called when a run is clicked.
function MemoryMap({ result: { runs }, onRun }) {
  if (!runs.length) {
    return h('p', {}, 'The file has no data: the output is the end record only.');
  }
  const rows = [];
  for (let i = 0; i < Math.min(runs.length, 2 * MAX_RUNS_LISTED); i += 2) {
    const [start, size] = runs.subarray(i, i + 2);
    const gap = i ? start - runs[i - 2] - runs[i - 1] : 0;
    rows.push(gap > 0 && h('tr', { class: 'gap' }, h('td', { colSpan: 5 }, `gap of ${formatHex(gap)}`)),
      h(MapRow, { start, size, onRun }));
  }
  const numHidden = runs.length / 2 - MAX_RUNS_LISTED;
  const head = ['first', 'last', 'bytes', 'hexadecimal', 'size'].map((text) => h('th', { scope: 'col' }, text));
  return h('details', {},
    h('summary', {}, `Memory map: ${formatCount(runs.length / 2, 'run')}`),
    h('p', { class: 'hint' }, 'A click on a run goes to its first block.' +
      (numHidden > 0 ? ` ${formatCount(numHidden, 'run')} not listed.` : '')),
    h('div', { class: 'runs', tabIndex: 0, role: 'group', 'aria-label': 'Table of runs' },
      h('table', {}, h('thead', {}, h('tr', {}, head)), h('tbody', {}, rows))));
}
