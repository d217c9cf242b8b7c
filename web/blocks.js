// The output's blocks as text, one at a time, below their picture; and how a block is found.

const MAX_CHARS_SHOWN = 2 ** 19;
const MAX_LINE = 80; // characters
const FIELD_NAMES = ['type', 'count', 'address', 'data', 'checksum'];
const END_RECORD = 'S9030000FC';

const isData = (line) => /^S[123]/.test(line);
const addressOf = (line) => parseInt(line.slice(4, 6 + 2 * line[1]), 16);
const holds = (line, addr) => addressOf(line) <= addr && addr < addressOf(line) + parseInt(line.slice(2, 4), 16) - line[1] - 2;

// A line of the output. Blocks smaller than a line can hold a part of one.
function Line({ line, look, note }) {
  const isWhole = isData(line) && line.length === 4 + 2 * parseInt(line.slice(2, 4), 16);
  const data = 6 + 2 * line[1];
  const ends = [0, 2, 4, data, line.length - 2, line.length];
  return h('span', { class: `record ${look}`, 'data-note': line === END_RECORD ? 'end record' : note },
    isWhole ? FIELD_NAMES.map((name, i) => h('i', { class: name }, line.slice(ends[i], ends[i + 1]))) : line);
}

// A block's lines. addr: the record with this address is marked.
function listLines(lines, [, , , cut, rest], addr) {
  const firstRecord = lines.findIndex(isData);
  const lastRecord = lines.findLastIndex(isData);
  let numFill = 0;
  return lines.map((line, i) => {
    numFill = line === '' ? numFill + 1 : 0;
    if (numFill > 0) {
      const fill = `${formatCount(numFill, 'line end')} of fill, ${2 * numFill} characters`;
      return lines[i + 1] === '' ? null : [h('span', { class: 'fill' }, fill), '\n'];
    }
    const note = [rest && i === firstRecord && 'the rest of the record that is cut',
      cut && i === lastRecord && 'cut here: the rest is in the next block'].filter(Boolean).join(', ');
    const sought = isData(line) && holds(line, addr) ? 'sought' : '';
    return [h(Line, { line, note, look: `${note && 'cut'} ${sought}` }), '\n'];
  });
}

// Returns the block that the byte at an address is in, -1 if there is no such byte: the output has the runs' bytes in
// their order, and the table counts them.
function findBlock(result, addr) {
  const { runs } = result;
  let numBefore = 0;
  let i = 0;
  for (; i < runs.length && addr >= runs[i] + runs[i + 1]; i += 2) {
    numBefore += runs[i + 1];
  }
  let block = 0;
  for (numBefore += addr - runs[i]; numBefore >= rowOf(result, block)[1]; ++block) {
    numBefore -= rowOf(result, block)[1];
  }
  return addr >= runs[i] && ROW * block < result.blocks.length ? block : -1;
}

function findNextCut(result, block) {
  const numBlocks = countBlocks(result);
  let next = (block + 1) % numBlocks;
  while (next !== block && !rowOf(result, next)[3]) {
    next = (next + 1) % numBlocks;
  }
  return next;
}

// The picture, the text of the block under its cursor, and the memory map.
class Contents extends Component {
  constructor(props) {
    super(props);
    this.state = { block: 0, chars: null, addr: NaN, problem: '' };
    this.numCuts = props.result.blocks.reduce((sum, n, i) => sum + (i % ROW === 3 && n > 0), 0);
  }

  componentDidMount() {
    this.show(0);
  }

  shouldComponentUpdate(_, state) {
    return state !== this.state;
  }

