// The memory map of an accepted file, as SVG, and the table of its runs.

const ADDRESS_WIDTH = 92;
const LINE_HEIGHT = 15;
const MAX_RUNS_LISTED = 1000;

function draw(tag, attributes, ...children) {
  const element = document.createElementNS('http://www.w3.org/2000/svg', tag);
  for (const [name, value] of Object.entries(attributes)) {
    element.setAttribute(name, value);
  }
  element.append(...children);
  return element;
}

const drawLabel = (x, y, text, className) => draw('text', { x, y, class: className }, text);

function drawRun({ start, end, numBytes, numRuns }, y, height, width) {
  const x = ADDRESS_WIDTH;
  const middle = y + height / 2 + 4;
  const addresses = end - start === 1 ? [[middle, start]] : [[y + 11, start], [y + height - 2, end - 1]];
  const size = `${numRuns > 1 ? `${formatCount(numRuns, 'run')}, ` : ''}${formatCount(numBytes, 'byte')}`;
  return draw('g', { class: numRuns > 1 ? 'part runs' : 'part' }, draw('rect', { x, y, width: width - x, height, rx: 3 }),
    ...addresses.map(([place, addr]) => drawLabel(x - 10, place, formatAddress(addr), 'address')),
    drawLabel(x + (width - x) / 2, middle, size, 'size'));
}

function drawGap(size, y, height, width) {
  const x = ADDRESS_WIDTH;
  return draw('g', { class: 'gap' }, draw('path', { d: `M${x + 0.5} ${y}v${height}M${width - 0.5} ${y}v${height}` }),
    drawLabel(x + (width - x) / 2, y + height / 2 + 4, `gap of ${formatHex(size)}`, 'size'));
}

// Addresses go downwards; the height of a run or a gap follows the logarithm of its size, so that a byte and a megabyte
// both have room for their labels. onRun(start) is called when a run is clicked.
function drawMap(groups, width, onRun) {
  const parts = [];
  let y = 1;
  groups.forEach((run, i) => {
    const before = i ? groups[i - 1].end : run.start;
    if (before !== run.start) {
      const height = 24 + Math.log2(run.start - before);
      parts.push(drawGap(run.start - before, y, height, width));
      y += height;
    }
    const numAddresses = run.end - run.start;
    const height = numAddresses === 1 ? LINE_HEIGHT : 2 * LINE_HEIGHT + 3 * Math.log2(numAddresses);
    const part = drawRun(run, y, height, width);
    part.onclick = () => onRun(run.start);
    parts.push(part);
    y += height;
  });
  return draw('svg', {
    class: 'map', width, height: y + 1, viewBox: `0 0 ${width} ${y + 1}`, role: 'img',
    'aria-label': 'Memory map; the table of runs has the same addresses',
  }, ...parts);
}

// runs: start and size in turn.
function makeRunTable(runs, numBytes, onRun) {
  const rows = [];
  for (let i = 0; i < Math.min(runs.length, 2 * MAX_RUNS_LISTED); i += 2) {
    const [start, size] = runs.subarray(i, i + 2);
    const button = makeButton(formatAddress(start), () => onRun(start), { className: 'link' });
    rows.push(make('tr', {}, ...[button, formatAddress(start + size - 1), formatDecimal(size), formatHex(size)].map((cell) => make('td', {}, cell))));
  }
  const numHidden = runs.length / 2 - rows.length;
  const head = ['first', 'last', 'bytes', 'hexadecimal'].map((text) => make('th', { scope: 'col' }, text));
  return make('div', { className: 'runs', tabIndex: 0, role: 'group', 'aria-label': 'Table of runs' },
    make('table', {},
      make('caption', {}, `${formatCount(runs.length / 2, 'run')}, ${formatCount(numBytes, 'byte')}`),
      make('thead', {}, make('tr', {}, ...head)), make('tbody', {}, ...rows)),
    make('p', { className: 'hint' }, numHidden ? `${formatCount(numHidden, 'run')} not listed.` : ''));
}

// Map and table side by side, width pixels in all.
function makeMapSection({ groups, runs, numBytes }, width, onRun) {
  if (!runs.length) {
    return make('p', {}, 'The file has no data: the output is the end record only.');
  }
  const joined = groups.length < runs.length / 2
    ? ` ${formatDecimal(runs.length / 2)} runs are drawn as ${groups.length} areas; small gaps are left out.` : '';
  return make('section', {},
    make('h3', {}, 'Memory map'),
    make('p', { className: 'hint' }, `Heights follow the logarithm of the size. A click on a run goes to its first block.${joined}`),
    make('div', { className: 'side-by-side' },
      drawMap(groups, Math.min(300, Math.max(240, width)), onRun), makeRunTable(runs, numBytes, onRun)));
}
