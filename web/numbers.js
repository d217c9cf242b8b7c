// Numbers as text, and text as numbers.

const formatDecimal = (n) => n.toLocaleString('en-US');
const formatHex = (n, numDigits = 1) => `0x${n.toString(16).toUpperCase().padStart(numDigits, '0')}`;
const formatAddress = (n) => formatHex(n, 8);
const formatCount = (n, what) => `${formatDecimal(n)} ${what}${n === 1 ? '' : 's'}`;
const formatSize = (n) => (n < 1024 ? `${n} B` : n < 2 ** 20 ? `${(n / 1024).toFixed(1)} KiB` : `${(n / 2 ** 20).toFixed(1)} MiB`);

const isHex = (text) => /^\s*0x[0-9a-f]+\s*$/i.test(text);
const parseHex = (text) => (/^\s*(0x)?[0-9a-f]+\s*$/i.test(text) ? parseInt(text, 16) : NaN);
const parseNumber = (text) => (isHex(text) ? parseHex(text) : /^\s*\d+\s*$/.test(text) ? Number(text) : NaN);