  // Shows a block, with the record that has an address, if there is one, or else where it is cut.
  async show(block, addr = NaN) {
    const { output, settings: { BlockAlign } } = this.props.result;
    const from = block * BlockAlign;
    this.wanted = block;
    this.setState({ block, addr, problem: '' });
    const chars = await output.slice(from, from + Math.min(BlockAlign, MAX_CHARS_SHOWN) + MAX_LINE).text()
      .catch(() => 'The output cannot be read any more: convert the file again.');
    if (block === this.wanted) {
      this.setState({ chars, shown: block }, () => {
        const text = this.base?.querySelector('.block');
        const sought = text?.querySelector('.sought') ?? text?.querySelector('.end-of-block');
        text?.scrollTo(0, sought ? sought.offsetTop - text.clientHeight * (addr >= 0 ? 0.3 : 0.7) : 0);
      });
    }
  }

  goToAddress(addr) {
    const block = findBlock(this.props.result, addr);
    return block < 0 ? this.setState({ problem: `There is no byte at ${formatAddress(addr)}.` }) : this.show(block, addr);
  }

  // A block's text and the beginning of the next one.
  renderText({ numChars, settings: { BlockAlign }, ...result }, { chars, shown, addr }) {
    const size = Math.min(BlockAlign, numChars - shown * BlockAlign);
    const isAll = size <= MAX_CHARS_SHOWN;
    const row = rowOf(result, shown);
    const lines = chars.slice(0, Math.min(size, MAX_CHARS_SHOWN)).replace(/\r\n$/, '').split('\r\n');
    const [next] = chars.slice(size).split('\r\n');
    return h('pre', { class: 'block', tabIndex: 0, role: 'group', 'aria-label': `Text of block ${shown}` },
      listLines(lines, isAll ? row : [], addr),
      !isAll && h('span', { class: 'free' }, `The first ${formatDecimal(MAX_CHARS_SHOWN)} characters of the block.`),
      size < BlockAlign && h('span', { class: 'free' },
        `Free to the end of the block: ${formatCount(BlockAlign - size, 'character')}.`),
      isAll && next && [h('span', { class: 'end-of-block' }, `end of block ${shown}`), '\n',
        h('span', { class: `record next ${row[3] ? 'cut' : ''}`, 'data-note': row[3] ? 'the rest, in the next block' : '' }, next)]);
  }

  render({ result }, { block, chars, problem, ...state }) {
    const lastBlock = countBlocks(result) - 1;
    const [numRecords, numBytes, numFill, cut] = rowOf(result, block);
    const text = `Block ${formatDecimal(block)} of 0 to ${formatDecimal(lastBlock)}, ` +
      `at offset ${formatHex(block * result.settings.BlockAlign)}: ${formatCount(numRecords, 'record')}, ` +
      `${formatCount(numBytes, 'byte')}, ${formatCount(numFill, 'character')} of fill${cut ? '; the last record is cut' : ''}`;
    const goTo = (name, parse, go) => h('label', {}, name, h('input', {
      type: 'text', autocomplete: 'off', spellcheck: false, onChange: ({ target: { value } }) => {
        const n = parse(value);
        return Number.isNaN(n) ? this.setState({ problem: `${name}: a number is expected.` }) : go(n);
      },
    }));
    const onRun = (start) => {
      this.goToAddress(start);
      this.base.scrollIntoView({ block: 'nearest' });
    };
    const show = (n) => this.show(Math.max(0, Math.min(lastBlock, n)));
    return h('div', { class: 'contents' },
      h('section', {},
        h('div', { class: 'title' }, h('h3', {}, 'Blocks of the output'), h(Legend)),
        h(Picture, { result, block, text, onBlock: show }),
        h('div', { class: 'pager' },
          button('Previous', () => show(block - 1), { disabled: block === 0 }),
          button('Next', () => show(block + 1), { disabled: block === lastBlock }),
          button(`Next cut, of ${formatDecimal(this.numCuts)}`, () => show(findNextCut(result, block)), { disabled: !this.numCuts }),
          goTo('Block', parseNumber, show), goTo('Address', parseHex, (addr) => this.goToAddress(addr))),
        h('p', { class: 'hint place', role: 'status' }, problem || text),
        chars === null ? h('pre', { class: 'block' }) : this.renderText(result, { chars, ...state })),
      h(MemoryMap, { result, onRun }));
  }
}
