// The two pictures of an accepted file, as SVG: its memory map, and the blocks of the output.

function draw(tag, attributes, ...children) {
  const element = document.createElementNS('http://www.w3.org/2000/svg', tag);
  for (const [name, value] of Object.entries(attributes)) {
    element.setAttribute(name, value);
  }
  element.append(...children);
  return element;
}

const label = (x, y, text, attributes = {}) => draw('text', { x, y, ...attributes }, text);

// A part of a picture that can be pointed at and reached with the arrow keys. description: what is said about it.
function part(className, description, ...shapes) {
  const element = draw('g', { class: `part ${className}`, role: 'img', tabindex: -1, 'aria-label': description },
    draw('title', {}, description), ...shapes);
  return element;
}

// Makes the parts of a picture one stop of the Tab key: arrow keys, Home and End move between them. rows: lists of
// parts. onVisit(part) is called for each part that is reached or pointed at. Returns the element that holds both: a
// picture that listened to the focus itself could be focused.
function connectParts(picture, rows, onVisit) {
  const frame = make('div', {}, picture);
  const parts = rows.flat();
  parts[0]?.setAttribute('tabindex', 0);
  const moves = {
    ArrowRight: (row, i) => rows[row][i + 1] ?? rows[row + 1]?.[0],
    ArrowLeft: (row, i) => rows[row][i - 1] ?? rows[row - 1]?.at(-1),
    ArrowDown: (row, i) => rows[row + 1]?.[Math.min(i, rows[row + 1].length - 1)],
    ArrowUp: (row, i) => rows[row - 1]?.[Math.min(i, rows[row - 1].length - 1)],
    Home: () => parts[0],
    End: () => parts.at(-1),
  };
  frame.addEventListener('keydown', (event) => {
    const row = rows.findIndex((candidates) => candidates.includes(event.target));
    if (row >= 0 && moves[event.key]) {
      event.preventDefault();
      moves[event.key](row, rows[row].indexOf(event.target))?.focus();
    }
  });
  frame.addEventListener('focusin', (event) => {
    parts.forEach((candidate) => candidate.setAttribute('tabindex', candidate === event.target ? 0 : -1));
    onVisit(event.target);
  });
  frame.addEventListener('pointerover', (event) => {
    const pointedAt = event.target.closest('.part');
    if (pointedAt) {
      onVisit(pointedAt);
    }
  });
  return frame;
}

const MAP_ADDRESS_WIDTH = 92;
const MAP_LINE_HEIGHT = 15;

const describeRun = (run) =>
  `${formatAddress(run.start)} to ${formatAddress(run.end - 1)}: ${formatCount(run.numBytes, 'byte')} ` +
  `(${formatHex(run.numBytes)})${run.numRuns > 1 ? ` in ${formatCount(run.numRuns, 'run')} with small gaps` : ''}`;

function drawRun(run, y, height, width) {
  const x = MAP_ADDRESS_WIDTH;
  const middle = y + height / 2 + 4;
  const addresses = run.end - run.start === 1
    ? [label(x - 10, middle, formatAddress(run.start), { class: 'address' })]
    : [label(x - 10, y + 11, formatAddress(run.start), { class: 'address' }),
       label(x - 10, y + height - 2, formatAddress(run.end - 1), { class: 'address' })];
  const size = run.numRuns > 1 ? `${formatCount(run.numRuns, 'run')}, ${formatCount(run.numBytes, 'byte')}`
    : formatCount(run.numBytes, 'byte');
  return part(run.numRuns > 1 ? 'runs' : 'run', describeRun(run),
    draw('rect', { x, y, width: width - x, height, rx: 3 }), ...addresses,
    label(x + (width - x) / 2, middle, size, { class: 'size' }));
}

function drawGap(start, end, y, height, width) {
  const x = MAP_ADDRESS_WIDTH;
  return part('gap', `Nothing from ${formatAddress(start)} to ${formatAddress(end - 1)}: ${formatCount(end - start, 'byte')}`,
    draw('rect', { x, y, width: width - x, height }),
    draw('path', { d: `M${x + 0.5} ${y}v${height}M${width - 0.5} ${y}v${height}` }),
    label(x + (width - x) / 2, y + height / 2 + 4, `gap of ${formatHex(end - start)}`, { class: 'note' }));
}

