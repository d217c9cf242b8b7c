// Elements of the page; numbers as text, and as a field of a form.

const formatDecimal = (n) => n.toLocaleString('en-US');
const formatHex = (n, numDigits = 1) => `0x${n.toString(16).toUpperCase().padStart(numDigits, '0')}`;
const formatAddress = (n) => formatHex(n, 8);
const formatCount = (n, what) => `${formatDecimal(n)} ${what}${n === 1 ? '' : 's'}`;

const isHex = (text) => /^\s*0x[0-9a-f]+\s*$/i.test(text);
const parseHex = (text) => (/^\s*(0x)?[0-9a-f]+\s*$/i.test(text) ? parseInt(text, 16) : NaN);
const parseNumber = (text) => (isHex(text) ? parseHex(text) : /^\s*\d+\s*$/.test(text) ? Number(text) : NaN);

const byId = (id) => document.getElementById(id);

// Makes an element with properties (those that are none become attributes) and children, elements or texts.
function make(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name in element) {
      element[name] = value;
    } else {
      element.setAttribute(name, value);
    }
  }
  element.append(...children.filter((child) => child !== null));
  return element;
}

function makeButton(text, onclick, properties = {}) {
  return make('button', { type: 'button', onclick, ...properties }, text);
}

let numFields = 0;

// A number in a box, with its other reading beside it: decimal or, with 0x, hexadecimal; only hexadecimal if isAddress.
// check(n) returns what a number would have to be, or ''. onChange() is called when another one has been entered,
// onEnter(), if there is one, for the Enter key. Returns { element, input, getValue, set }; getValue() is what has been
// entered, NaN if that is not valid.
function makeNumberField({ label, hint, value, presets = [], isAddress = false, check, onChange, onEnter }) {
  const id = `number-${++numFields}`;
  const input = make('input', {
    type: 'text', id, autocomplete: 'off', spellcheck: false, 'aria-describedby': `${id}-reading ${id}-problem ${id}-hint`,
  });
  const reading = make('span', { className: 'reading', id: `${id}-reading` });
  const problem = make('p', { className: 'problem', id: `${id}-problem` });
  const buttons = presets.map((preset) => makeButton(String(preset), () => { set(preset); onChange(); }));
  const element = make('div', { className: 'number' },
    make('label', { htmlFor: id }, ...label),
    make('div', { className: 'pair' }, input, reading), problem,
    ...(presets.length ? [make('div', { className: 'presets' }, ...buttons)] : []),
    make('p', { className: 'hint', id: `${id}-hint` }, hint));

  let entered;
  function look() {
    const n = (isAddress ? parseHex : parseNumber)(input.value);
    const wanted = !Number.isNaN(n) ? check(n) : isAddress ? 'hexadecimal digits' : 'digits, or 0x and hexadecimal digits';
    const isDecimal = isAddress || isHex(input.value);
    reading.textContent = Number.isNaN(n) ? '' : `= ${isDecimal ? formatDecimal(n) : formatHex(n)}`;
    problem.textContent = wanted;
    input.setAttribute('aria-invalid', String(wanted !== ''));
    buttons.forEach((button, i) => button.setAttribute('aria-pressed', String(presets[i] === n)));
    return wanted ? NaN : n;
  }
  function enter() {
    const before = entered;
    entered = look();
    if (!Object.is(entered, before)) {
      onChange();
    }
  }
  function set(n) {
    input.value = isAddress ? formatHex(n) : String(n);
    entered = look();
  }
  input.oninput = look;
  input.onchange = enter;
  input.onkeydown = (event) => {
    if (event.key === 'Enter') {
      enter();
      onEnter?.();
    }
  };
  set(value);
  return { element, input, getValue: () => entered, set };
}
