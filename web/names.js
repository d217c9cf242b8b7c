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

// The command line that makes a job's output beside its input and proves it, '' if the input's name cannot be shown.
function commandOf({ path, outputPath, result }) {
  const { BaseAddr, BlockAlign, LineAlign, Within } = result.settings;
  const words = [
    'blockfit-convert',
    ...Within.split(' ').map((range) => range && `--within ${range}`),
    countWarnings(result) && '--allow-warnings',
    `--block ${formatHex(BlockAlign)}`,
    LineAlign !== FIELDS.LineAlign.initial && `--line ${formatHex(LineAlign)}`,
    outputPath !== `${withoutExtension(path)}.srec` && `-o ${asPath(outputPath)}`,
    isRawBinary({ name: path }) && `--base ${formatHex(BaseAddr)}`,
    asPath(path),
  ];
  return path.search(INVISIBLE) >= 0 ? '' : words.filter(Boolean).join(' ');
}