// The memory map: addresses downwards, the height of a run or a gap by the logarithm of its size, so that a byte and
// a megabyte both have room for their labels.
function drawMap(groups, width, onVisit) {
  const parts = [];
  let y = 1;
  groups.forEach((run, i) => {
    const before = i ? groups[i - 1].end : run.start;
    if (before !== run.start) {
      const height = 24 + Math.log2(run.start - before);
      parts.push(drawGap(before, run.start, y, height, width));
      y += height;
    }
    const numAddresses = run.end - run.start;
    const height = numAddresses === 1 ? MAP_LINE_HEIGHT : 2 * MAP_LINE_HEIGHT + 3 * Math.log2(numAddresses);
    parts.push(drawRun(run, y, height, width));
    y += height;
  });
  const picture = draw('svg', {
    class: 'map', width, height: y + 1, viewBox: `0 0 ${width} ${y + 1}`, role: 'group',
    'aria-label': 'Memory map. Arrow keys move between runs and gaps.',
  }, ...parts);
  return connectParts(picture, parts.map((one) => [one]), onVisit);
}

const BLOCK_LABEL_HEIGHT = 18;
const BLOCK_BAR_HEIGHT = 22;
const BLOCK_PITCH = 52;
const MAX_PARTS_IN_BLOCK = 128;

// In a block of very many records, several in a row become one part.
function joinRecords(lines) {
  const numJoined = Math.ceil(lines.length / MAX_PARTS_IN_BLOCK);
  const joined = [];
  for (const line of lines) {
    const last = joined.at(-1);
    const isPlain = line.kind === 'record' && !line.cut;
    if (isPlain && last?.isPlain && last.numRecords < numJoined) {
      Object.assign(last, { to: line.to, numRecords: last.numRecords + 1, lastLine: line });
    } else {
      joined.push({ ...line, isPlain, numRecords: 1, lastLine: line });
    }
  }
  return joined;
}

function describeLine(line, block, blockAlign) {
  const offset = `block ${block}, offset ${formatHex(line.from)} to ${formatHex(line.to - 1)}`;
  if (line.kind === 'fill') {
    return `Fill: ${formatCount((line.to - line.from) / 2, 'line end')}; ${offset}`;
  }
  if (line.kind === 'end') {
    return `End record; ${offset}`;
  }
  const { addr, numBytes } = line.lastLine;
  const what = line.numRecords > 1 ? formatCount(line.numRecords, 'record') : `S${line.type} record`;
  const cut = { first: ', cut here', rest: ', the rest of a cut record' }[line.cut] ?? '';
  const crosses = line.offset % blockAlign !== line.from || line.to - line.from !== line.numChars;
  return `${what}${cut}: ${formatAddress(line.addr)} to ${formatAddress(addr + numBytes - 1)}; ${offset}` +
    (crosses && line.numRecords === 1 ? '; crosses the end of the block' : '');
}

function summariseBlock(lines) {
  const records = lines.filter((line) => line.kind === 'record');
  const fill = lines.filter((line) => line.kind === 'fill').reduce((sum, line) => sum + line.to - line.from, 0);
  return formatCount(records.length, 'record') + (fill ? `, ${fill} characters of fill` : '');
}

// Some blocks, one bar each, numCharsAcross characters wide. blocks: as readBlocks returns them.
function drawBlocks(blocks, firstBlock, blockAlign, numCharsAcross, width, onVisit) {
  const rows = [];
  const labels = [];
  const frames = [];
  const scale = width / numCharsAcross;
  blocks.forEach((lines, i) => {
    const y = i * BLOCK_PITCH + BLOCK_LABEL_HEIGHT;
    labels.push(label(0, y - 6, `Block ${firstBlock + i}`, { class: 'name' }),
      label(76, y - 6, `at ${formatHex((firstBlock + i) * blockAlign)}`, { class: 'address' }),
      label(width, y - 6, summariseBlock(lines), { class: 'summary' }));
    frames.push(draw('rect', { class: 'frame', x: 0.5, y: y - 0.5, width: width - 1, height: BLOCK_BAR_HEIGHT + 1, rx: 2 }));
    rows.push(joinRecords(lines).map((line) => {
      const partWidth = (line.to - line.from) * scale;
      const shape = draw('rect', {
        x: line.from * scale, y, width: Math.max(0.5, partWidth - (partWidth > 3 ? 1 : 0)), height: BLOCK_BAR_HEIGHT,
      });
      const element = part(line.cut ? 'cut' : line.kind, describeLine(line, firstBlock + i, blockAlign), shape);
      element.dataset.text = line.numRecords === 1 ? line.text : '';
      return element;
    }));
  });
  const height = blocks.length * BLOCK_PITCH - (BLOCK_PITCH - BLOCK_LABEL_HEIGHT - BLOCK_BAR_HEIGHT) + 2;
  const picture = draw('svg', {
    class: 'blocks', width, height, viewBox: `0 0 ${width} ${height}`, role: 'group',
    'aria-label': 'Blocks of the output. Arrow keys move between records and blocks.',
  }, ...labels, ...frames, ...rows.flat());
  return connectParts(picture, rows, onVisit);
}
