// What is saved, and what is said of it.

const MAX_ZIP_BYTES = 2 ** 32 - 2 ** 24;
const MAX_NAMES = 6;

let wantsZip = false; // when nothing is running any more
let isZipping = false;

// Whether an output is as long as the one that was checked.
const isWhole = ({ output, numChars }) => output.size === numChars;

function download(blob, name) {
  const url = URL.createObjectURL(blob);
  Object.assign(document.createElement('a'), { href: url, download: name }).click();
  setTimeout(() => URL.revokeObjectURL(url), 60000);
}

// Saves a job's output, by a name that says so if it is out of date.
function save(job) {
  const { result, saveName } = job;
  if (!isWhole(result)) {
    say(`${job.path} was not saved: its output was damaged after the checks. Convert it again.`);
  } else {
    download(result.output, isGood(job) ? saveName : saveName.replace(/\.srec$/, '-out-of-date.srec'));
  }
}

// Saves a job's output, now or when it has been made.
function pressSave(job) {
  enterFields();
  if (isGood(job)) {
    save(job);
  } else {
    job.wantsSave = !job.wantsSave;
  }
}

function pressSaveAll() {
  enterFields();
  wantsZip = jobs.some(isBusy) ? !wantsZip : true;
  saveIfReady();
}

// After a job has ended: does what was asked for.
function afterRun(job) {
  if (job.wantsSave) {
    job.wantsSave = false;
    if (isGood(job)) {
      save(job);
    } else {
      say(`${job.path} was not saved: ${verdictOf(job)}.`);
    }
  }
  saveIfReady();
}

async function saveIfReady() {
  if (!wantsZip || isZipping || jobs.some(isBusy)) {
    return;
  }
  isZipping = true;
  wantsZip = false;
  const saved = jobs.filter(isGood).map((job) => ({ ...job })); // as they are now
  const left = jobs.filter((job) => !isGood(job)).map((job) => `${job.path} (${verdictOf(job).toLowerCase()})`);
  const more = left.length > MAX_NAMES ? ` and ${left.length - MAX_NAMES} more` : '';
  try {
    if (saved.length) {
      download(await makeZip(saved), 'blockfit.zip');
    }
    say(`${saved.length ? `blockfit.zip has ${formatCount(saved.length, 'file')}` : 'There is nothing to save'}.` +
      (left.length ? ` Left out: ${left.slice(0, MAX_NAMES).join(', ')}${more}.` : ''));
  } catch (error) {
    say(`The zip file could not be made: ${error instanceof Damage ? error.message
      : 'together, the outputs are too large for it or for this browser’s memory. Save them one by one.'}`);
  }
  isZipping = false;
  draw();
}

class Damage extends Error {} // its message is for the user

// The outputs pass in pieces, so that the page stays alive.
async function makeZip(saved) {
  if (saved.reduce((sum, { result }) => sum + result.numChars, 0) > MAX_ZIP_BYTES) {
    throw new RangeError();
  }
  const parts = [];
  const zip = new fflate.Zip((error, data) => parts.push(data));
  for (const { path, outputPath, result: { output, numChars } } of saved) {
    const entry = new fflate.ZipDeflate(outputPath, { level: 1 });
    zip.add(entry);
    let size = 0;
    const reader = output.stream().getReader();
    for (let piece; !(piece = await reader.read()).done; size += piece.value.length) {
      entry.push(piece.value);
    }
    if (size !== numChars) {
      throw new Damage(`the output of ${path} was damaged after the checks. Convert it again.`);
    }
    entry.push(new Uint8Array(0), true);
  }
  zip.end();
  return new Blob(parts, { type: 'application/zip' });
}
