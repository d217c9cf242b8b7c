// Conditions one file, off the page's thread. The page starts a worker for each file and ends it to cancel.
//
// It gets one message, { program, file, baseAddr, blockAlign, lineAlign }, and answers with any number of
// { progress: 0 to 1, step }, then one of { accepted }, { refused: finding } and { failed: text }. A finding is
// { isError, text, line, excerpt, markColumn, around, isOfOutput }; line 0: it has no place in the file.
'use strict';

const MAX_FILE_BYTES = 2 ** 31 - 1; // the program addresses 4 GiB, and an image of the file has to fit in
const LINES_AROUND = 2;
const LINE_WIDTH = 78;
const MAX_RUNS_LISTED = 1000;
const MAX_RUNS_DRAWN = 24;

// How far the bar goes in each step.
const STEPS = {
  load: { text: 'Loading', from: 0, to: 0.1 },
  read: { text: 'Reading', from: 0.1, to: 0.4 },
  write: { text: 'Writing', from: 0.4, to: 0.7 },
  prove: { text: 'Checking the output', from: 0.7, to: 1 },
};

let lastProgress = -1;

function report(step, done, total) {
  const progress = step.from + (step.to - step.from) * Math.min(1, total ? done / total : 1);
  if (progress - lastProgress >= 0.01) {
    lastProgress = progress;
    postMessage({ progress, step: step.text });
  }
}

async function load(file) {
  const bytes = new Uint8Array(file.size);
  const reader = file.stream().getReader();
  let done = 0;
  for (let piece = await reader.read(); !piece.done; piece = await reader.read()) {
    bytes.set(piece.value, done);
    done += piece.value.length;
    report(STEPS.load, done, file.size);
  }
  return bytes;
}

// Calls the program, and reports how many bytes of the one file that it reads or writes have passed.
function callReporting(blockfit, step, total, name, ...args) {
  const { read, write } = blockfit.FS;
  let done = 0;
  const counting = (transfer) => (...transferArgs) => {
    const numBytes = transfer.apply(blockfit.FS, transferArgs);
    done += numBytes;
    report(step, done, total);
    return numBytes;
  };
  blockfit.FS.read = counting(read);
  blockfit.FS.write = counting(write);
  try {
    return blockfit.ccall(name, 'number', args.map((arg) => typeof arg), args);
  } finally {
    Object.assign(blockfit.FS, { read, write });
  }
}

function listRuns(blockfit) {
  const runs = [];
  const paRun = blockfit._malloc(16);
  for (let addr = 0; blockfit._WEB_FindRun(addr, paRun);) {
    const [start, numBytes] = new Float64Array(blockfit.HEAPU8.buffer, paRun, 2);
    runs.push({ start, numBytes, numRuns: 1 });
    addr = start + numBytes;
  }
  return runs;
}

// The runs as they are drawn: when there are too many, only the widest gaps between them count.
function groupRuns(runs) {
  const gaps = runs.slice(1).map((run, i) => run.start - runs[i].start - runs[i].numBytes);
  const widestIgnored = [...gaps].sort((a, b) => b - a)[MAX_RUNS_DRAWN - 1] ?? 0;
  const groups = [];
  runs.forEach((run, i) => {
    const last = groups.at(-1);
    if (i === 0 || gaps[i - 1] > widestIgnored) {
      groups.push({ start: run.start, end: run.start + run.numBytes, numBytes: run.numBytes, numRuns: 1 });
    } else {
      last.end = run.start + run.numBytes;
      last.numBytes += run.numBytes;
      last.numRuns += 1;
    }
  });
  return groups;
}

// The characters of the records that hold the runs, without cuts and fill; a little less than the output.
function estimateOutput(runs) {
  return runs.reduce((sum, run) => {
    const lineChars = run.start + run.numBytes <= 0x10000 ? 12 : run.start + run.numBytes <= 0x1000000 ? 14 : 16;
    return sum + Math.ceil(run.numBytes / 32) * lineChars + 2 * run.numBytes;
  }, 0);
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

async function condition({ program, file, baseAddr, blockAlign, lineAlign }) {
  if (file.size > MAX_FILE_BYTES) {
    throw new RangeError('too large');
  }
  const findings = [];
  const blockfit = await loadBlockfit({ wasmBinary: program, onFinding: (finding) => findings.push(finding) });
  const { FS } = blockfit;
  const inputPath = `/in/${file.name}`;
  const outputPath = '/out.srec';
  FS.mkdir('/in');
  FS.writeFile(inputPath, await load(file), { canOwn: true });

  if (callReporting(blockfit, STEPS.read, file.size, 'WEB_Read', inputPath, baseAddr) !== 0) {
    const error = findings.at(-1);
    if (/memory|malloc/i.test(error.text)) {
      throw new RangeError(error.text);
    }
    return { refused: { ...error, around: error.line ? linesAround(FS.lookupPath(inputPath).node.contents, error.line) : [] } };
  }
  const runs = listRuns(blockfit);
  FS.unlink(inputPath); // its memory is free for the output
  if (callReporting(blockfit, STEPS.write, estimateOutput(runs), 'WEB_Write', outputPath, lineAlign, blockAlign) !== 0) {
    return { failed: findings.find((finding) => finding.isError)?.text ?? 'The program does not accept these numbers.' };
  }
  const { contents, usedBytes } = FS.lookupPath(outputPath).node; // contents has room for more
  const numInputFindings = findings.length;
  const proof = callReporting(blockfit, STEPS.prove, 2 * usedBytes, 'WEB_Prove', outputPath, lineAlign, blockAlign);
  return {
    accepted: {
      output: contents.subarray(0, usedBytes),
      findings: findings.map((finding, i) => ({ ...finding, isOfOutput: i >= numInputFindings })),
      isProved: proof === 0,
      numBytes: runs.reduce((sum, run) => sum + run.numBytes, 0),
      numRuns: runs.length,
      runs: runs.slice(0, MAX_RUNS_LISTED),
      groups: groupRuns(runs),
    },
  };
}

function explain(error) {
  if (error instanceof RangeError) {
    return 'The file does not fit into this browser’s memory. The command-line program, Blockfit, can convert it.';
  }
  if (error.name === 'NotReadableError' || error.name === 'NotFoundError') {
    return 'The browser could not read the file. It may have been moved or changed.';
  }
  return `The conversion stopped unexpectedly: ${error.message}`;
}

onmessage = async ({ data }) => {
  try {
    const answer = await condition(data);
    postMessage(answer, answer.accepted ? [answer.accepted.output.buffer] : []);
  } catch (error) {
    postMessage({ failed: explain(error) });
  }
};
