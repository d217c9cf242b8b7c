// Numbers as text, and text as numbers.

const formatDecimal = (n) => n.toLocaleString('en-US');
const formatHex = (n, numDigits = 1) => `0x${n.toString(16).toUpperCase().padStart(numDigits, '0')}`;
const formatAddress = (n) => formatHex(n, 8);
const formatCount = (n, what) => `${formatDecimal(n)} ${what}${n === 1 ? '' : 's'}`;
const formatSize = (n) => (n < 1024 ? `${n} B`
  : n < 2 ** 20 ? `${(n / 1024).toFixed(1)} KiB` : `${(n / 2 ** 20).toFixed(1)} MiB`);

const isHex = (text) => /^\s*0x[0-9a-f]+\s*$/i.test(text);
const parseHex = (text) => (/^\s*(0x)?[0-9a-f]+\s*$/i.test(text) ? parseInt(text, 16) : NaN);
const parseNumber = (text) => (isHex(text) ? parseHex(text) : /^\s*\d+\s*$/.test(text) ? Number(text) : NaN);

// Ranges of 32-bit addresses, 0xFIRST-0xLAST, in one way of writing; NaN if there is anything else.
function parseRanges(text) {
  const ranges = text.trim().split(/[\s,;]+/).filter(Boolean).map((range) => range.split('-'));
  const isRange = (ends) => ends.length === 2 && ends.every((end) => isHex(end) && parseHex(end) < 2 ** 32) &&
    parseHex(ends[0]) <= parseHex(ends[1]);
  return ranges.every(isRange) ? ranges.map((ends) => ends.map(parseHex).map(formatAddress).join('-')).join(' ') : NaN;
}
