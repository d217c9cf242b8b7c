// The output as a picture: a tile for each block, in the order of the file, with a cursor on one of them.

const TILES = [[Infinity, 20], [170, 16], [80, 14], [40, 12], [20, 12], [10, 10], [6, 6], [4, 4]]; // width and height
const MAX_HEIGHT = 288;
const MAX_TILES = 8192;
const LEAST_PART = 4; // pixels that a part needs to be seen
const LEAST_RECORD = 5;
const PARTS = { record: 'record', cut: 'cut record', rest: 'its rest', fill: 'fill', end: 'end record', free: 'free' };
const END_CHARS = 12; // of the end record

// The table's row for a block: records, bytes, characters of fill, of the cut record at its end, and of the rest of one
// at its beginning; 0 where there is none.
const ROW = 5;
const rowOf = ({ blocks }, block) => blocks.subarray(ROW * block, ROW * block + ROW);
const countBlocks = ({ numChars, settings: { BlockAlign } }) => Math.ceil(numChars / BlockAlign);

// Chooses the largest tiles with which all blocks fit; a tile stands for several blocks if the smallest are too large.
function layOutTiles(numBlocks, width) {
  for (const [wanted, height] of TILES) {
    const tileWidth = Math.min(wanted, width);
    const gap = tileWidth < 10 ? 1 : 2;
    const columns = Math.floor((width + gap) / (tileWidth + gap));
    const numRows = Math.floor((MAX_HEIGHT + gap) / (height + gap));
    const perTile = Math.ceil(numBlocks / Math.min(MAX_TILES, columns * numRows));
    if (perTile === 1 || height === TILES.at(-1)[1]) {
      const numTiles = Math.ceil(numBlocks / perTile);
      return { tileWidth, height, stepX: tileWidth + gap, stepY: height + gap, columns, perTile, numTiles };
    }
  }
  return null;
}

// Draws a block as a tile. Only the number of the records between is known, so they are equally wide.
function drawBlock(paint, result, block, width) {
  const { numChars, settings: { BlockAlign } } = result;
  const [numRecords, , numFill, cut, rest] = rowOf(result, block);
  const scale = width / BlockAlign;
  const wide = (chars) => (chars ? Math.max(LEAST_PART, chars * scale) : 0);
  const isLast = (block + 1) * BlockAlign >= numChars;
  const end = wide(isLast ? END_CHARS : 0);
  const beforeEnd = (isLast ? numChars - block * BlockAlign : BlockAlign) * scale - end;
  const beforeFill = beforeEnd - numFill * scale;
  const afterRest = wide(rest);
  const beforeCut = Math.max(afterRest, beforeFill - wide(cut));
  paint('free', 0, width);
  paint('fill', beforeFill, beforeEnd);
  paint('end', beforeEnd, beforeEnd + end);
  paint('record', afterRest, beforeCut);
  paint('cut', beforeCut, beforeCut + wide(cut));
  paint('rest', 0, afterRest);
  const numBetween = numRecords - (cut > 0) - (rest > 0);
  const step = (beforeCut - afterRest) / numBetween;
  for (let i = 0; step >= LEAST_RECORD && i <= numBetween; ++i) {
    paint('line', afterRest + i * step - 1, afterRest + i * step);
  }
}

// Draws a small tile, for one block or several: the more of them end in a cut, the more of the colour of a rest it has.
function drawShade(paint, result, first, numBlocks, width) {
  let numCut = 0;
  for (let i = first; i < first + numBlocks; ++i) {
    numCut += rowOf(result, i)[3] > 0;
  }
  paint('record', 0, width);
  paint('rest', 0, width, numCut / numBlocks);
}

function drawPicture(canvas, result, { tileWidth, height, stepX, stepY, columns, perTile, numTiles }, width) {
  const style = getComputedStyle(canvas);
  const colours = {};
  [...Object.keys(PARTS), 'line'].forEach((part) => { colours[part] = style.getPropertyValue(`--${part}`); });
  canvas.width = width * devicePixelRatio;
  canvas.height = Math.ceil(numTiles / columns) * stepY * devicePixelRatio;
  const context = canvas.getContext('2d');
  context.scale(devicePixelRatio, devicePixelRatio);
  const numBlocks = countBlocks(result);
  for (let i = 0; i < numTiles; ++i) {
    const x = i % columns * stepX;
    const y = Math.floor(i / columns) * stepY;
    const paint = (part, from, to, alpha = 1) => {
      context.globalAlpha = alpha;
      context.fillStyle = colours[part];
      context.fillRect(x + from, y, to - from, height);
    };
    if (tileWidth < 10) {
      drawShade(paint, result, i * perTile, Math.min(perTile, numBlocks - i * perTile), tileWidth);
    } else {
      drawBlock(paint, result, i, tileWidth);
    }
  }
}

// A picture of the blocks, which is a slider for the keyboard. onBlock(block) is called when one is chosen.
class Picture extends Component {
  componentDidMount() {
    this.watch = new ResizeObserver(([{ contentRect }]) => this.setState({ width: Math.floor(contentRect.width) }));
    this.watch.observe(this.base);
    this.scheme = matchMedia('(prefers-color-scheme: dark)');
    this.scheme.onchange = () => this.paint();
    this.paint();
  }

  componentDidUpdate(_, { width }) {
    if (width !== this.state.width) {
      this.paint();
    }
  }

  componentWillUnmount() {
    this.watch.disconnect();
    this.scheme.onchange = null;
  }

  paint() {
    if (this.state.width) {
      drawPicture(this.base.querySelector('canvas'), this.props.result, this.tiles, this.state.width);
    }
  }

  render({ result, block, onBlock, text }, { width = 0 }) {
    const lastBlock = countBlocks(result) - 1;
    const tiles = layOutTiles(lastBlock + 1, Math.max(width, 100));
    this.tiles = tiles;
    const { stepX, stepY, columns, perTile, numTiles, tileWidth, height } = tiles;
    const tile = Math.floor(block / perTile);
    const onKeyDown = (event) => {
      const steps = { Right: 1, Left: -1, Down: columns, Up: -columns, Home: -Infinity, End: Infinity };
      const step = steps[event.key.replace('Arrow', '')];
      if (step) {
        event.preventDefault();
        onBlock(Math.max(0, Math.min(lastBlock, block + step * perTile)));
      }
    };
    const onClick = ({ offsetX, offsetY }) => {
      const clicked = Math.floor(offsetY / stepY) * columns + Math.min(columns - 1, Math.floor(offsetX / stepX));
      onBlock(Math.min(lastBlock, clicked * perTile));
    };
    const left = `${tile % columns * stepX}px`;
    const top = `${Math.floor(tile / columns) * stepY}px`;
    return h('div', {
      class: 'picture', role: 'slider', tabIndex: 0, 'aria-label': 'Block of the output', 'aria-valuemin': 0,
      'aria-valuemax': lastBlock, 'aria-valuenow': block, 'aria-valuetext': text, onKeyDown,
    },
    h('canvas', { onClick, style: { height: `${Math.ceil(numTiles / columns) * stepY}px` } }),
    h('span', { class: 'cursor', style: { left, top, width: `${tileWidth}px`, height: `${height}px` } }),
    perTile > 1 && h('p', { class: 'hint' },
      `Each tile stands for ${perTile} blocks: the redder, the more of them end in a cut.`));
  }
}

const Legend = () => h('p', { class: 'legend' },
  Object.entries(PARTS).map(([part, text]) => h('span', {}, h('i', { class: part }), text)));
