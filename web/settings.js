// The settings: fields of a form, which are also kept in the page's address under the names of the command line.

const { Component, h, render } = preact; // for all scripts: they share one scope

const MAX_ALIGN = 2 ** 32 - 2;

const checkAlign = (n, min, wanted) => (n > MAX_ALIGN ? `${formatDecimal(MAX_ALIGN)} or less` : n < min || n % 2 ? wanted : '');

// check(n) returns what a number would have to be, or ''.
const FIELDS = {
  BlockAlign: {
    label: 'Block size', unit: 'characters', initial: 8192, check: (n) => checkAlign(n, 34, '34 or more, and even'),
    presets: [[512, 'a drive that takes single sectors'], [1024, 'two sectors at a time'], [4096, 'eight sectors at a time'],
      [8192, 'sixteen: the default']],
    hint: 'The block size has to divide what the drive takes at a time. Unsure? 512 suits most, and makes a file only ' +
      '2 to 5 % longer than 8192. Blocks of less than 80 are too short for some lines.',
  },
  LineAlign: {
    label: 'Line alignment', unit: 'bytes', initial: 8, check: (n) => checkAlign(n, 0, 'an even number'),
    presets: [[0], [2], [4], [8], [16], [32]],
    hint: 'What the flash writes at once: a record is cut only after a multiple of it. 0: never cut.',
  },
  BaseAddr: {
    label: 'Load address of all .bin files, hexadecimal', isAddress: true, initial: NaN, presets: [],
    check: (n) => (n >= 2 ** 32 ? 'FFFFFFFF or less' : ''), placeholder: '0x08000000',
    hint: 'A raw binary file does not say where in memory it belongs.',
  },
};

const typed = {}; // the texts in the fields
const entered = {}; // the numbers that are in force: those of the texts when they were last entered; NaN for a wrong one

// What a text says in a field, and what is wrong with it.
function readField(name, text) {
  const { isAddress, check } = FIELDS[name];
  const value = (isAddress ? parseHex : parseNumber)(text);
  const problem = !Number.isNaN(value) ? check(value) : isAddress && text.trim() === '' ? ''
    : isAddress ? 'hexadecimal digits' : 'digits, or 0x and hexadecimal digits';
  return { value: problem ? NaN : value, problem };
}

function setField(name, value) {
  typed[name] = Number.isNaN(value) ? '' : FIELDS[name].isAddress ? formatAddress(value) : String(value);
  entered[name] = value;
}

// Puts what has been typed in force, and converts what that changes.
function enterFields() {
  const before = { ...entered };
  Object.keys(FIELDS).forEach((name) => { entered[name] = readField(name, typed[name]).value; });
  if (!isSame(entered, before)) {
    const kept = Object.entries(entered).filter(([, value]) => !Number.isNaN(value))
      .map(([name, value]) => [name, FIELDS[name].isAddress ? formatAddress(value) : value]);
    location.replace(`#${new URLSearchParams(kept)}`);
    convertOutdated();
  }
}

// Takes the settings from the page's address, and says which of them are unknown or wrong.
function readAddress() {
  const kept = new URLSearchParams(location.hash.slice(1));
  const problems = [];
  for (const name of Object.keys(FIELDS)) {
    const { value, problem } = readField(name, kept.get(name) ?? '');
    if (!kept.has(name) || problem) {
      problems.push(...(kept.has(name) ? [`${name}=${kept.get(name)} is wrong: ${problem}`] : []));
    } else if (!Object.is(value, entered[name])) {
      setField(name, value);
    }
    kept.delete(name);
  }
  problems.push(...[...kept.keys()].map((name) => `${name} is unknown`));
  if (problems.length) {
    say(`In the page’s address, ${problems.join('; ')}.`);
  }
}

function Field({ name, children }) {
  const { label, unit = '', isAddress, presets, hint, placeholder } = FIELDS[name];
  const text = typed[name];
  const { value, problem } = readField(name, text);
  const read = (isAddress ? parseHex : parseNumber)(text);
  const reading = isAddress || isHex(text) ? formatDecimal(read) : formatHex(read);
  const choose = (n) => { typed[name] = String(n); enterFields(); draw(); };
  return h('div', { class: 'field' },
    h('label', { for: name }, label, h('code', {}, `-${name}`)),
    h('div', { class: 'line' },
      h('input', {
        id: name, type: 'text', value: text, placeholder, autocomplete: 'off', spellcheck: false,
        'aria-invalid': problem !== '', 'aria-describedby': `${name}-reading ${name}-problem ${name}-hint`,
        onInput: ({ target }) => { typed[name] = target.value; draw(); },
        onChange: () => { enterFields(); draw(); },
      }),
      children,
      h('span', { class: 'reading', id: `${name}-reading` }, unit, Number.isNaN(read) ? '' : ` = ${reading}`)),
    h('p', { class: 'problem', id: `${name}-problem` }, problem),
    presets.length > 0 && h('div', { class: `presets ${presets[0].length > 1 ? 'told' : ''}` }, presets.map(([n, what]) =>
      h('button', { type: 'button', 'aria-pressed': n === value, onClick: () => choose(n) }, h('b', {}, n), what))),
    h('p', { class: 'hint', id: `${name}-hint` }, hint));
}

function Layout() {
  return h('form', { onSubmit: (event) => { event.preventDefault(); enterFields(); draw(); } },
    h(Field, { name: 'BlockAlign' }), h(Field, { name: 'LineAlign' }));
}
