// The output's blocks as text, one at a time. Which block holds what comes from the table that the check made of them.

const MAX_CHARS_SHOWN = 2 ** 19;
const FIELDS = ['type', 'count', 'address', 'data', 'checksum'];
const END_RECORD = 'S9030000FC';

const isData = (line) => /^S[123]/.test(line);
const addressOf = (line) => parseInt(line.slice(4, 6 + 2 * line[1]), 16);
const holds = (line, addr) => addressOf(line) <= addr && addr < addressOf(line) + parseInt(line.slice(2, 4), 16) - line[1] - 2;

// A line as an element, with a note that is not selected with it. Blocks smaller than a line can hold a part of one.
function makeLine(line, className, note) {
  const isWhole = isData(line) && line.length === 4 + 2 * parseInt(line.slice(2, 4), 16);
  const data = 6 + 2 * line[1];
  const ends = [0, 2, 4, data, line.length - 2, line.length];
  const parts = isWhole ? FIELDS.map((name, i) => make('i', { className: name }, line.slice(ends[i], ends[i + 1]))) : [line];
  return make('span', { className: `record ${className}`, 'data-note': line === END_RECORD ? 'end record' : note }, ...parts);
}

// What a block looks like. isCut: its last record is cut; isRest: its first is the rest of one. addr: is looked for.
function makeLines(lines, isCut, isRest, addr) {
  const firstRecord = lines.findIndex(isData);
  const lastRecord = lines.findLastIndex(isData);
  const elements = [];
  for (let i = 0; i < lines.length; ++i) {
    if (lines[i] === '') {
      const first = i;
      while (lines[i + 1] === '') {
        ++i;
      }
      const count = i + 1 - first;
      elements.push(make('span', { className: 'fill' }, `${formatCount(count, 'line end')} of fill, ${2 * count} characters`));
    } else {
      const notes = [isRest && i === firstRecord && 'the rest of the record that is cut',
        isCut && i === lastRecord && 'cut here: the rest is in the next block'].filter(Boolean);
      const isSought = addr !== null && isData(lines[i]) && holds(lines[i], addr);
      elements.push(makeLine(lines[i], `${notes.length ? 'cut' : ''} ${isSought ? 'sought' : ''}`, notes.join(', ')));
    }
  }
  return elements.flatMap((element) => [element, '\n']);
}

// The table's rows: records, bytes, characters of fill, and whether the last record is cut.
const rowOf = (blocks, block) => blocks.subarray(4 * block, 4 * block + 4);

// Whether a block begins with the rest of a record. Blocks smaller than a line can have others without a record between.
function beginsWithRest(blocks, block) {
  let before = block - 1;
  while (before > 0 && rowOf(blocks, before)[0] === 0) {
    --before;
  }
  return before >= 0 && rowOf(blocks, before)[3] === 1;
}

// Returns the block that the byte at an address is in, -1 if there is no such byte: the output has the runs' bytes in
// their order, and the table counts them.
function findBlock({ runs, blocks }, addr) {
  let numBefore = 0;
  let i = 0;
  for (; i < runs.length && addr >= runs[i] + runs[i + 1]; i += 2) {
    numBefore += runs[i + 1];
  }
  let block = 0;
  for (numBefore += addr - runs[i]; numBefore >= rowOf(blocks, block)[1]; ++block) {
    numBefore -= rowOf(blocks, block)[1];
  }
  return addr >= runs[i] && 4 * block < blocks.length ? block : -1;
}

// Makes the viewer of a result's blocks. Returns { element, goToAddress }.
function makeBlocksSection(result) {
  const { output, blocks, settings: { BlockAlign: blockAlign } } = result;
  const numBlocks = Math.max(blocks.length / 4, Math.ceil(output.size / blockAlign));
  const lastBlock = numBlocks - 1;
  const text = make('pre', { className: 'block', tabIndex: 0, role: 'group' });
  const place = make('p', { className: 'hint', role: 'status' });
  let current = 0;

  async function show(block, addr = null) {
    current = Math.max(0, Math.min(block, lastBlock));
    const shown = current;
    const from = shown * blockAlign;
    const numChars = Math.min(blockAlign, output.size - from);
    const chars = await output.slice(from, from + Math.min(numChars, MAX_CHARS_SHOWN)).text();
    if (shown !== current) {
      return;
    }
    const isAll = chars.length === numChars;
    const [numRecords, numBytes, numFill, isCut] = rowOf(blocks, shown);
    const counts = numRecords === undefined ? ''
      : `: ${formatCount(numRecords, 'record')}, ${formatCount(numBytes, 'byte')}, ${formatCount(numFill, 'character')} of fill`;
    place.textContent = `Block ${formatDecimal(shown)} of 0 to ${formatDecimal(lastBlock)}, at offset ${formatHex(from)}${counts}`;
    const ending = !isAll ? `The first ${formatDecimal(chars.length)} characters of the block.`
      : numChars < blockAlign ? `Free to the end of the block: ${formatCount(blockAlign - numChars, 'character')}.` : '';
    const lines = chars.replace(/\r\n$/, '').split('\r\n');
    text.replaceChildren(...makeLines(lines, isAll && isCut === 1, beginsWithRest(blocks, shown), addr),
      make('span', { className: 'free' }, ending));
    text.setAttribute('aria-label', `Text of block ${shown}`);
    const sought = text.querySelector('.sought');
    text.scrollTop = sought ? sought.offsetTop - text.clientHeight / 3 : 0;
    previous.disabled = shown === 0;
    next.disabled = shown === lastBlock;
  }
  function goToAddress(addr) {
    const block = findBlock(result, addr);
    return block < 0 ? place.replaceChildren(`There is no byte at ${formatAddress(addr)}.`) : show(block, addr);
  }
  const previous = makeButton('Previous', () => show(current - 1));
  const next = makeButton('Next', () => show(current + 1));
  const goTo = (name, parse, go) => make('label', {}, name, make('input', {
    type: 'text', autocomplete: 'off', spellcheck: false, onchange: ({ target: { value } }) => {
      const n = parse(value);
      return Number.isNaN(n) ? place.replaceChildren(`${name}: a number is expected.`) : go(n);
    },
  }));
  show(0);
  const element = make('section', { className: 'blocks' },
    make('h3', {}, 'Blocks of the output'),
    make('div', { className: 'pager' }, previous, next,
      goTo('Block', parseNumber, show), goTo('Address', parseHex, goToAddress)),
    place,
    make('p', { className: 'legend' }, ...FIELDS.map((name) => make('i', { className: name }, name))), text);
  return { element, goToAddress };
}
