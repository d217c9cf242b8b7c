// Conditions files, one at a time, off the page's thread. The page ends a worker to cancel, and to free its memory.
//
// It gets { program, file, and the settings }, program only the first time, and answers with any number
// of { progress: 0 to 1, step }, then with { converted } or { refused: findings, isSpent: it is of no more use }. A
// finding is { level, text, places, isOfOutput }, a place in a file { line, excerpt, markColumn, around }; the level is
// 'error', 'warning' or 'note'.
'use strict';

const MAX_FILE_BYTES = 2 ** 31 - 1; // the program addresses 4 GiB, and an image of the file has to fit in
const UNREADABLE = 2; // the status of a check that found neither good nor bad, as memory is exhausted
const OUTPUT_PATH = '/out.srec';
const WRITE_BYTES = 32768; // the program writes the output in pieces of this size, and the rest
const LINES_AROUND = 2;
const LINE_WIDTH = 78;
const MAX_LINE = 80;
const MS_BETWEEN_REPORTS = 50;

const TOO_LARGE = 'The file does not fit into this browser’s memory. The command-line program, Blockfit, can do it.';
const CHANGED = 'The file could not be read to its end: it has changed since it was chosen. Choose it again.';
const UNCHECKED = 'The output could not be checked: this browser’s memory is exhausted. The command-line program, ' +
  'Blockfit, can convert the file.';
const STOPPED = 'The conversion stopped unexpectedly. The command-line program, Blockfit, may be able to do it.';

// What a step says, and the nanoseconds that it takes for a byte that passes, as measured: only their relations matter.
const LOAD = { text: 'Loading', cost: 4 };
const READ_TEXT = { text: 'Reading', cost: 3 };
const READ_BINARY = { text: 'Reading', cost: 2 };
const WRITE = { text: 'Writing', cost: 2.5 };
const TEST = { text: 'Checking', cost: 7.5 };
const COMPARE = { text: 'Comparing', cost: 2.5 };
const GROWTH = 2.5; // characters for a byte
const START_COST = 6e7; // for the file

class Refusal extends Error {} // its message is for the user

let starting = null;
let found = null; // findings and blocks of the file at hand
let progress = null;

function begin(step, totalLeft) {
  progress = { ...progress, step, total: progress.done + totalLeft };
}

function report(numBytes) {
  progress.done += numBytes * progress.step.cost;
  const now = performance.now();
  if (now - progress.last >= MS_BETWEEN_REPORTS) {
    progress.last = now;
    postMessage({ progress: Math.min(1, progress.done / progress.total), step: progress.step.text });
  }
}

// Reads the file once, to its end: that is all a browser can do to notice that it is not the one that was chosen.
async function load(file) {
  const bytes = new Uint8Array(file.size);
  let done = 0;
  try {
    const reader = file.stream().getReader();
    for (let piece; !(piece = await reader.read()).done; done += piece.value.length) {
      bytes.set(piece.value, done);
      report(piece.value.length);
    }
  } catch {
    done = -1;
  }
  if (done !== file.size) {
    throw new Refusal(CHANGED);
  }
  return bytes;
}

// Makes a file of pieces, pieceBytes each, to which the program adds what it writes: emscripten's own file is copied
// again and again as it grows. Whatever is read or written is reported. This relies on emscripten's inner parts.
function makeFile(FS, path, pieces, pieceBytes) {
  FS.writeFile(path, '');
  const { node } = FS.lookupPath(path);
  node.usedBytes = pieces.reduce((sum, piece) => sum + piece.length, 0);
  const read = (stream, buffer, offset, length, position) => {
    const from = position % pieceBytes;
    const piece = pieces[Math.floor(position / pieceBytes)]?.subarray(from, from + length) ?? [];
    buffer.set(piece, offset);
    report(piece.length);
    return piece.length;
  };
  const write = (stream, buffer, offset, length) => {
    pieces.push(buffer.slice(offset, offset + length));
    node.usedBytes += length;
    report(length);
    return length;
  };
  node.stream_ops = { ...node.stream_ops, read, write };
}

// The runs of bytes, as start and size in turn.
function listRuns(blockfit) {
  const runs = [];
  const paRun = blockfit._malloc(16);
  for (let addr = 0; blockfit._WEB_FindRun(addr, paRun);) {
    const [start, numBytes] = new Float64Array(blockfit.HEAPU8.buffer, paRun, 2);
    runs.push(start, numBytes);
    addr = start + numBytes;
  }
  blockfit._free(paRun);
  return new Float64Array(runs);
}

// The lines before and after a line, as { number, text }: LF, CR LF and CR end one.
function linesAround(bytes, line) {
  const lines = [];
  let start = 0;
  let number = 1;
  for (let i = 0; i <= bytes.length && number <= line + LINES_AROUND; ++i) {
    if (i === bytes.length || bytes[i] === 10 || bytes[i] === 13) {
      if (number >= line - LINES_AROUND && start < bytes.length) {
        const shown = String.fromCharCode(...bytes.subarray(start, Math.min(i, start + LINE_WIDTH)));
        lines.push({ number, text: shown.replace(/[^ -~]/g, '\u00b7') });
      }
      i += bytes[i] === 13 && bytes[i + 1] === 10 ? 1 : 0;
      start = i + 1;
      ++number;
    }
  }
  return lines;
}

