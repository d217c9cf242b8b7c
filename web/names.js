// What files are called: on the page, when they are saved, and on a command line.

const EXTENSIONS = /\.(hex|mot|srec|s19|s37|s|bin)$/i;
const INVISIBLE = /[\p{Cc}\p{Cf}\p{Cs}\p{Zl}\p{Zp}]/gu; // among them the characters that turn the direction of a text

const isRawBinary = ({ name }) => /\.bin$/i.test(name);
const withoutExtension = (path) => path.replace(/([^/])\.[^./]*$/, '$1');
const lastOf = (path) => path.slice(path.lastIndexOf('/') + 1);
const asShown = (path) => path.replace(INVISIBLE, '\ufffd');

// A path that every system can unpack: Windows takes fewer characters than others, no dot or blank at the end of a
// name, and some names for devices, whatever their extension.
const asSavable = (path) => path.split('/').map((name) => name.replace(INVISIBLE, '_').replace(/[<>:"\\|?*]/g, '_')
  .replace(/[. ]+$/, '_').replace(/^(con|prn|aux|nul|com\d|lpt\d)(?=$|[. ])/i, '$1_')).join('/');

// Gives each job the path of its output in a zip file, which is never that of an input, and the name under which it is
// saved alone, with the folder where another job's output has the same name.
function nameOutputs(jobs) {
  const taken = new Set(jobs.map(({ path }) => path.toLowerCase()));
  const count = {};
  for (const job of jobs) {
    const wanted = asSavable(withoutExtension(job.path) || 'output');
    job.outputPath = `${wanted}.srec`;
    for (let i = 2; taken.has(job.outputPath.toLowerCase()); ++i) {
      job.outputPath = `${wanted}-${i}.srec`;
    }
    taken.add(job.outputPath.toLowerCase());
    const name = lastOf(job.outputPath).toLowerCase();
    count[name] = (count[name] ?? 0) + 1;
  }
  for (const job of jobs) {
    const name = lastOf(job.outputPath);
    job.saveName = count[name.toLowerCase()] > 1 ? job.outputPath.replace(/\//g, '_') : name;
  }
}

const quote = (text) => (/^[\w./+,-]+$/.test(text) ? text : `'${text.replace(/'/g, "'\\''")}'`);
const asPath = (path) => quote(/^[-~]/.test(path) ? `./${path}` : path);

// The command line that makes a job's output beside its input, '' if the input's name cannot be shown. A run takes two
// options at most; more take a second run, which lays out what the first one wrote.
function commandOf({ path, outputPath, result: { settings } }) {
  const folder = path.slice(0, -lastOf(path).length).replace(/\/$/, '');
  const input = lastOf(path);
  const name = lastOf(withoutExtension(outputPath));
  const run = (file, ...options) => ['Blockfit', ...options.flat(), asPath(file)].join(' ');
  const within = settings.Within.split(' ').filter(Boolean).map((range) => `--within ${range}`);
  const base = isRawBinary({ name: path }) ? [`-BaseAddr ${formatHex(settings.BaseAddr)}`] : [];
  const layout = ['BlockAlign', 'LineAlign'].filter((option) => settings[option] !== FIELDS[option].initial)
    .map((option) => `-${option} ${formatHex(settings[option])}`);
  const out = name === withoutExtension(input) ? [] : [`-o ${asPath(name)}`];
  const options = [...within, ...base].join(' ').replace('-BaseAddr', '--base');
  const check = within.length ? `blockfit-check ${options} ${asPath(input)} &&\n` : '';
  const runs = base.length + layout.length + out.length <= 2 ? run(input, base, layout, out)
    : `${run(input, base, `-o ${quote(`based/${name}`)}`)} &&\n${run(`based/${name}.srec`, layout)}`;
  return path.search(INVISIBLE) >= 0 ? '' : folder ? `(cd ${asPath(folder)} && ${check}${runs})` : check + runs;
}
