// Numbers: as text, and as a field of the form that shows decimal and hexadecimal at once.

const formatDecimal = (n) => n.toLocaleString('en-US');
const formatHex = (n, numDigits = 1) => `0x${n.toString(16).toUpperCase().padStart(numDigits, '0')}`;
const formatAddress = (n) => formatHex(n, 8);
const formatCount = (n, what) => `${formatDecimal(n)} ${what}${n === 1 ? '' : 's'}`;

const parseDecimal = (text) => (/^\s*\d+\s*$/.test(text) ? Number(text) : NaN);
const parseHex = (text) => (/^\s*(0x)?[0-9a-f]+\s*$/i.test(text) ? parseInt(text, 16) : NaN);

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

let numFields = 0;

// A number in two boxes, one decimal and one hexadecimal; what is typed into one appears in the other.
// check(n) returns what is wrong with a number, or ''. onChange() is called when a new number has been entered.
// Returns { element, getValue }; getValue() is NaN while there is something wrong.
function makeNumberField({ legend, hint, value, presets = [], check, onChange }) {
  const id = `number-${++numFields}`;
  const box = (label, inputMode) => {
    const input = make('input', { type: 'text', inputMode, autocomplete: 'off', spellcheck: false });
    input.setAttribute('aria-describedby', `${id}-hint ${id}-problem`);
    return { input, label: make('label', {}, make('span', {}, label), input) };
  };
  const decimal = box('decimal', 'numeric');
  const hexadecimal = box('hexadecimal', 'text');
  const problem = make('p', { className: 'problem', id: `${id}-problem` });
  const buttons = presets.map((preset) => {
    const button = make('button', { type: 'button' }, make('b', {}, String(preset)), make('span', {}, formatHex(preset)));
    button.onclick = () => { set(preset); onChange(); };
    return button;
  });
  const element = make('fieldset', { className: 'number' },
    make('legend', {}, legend),
    make('div', { className: 'pair' }, decimal.label, hexadecimal.label),
    problem,
    ...(presets.length ? [make('div', { className: 'presets' }, ...buttons)] : []),
    make('p', { className: 'hint', id: `${id}-hint` }, hint));

  let current;
  function note(n) {
    const wrong = Number.isNaN(n) ? 'Not a number of this kind.' : check(n);
    current = wrong ? NaN : n;
    problem.textContent = wrong;
    for (const { input } of [decimal, hexadecimal]) {
      input.setAttribute('aria-invalid', String(wrong !== ''));
    }
    buttons.forEach((button, i) => button.setAttribute('aria-pressed', String(presets[i] === n)));
  }
  function set(n) {
    decimal.input.value = String(n);
    hexadecimal.input.value = formatHex(n);
    note(n);
  }
  function follow(from, parse, to, format) {
    from.input.addEventListener('input', () => {
      const n = parse(from.input.value);
      to.input.value = Number.isNaN(n) ? '' : format(n);
      note(n);
    });
    from.input.addEventListener('change', () => {
      if (!Number.isNaN(current)) {
        set(current);
      }
      onChange();
    });
  }
  follow(decimal, parseDecimal, hexadecimal, formatHex);
  follow(hexadecimal, parseHex, decimal, String);
  set(value);
  return { element, getValue: () => current };
}
