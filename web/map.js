// The memory map of an accepted file, as SVG, and the table of its runs.

const ADDRESS_WIDTH = 92;
const MAP_WIDTH = 300;
const LINE_HEIGHT = 15;
const MAX_RUNS_LISTED = 1000;

const label = (x, y, text, name) => h('text', { x, y, class: name }, text);

function drawRun({ start, end, numBytes, numRuns }, y, height, onClick) {
  const x = ADDRESS_WIDTH;
  const addresses = end - start === 1 ? [[y + height / 2 + 4, start]] : [[y + 11, start], [y + height - 2, end - 1]];
  const size = `${numRuns > 1 ? `${formatCount(numRuns, 'run')}, ` : ''}${formatCount(numBytes, 'byte')}`;
  return h('g', { class: numRuns > 1 ? 'part runs' : 'part', onClick },
    h('rect', { x, y, width: MAP_WIDTH - x, height, rx: 3 }),
    addresses.map(([place, addr]) => label(x - 10, place, formatAddress(addr), 'address')),
    label((x + MAP_WIDTH) / 2, y + height / 2 + 4, size, 'size'));
}

function drawGap(size, y, height) {
  const x = ADDRESS_WIDTH;
  return h('g', { class: 'gap' }, h('path', { d: `M${x + 0.5} ${y}v${height}M${MAP_WIDTH - 0.5} ${y}v${height}` }),
    label((x + MAP_WIDTH) / 2, y + height / 2 + 4, `gap of ${formatHex(size)}`, 'size'));
}

// Addresses go downwards; the height of a run or a gap follows the logarithm of its size, so that a byte and a megabyte
// both have room for their labels. onRun(start) is called when a run is clicked.
function drawMap(groups, onRun) {
  const parts = [];
  let y = 1;
  groups.forEach((run, i) => {
    const gap = i ? run.start - groups[i - 1].end : 0;
    if (gap) {
      const height = 24 + Math.log2(gap);
      parts.push(drawGap(gap, y, height));
      y += height;
    }
    const numAddresses = run.end - run.start;
    const height = numAddresses === 1 ? LINE_HEIGHT : 2 * LINE_HEIGHT + 3 * Math.log2(numAddresses);
    parts.push(drawRun(run, y, height, () => onRun(run.start)));
    y += height;
  });
  return h('svg', {
    class: 'map', width: MAP_WIDTH, height: y + 1, viewBox: `0 0 ${MAP_WIDTH} ${y + 1}`, role: 'img',
    'aria-label': 'Memory map; the table of runs has the same addresses',
  }, parts);
}

// runs: start and size in turn.
function makeRunTable(runs, onRun) {
  const rows = [];
  for (let i = 0; i < Math.min(runs.length, 2 * MAX_RUNS_LISTED); i += 2) {
    const [start, size] = runs.subarray(i, i + 2);
    const link = h('button', { type: 'button', class: 'link', onClick: () => onRun(start) }, formatAddress(start));
    const cells = [link, formatAddress(start + size - 1), formatDecimal(size), formatHex(size)];
    rows.push(h('tr', {}, cells.map((cell) => h('td', {}, cell))));
  }
  const numHidden = runs.length / 2 - rows.length;
  const head = ['first', 'last', 'bytes', 'hexadecimal'].map((text) => h('th', { scope: 'col' }, text));
  return h('div', { class: 'runs', tabIndex: 0, role: 'group', 'aria-label': 'Table of runs' },
    h('table', {}, h('thead', {}, h('tr', {}, head)), h('tbody', {}, rows)),
    numHidden > 0 && h('p', { class: 'hint' }, `${formatCount(numHidden, 'run')} not listed.`));
}

function MemoryMap({ result: { groups, runs }, onRun }) {
  if (!runs.length) {
    return h('p', {}, 'The file has no data: the output is the end record only.');
  }
  const joined = groups.length < runs.length / 2
    ? ` ${formatDecimal(runs.length / 2)} runs are drawn as ${groups.length} areas; small gaps are left out.` : '';
  return h('details', {},
    h('summary', {}, `Memory map: ${formatCount(runs.length / 2, 'run')}`),
    h('p', { class: 'hint' },
      `Heights follow the logarithm of the size. A click on a run goes to its first block.${joined}`),
    h('div', { class: 'side-by-side' }, drawMap(groups, onRun), makeRunTable(runs, onRun)));
}
