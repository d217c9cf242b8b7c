// A conditioned file's text, taken apart again for its picture.

const END_RECORD = 'S9030000FC';

// Takes lines out of the text of some blocks. start: the text's place in the file; a line that began before it is
// left out. Returns { kind: 'record', 'fill' or 'end', offset, numChars, ... }; line ends that fill a block are one.
function parseLines(text, start, isLineStart) {
  const lines = [];
  let pos = isLineStart ? 0 : text.indexOf('\n') + 1;
  for (let end = text.indexOf('\n', pos); end >= 0; pos = end + 1, end = text.indexOf('\n', pos)) {
    const line = { offset: start + pos, numChars: end + 1 - pos, text: text.slice(pos, end - 1) };
    const last = lines.at(-1);
    if (line.text === '' && last?.kind === 'fill') {
      last.numChars += line.numChars;
    } else if (line.text === '') {
      lines.push({ ...line, kind: 'fill' });
    } else if (line.text === END_RECORD) {
      lines.push({ ...line, kind: 'end' });
    } else {
      const type = Number(line.text[1]);
      const numBytes = parseInt(line.text.slice(2, 4), 16) - type - 2;
      lines.push({ ...line, kind: 'record', type, addr: parseInt(line.text.slice(4, 6 + 2 * type), 16), numBytes });
    }
  }
  return lines;
}

// A piece of data has 32 bytes, fewer only at the end of a run, and is cut once at most. So two neighbours in different
// blocks that have no more than that between them are one record that was cut.
function markCuts(lines, blockAlign) {
  const blockOf = (record) => Math.floor(record.offset / blockAlign);
  const records = lines.filter((line) => line.kind === 'record');
  records.slice(1).forEach((next, i) => {
    const record = records[i];
    if (record.addr + record.numBytes === next.addr && record.numBytes + next.numBytes <= 32 &&
        record.cut !== 'rest' && blockOf(record) !== blockOf(next)) {
      record.cut = 'first';
      next.cut = 'rest';
    }
  });
}

// Returns the lines of some blocks of the output, a Blob, each cut at the ends of blocks if it crosses one: as a list
// for each block. A line goes on in the next blocks as the same line with another place.
async function readBlocks(output, blockAlign, firstBlock, numBlocks, maxChars) {
  const MARGIN = 256; // more than a line, the fill before it, and the line that was cut there
  const from = firstBlock * blockAlign;
  const to = Math.min(output.size, from + Math.min(numBlocks * blockAlign, maxChars));
  const start = Math.max(0, from - MARGIN);
  const text = await output.slice(start, to + MARGIN).text();
  const lines = parseLines(text, start, start === 0);
  markCuts(lines, blockAlign);
  const blocks = [];
  for (const line of lines) {
    for (let at = line.offset; at < line.offset + line.numChars;) {
      const block = Math.floor(at / blockAlign);
      const end = Math.min(line.offset + line.numChars, (block + 1) * blockAlign);
      if (at >= from && at < to) {
        (blocks[block - firstBlock] ??= []).push({ ...line, from: at - block * blockAlign, to: end - block * blockAlign });
      }
      at = end;
    }
  }
  return blocks;
}
