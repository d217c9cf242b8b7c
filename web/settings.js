// The settings: fields of a form, which are also kept in the page's address under the names of the command line.

const { Component, h, render } = preact; // for all scripts: they share one scope

const MAX_ALIGN = 2 ** 32 - 2;

// A number for a layout: what it would have to be, or ''.
const checkAlign = (n, min, wanted) => (n > MAX_ALIGN ? `${formatDecimal(MAX_ALIGN)} or less`
  : n < min || n % 2 ? wanted : '');
const NUMBER = { parse: parseNumber, format: String, wanted: 'digits, or 0x and hexadecimal digits' };

// parse(text) returns NaN for what is not wanted; check(value) returns what a value would have to be, or ''.
const FIELDS = {
  BlockAlign: {
    ...NUMBER, label: 'Block size', unit: 'characters', initial: 8192,
    check: (n) => checkAlign(n, 34, '34 or more, and even'),
    presets: [[512, 'a drive that takes single sectors'], [1024, 'two sectors at a time'],
      [4096, 'eight sectors at a time'], [8192, 'sixteen: the default']],
    hint: 'The block size has to divide what the drive takes at a time. Unsure? 512 suits most, and makes a file ' +
      'only 2 to 5 % longer than 8192. Blocks of less than 80 are too short for some lines.',
  },
  LineAlign: {
    ...NUMBER, label: 'Line alignment', unit: 'bytes', initial: 8, check: (n) => checkAlign(n, 0, 'an even number'),
    presets: [[0], [2], [4], [8], [16], [32]],
    hint: 'What the flash writes at once: a record is cut only after a multiple of it. 0: never cut.',
  },
  Within: {
    label: 'Memory of the part', option: '--within', initial: '', placeholder: '0x08000000-0x0803FFFF',
    parse: parseRanges, format: String, check: () => '', wanted: 'FIRST-LAST, with 0x before each address',
    hint: 'A file with data outside is refused. Several ranges are separated by blanks; without one, all is accepted.',
  },
  BaseAddr: {
    label: 'Load address of all .bin files, hexadecimal', initial: NaN, placeholder: '0x08000000',
    parse: parseHex, format: formatAddress, check: (n) => (n >= 2 ** 32 ? 'FFFFFFFF or less' : ''),
    wanted: 'hexadecimal digits', hint: 'A raw binary file does not say where in memory it belongs.',
  },
};

const typed = {}; // the texts in the fields
const entered = {}; // the values in force: those of the texts when they were last entered; NaN for a wrong one

// What a text says in a field, and what is wrong with it. Only the load address has no value without a text.
function readField(name, text) {
  const { parse, check, wanted } = FIELDS[name];
  const value = parse(text);
  const problem = !Number.isNaN(value) ? check(value) : name === 'BaseAddr' && text.trim() === '' ? '' : wanted;
  return { value: problem ? NaN : value, problem };
}

function setField(name, value) {
  typed[name] = Number.isNaN(value) ? '' : FIELDS[name].format(value);
  entered[name] = value;
}

// Puts what has been typed in force, and converts what that changes.
function enterFields() {
  const before = { ...entered };
  Object.keys(FIELDS).forEach((name) => { entered[name] = readField(name, typed[name]).value; });
  if (!isSame(entered, before)) {
    const kept = Object.entries(entered).filter(([, value]) => !Number.isNaN(value) && value !== '');
    location.replace(`#${new URLSearchParams(kept.map(([name, value]) => [name, FIELDS[name].format(value)]))}`);
    convertOutdated();
  }
  draw();
}

// Takes the settings from the page's address, and says which of them are unknown or wrong.
function readAddress() {
  const problems = [];
  for (const [name, text] of new URLSearchParams(location.hash.slice(1))) {
    const { value, problem } = FIELDS[name] ? readField(name, text) : {};
    if (!FIELDS[name] || problem) {
      problems.push(problem ? `${name}=${text} is wrong: ${problem}` : `${name} is unknown`);
    } else if (!Object.is(value, entered[name])) {
      setField(name, value);
    }
  }
  if (problems.length) {
    say(`In the page’s address, ${problems.join('; ')}.`);
  }
}

// A number's other way of writing.
function readingOf(name, text) {
  const value = FIELDS[name].parse(text);
  const isDecimal = name === 'BaseAddr' || isHex(text);
  return Number.isNaN(value) || name === 'Within' ? '' : ` = ${isDecimal ? formatDecimal(value) : formatHex(value)}`;
}

function Field({ name, children }) {
  const { label, unit = '', option = `-${name}`, presets = [], hint, placeholder } = FIELDS[name];
  const { value, problem } = readField(name, typed[name]);
  const type = (text) => { typed[name] = text; };
  return h('div', { class: `field ${name}` },
    h('label', { for: name }, label, h('code', {}, option)),
    h('div', { class: 'line' },
      h('input', {
        id: name, type: 'text', value: typed[name], placeholder, autocomplete: 'off', spellcheck: false,
        'aria-invalid': problem !== '', 'aria-describedby': `${name}-reading ${name}-problem ${name}-hint`,
        onInput: ({ target }) => { type(target.value); draw(); }, onChange: enterFields,
      }),
      children,
      h('span', { class: 'reading', id: `${name}-reading` }, unit, readingOf(name, typed[name]))),
    h('p', { class: 'problem', id: `${name}-problem` }, problem),
    presets.length > 0 && h('div', { class: `presets ${presets[0][1] && 'told'}` }, presets.map(([n, what]) =>
      h('button', { type: 'button', 'aria-pressed': n === value, onClick: () => { type(`${n}`); enterFields(); } },
        h('b', {}, n), what))),
    h('p', { class: 'hint', id: `${name}-hint` }, hint));
}

const Form = ({ names, look, children }) => h('form', {
  class: look, onSubmit: (event) => { event.preventDefault(); enterFields(); },
}, names.map((name) => h(Field, { name }, children)));