// Makes the table of blocks: for each its records, bytes, characters of fill, of a cut record at its end, and of the
// rest of one at its beginning.
function measureBlocks(pieces, size, blockSize) {
  const isLineEnd = (i) => pieces[Math.floor(i / WRITE_BYTES)][i % WRITE_BYTES] === 10;
  const findLineEnd = (from, step) => {
    let i = from;
    while (i >= 0 && Math.abs(i - from) < MAX_LINE && !isLineEnd(i)) {
      i += step;
    }
    return i;
  };
  const blocks = [];
  let isRest = false;
  for (let i = 0; i < found.blocks.length; i += 4) {
    const [numRecords, numBytes, numFill, isCut] = found.blocks.slice(i, i + 4);
    const start = i / 4 * blockSize;
    const last = Math.min(start + blockSize, size) - numFill - 1;
    const rest = isRest && numRecords ? findLineEnd(start, 1) + 1 - start : 0;
    blocks.push(numRecords, numBytes, numFill, isCut ? last - findLineEnd(last - 1, -1) : 0, rest);
    isRest = isCut || (isRest && !numRecords);
  }
  return new Uint32Array(blocks);
}

const start = (program) => loadBlockfit({
  wasmBinary: program,
  onFinding: (finding) => found.findings.push({ ...finding, isOfOutput: found.isOutput }),
  onPlace: (place) => found.findings.at(-1).places.push(place),
  onBlock: (...block) => found.blocks.push(...block),
});

async function condition({ program, file, BaseAddr, Within, BlockAlign, LineAlign }) {
  if (file.size > MAX_FILE_BYTES) {
    throw new RangeError();
  }
  found = { findings: [], blocks: [], isOutput: false };
  progress = { done: START_COST, last: 0 };
  const extension = /(\.[^.]*)?$/.exec(file.name)[0].toLowerCase();
  const [readStep, growth] = extension === '.bin' ? [READ_BINARY, GROWTH] : [READ_TEXT, 1.1];
  const outputCost = WRITE.cost + TEST.cost + COMPARE.cost;
  begin(LOAD, file.size * (LOAD.cost + readStep.cost + growth * outputCost));
  starting ??= start(program);
  const blockfit = await starting;
  const { FS } = blockfit;
  const typeOf = (arg) => (typeof arg === 'object' ? 'array' : typeof arg);
  const call = (name, ...args) => blockfit.ccall(name, 'number', args.map(typeOf), args);
  const test = (...args) => {
    const status = call(...args);
    if (status === UNREADABLE) {
      throw new RangeError();
    }
    return status === 0;
  };
  const inputPath = `/in${extension}`;
  const ranges = Uint32Array.from(Within.match(/0x\w+/g) ?? [], Number);
  let bytes = await load(file);
  makeFile(FS, inputPath, [bytes], Infinity);

  begin(readStep, file.size * (readStep.cost + growth * outputCost));
  const isAccepted = test('WEB_Read', inputPath, BaseAddr, new Uint8Array(ranges.buffer), ranges.length / 2);
  FS.unlink(inputPath);
  if (!isAccepted) {
    blockfit._WEB_Close();
    found.findings.forEach(({ places: [place] }) => place && (place.around = linesAround(bytes, place.line)));
    return { refused: found.findings };
  }
  bytes = null;
  const runs = listRuns(blockfit);
  const numBytes = runs.reduce((sum, n, i) => (i % 2 ? sum + n : sum), 0);
  const pieces = [];
  begin(WRITE, (GROWTH * numBytes + 14 * runs.length / 2) * outputCost);
  makeFile(FS, OUTPUT_PATH, pieces, WRITE_BYTES);
  if (call('WEB_Write', OUTPUT_PATH, LineAlign, BlockAlign) !== 0) {
    throw new RangeError();
  }
  found.isOutput = true;
  const numChars = FS.stat(OUTPUT_PATH).size;
  begin(TEST, numChars * (TEST.cost + COMPARE.cost));
  let isProved = test('WEB_TestPromises', OUTPUT_PATH, LineAlign, BlockAlign);
  begin(COMPARE, numChars * COMPARE.cost);
  isProved = isProved && test('WEB_Compare', OUTPUT_PATH);
  FS.unlink(OUTPUT_PATH);
  blockfit._WEB_Close();
  const blocks = measureBlocks(pieces, numChars, BlockAlign);
  const output = new Blob(pieces, { type: 'application/octet-stream' });
  const { findings } = found;
  return { converted: { output, numChars, findings, isProved, numBytes, runs, blocks } };
}

onmessage = async ({ data }) => {
  try {
    postMessage(await condition(data));
  } catch (error) {
    const text = error instanceof Refusal ? error.message
      : !(error instanceof RangeError) ? STOPPED : found?.isOutput ? UNCHECKED : TOO_LARGE;
    if (text === STOPPED) {
      console.error(error);
    }
    postMessage({ isSpent: true, refused: [{ level: 'error', text, places: [] }] });
  }
};
