// The page: takes files in, draws what became of them, and says what happens.

const DRAW_MS = 100; // between two drawings while a conversion runs

const byId = (id) => document.getElementById(id);
const embedded = (id) => byId(id).textContent;
const program = Uint8Array.from(atob(embedded('program')), (c) => c.charCodeAt(0));
const workerUrl = URL.createObjectURL(new Blob([embedded('loader'), embedded('worker')], { type: 'text/javascript' }));

let drawing = null; // the timer of the next drawing

// Draws everything from the jobs and settings.
function draw() {
  clearTimeout(drawing);
  drawing = null;
  document.body.classList.toggle('empty', !jobs.length);
  byId('in-force').textContent = `${typed.BlockAlign} · ${typed.LineAlign}`;
  render(h(Form, { names: ['BlockAlign', 'LineAlign', 'Within'] }), byId('settings'));
  render(h(Files), byId('files'));
}

function drawSoon() {
  drawing ??= setTimeout(draw, DRAW_MS);
}

// Tells a screen reader.
const announce = (text) => { byId('status').textContent = text; };

// Shows a message at the bottom, where it moves nothing.
function say(text) {
  byId('message-text').textContent = asShown(text);
  byId('message').hidden = !text;
  announce(text);
}

async function takeIn(found) {
  if (matchMedia('(max-width: 60rem)').matches && !jobs.length) {
    byId('layout').open = false;
  }
  await addFiles(found);
  draw();
  if (jobs.some((job) => stateOf(job) === 'unplaced')) {
    byId('BaseAddr').focus({ preventScroll: true });
  }
}

// The files of a folder that the tool reads, in the order of their paths; says how many others there are.
function takeKnown(folder, all) {
  const known = all.filter(({ file }) => EXTENSIONS.test(file.name))
    .sort((a, b) => a.path.localeCompare(b.path, 'en', { numeric: true }));
  if (known.length < all.length) {
    say(`${folder}: ${formatCount(all.length - known.length, 'file')} of other kinds left out.`);
  }
  return known;
}

const asPromise = (start) => new Promise((resolve, reject) => { start(resolve, reject); });

// The files at an entry that was dropped, which is one or a folder.
async function filesAt(entry) {
  if (!entry.isDirectory) {
    return [{ file: await asPromise((...then) => entry.file(...then)), path: entry.fullPath.slice(1) }];
  }
  const found = [];
  const reader = entry.createReader();
  for (let some; (some = await asPromise((...then) => reader.readEntries(...then))).length;) {
    found.push(...(await Promise.all(some.map(filesAt))).flat());
  }
  return found;
}

async function takeDropped({ items }) {
  const dropped = [...items].filter(({ kind }) => kind === 'file')
    .map((item) => [item.webkitGetAsEntry?.(), item.getAsFile()]);
  const found = await Promise.all(dropped.map(async ([entry, file]) => {
    if (!entry?.isDirectory) {
      return [{ file, path: file.name }];
    }
    const all = await filesAt(entry).catch(() => null);
    if (!all) {
      say(`This browser does not open the folder ${entry.name} when it is dropped here. Use “Choose a folder”.`);
    }
    return takeKnown(entry.name, all ?? []);
  }));
  takeIn(found.flat());
}

// Intel HEX with a program, a gap and a table.
function makeSample() {
  const lines = [];
  const add = (...bytes) => {
    const all = [...bytes, -bytes.reduce((sum, byte) => sum + byte, 0) & 0xFF];
    lines.push(`:${all.map((byte) => byte.toString(16).padStart(2, '0')).join('').toUpperCase()}`);
  };
  add(2, 0, 0, 4, 0x08, 0);
  for (let addr = 0; addr < 0x4100; addr = addr === 0x3900 ? 0x4000 : addr + 16) {
    const data = Array.from({ length: 16 }, (_, i) => (addr + i) * (addr + 7 * i) >> 3 & 0xFF);
    add(16, addr >> 8, addr & 0xFF, 0, ...data);
  }
  add(0, 0, 0, 1);
  return new File([`${lines.join('\n')}\n`], 'sample.hex');
}

byId('choose').onchange = ({ target }) => {
  takeIn([...target.files].map((file) => ({ file, path: file.name })));
  target.value = '';
};
byId('choose-folder').onchange = ({ target }) => {
  const all = [...target.files].map((file) => ({ file, path: file.webkitRelativePath }));
  takeIn(takeKnown(all[0]?.path.split('/')[0], all));
  target.value = '';
};
byId('try').onclick = () => {
  setField('BlockAlign', 512);
  takeIn([{ file: makeSample(), path: 'sample.hex' }]);
};
byId('close').onclick = () => say('');

for (const type of ['dragenter', 'dragover', 'dragleave', 'drop']) {
  document.addEventListener(type, (event) => {
    event.preventDefault();
    byId('drop').classList.toggle('over', type === 'dragenter' || type === 'dragover');
    if (type === 'drop') {
      takeDropped(event.dataTransfer);
    }
  });
}

onkeydown = ({ key, target }) => {
  if (key === 'Escape' && target.type !== 'text') {
    stopAll();
    draw();
  }
};
onbeforeunload = (event) => { if (jobs.some(isBusy)) { event.preventDefault(); } };
onhashchange = () => {
  readAddress();
  convertOutdated();
  draw();
};

if (self.WebAssembly?.validate(program)) {
  byId('unable').hidden = true;
  document.querySelector('main').hidden = false;
  Object.entries(FIELDS).forEach(([name, { initial }]) => setField(name, initial));
  readAddress();
  draw();
  setInterval(() => { if (runningJob) { drawSoon(); } }, 1000); // says so if it is silent
}
