// The jobs: one for each file, in the order in which they came. A worker does them, one after the other.

const SMALL_FILE_BYTES = 2 ** 20; // its worker is kept for the next one; that of a larger file holds memory
const SILENCE_MS = 30000; // a worker that lives reports at least every few seconds

// What is said of a job in each state, how it looks, and the filter that shows it.
const STATES = {
  proved: { verdict: 'Proved', look: 'good', filter: 'Proved' },
  warned: { verdict: 'Proved', look: 'warn', filter: 'Warnings' },
  unproved: { verdict: 'Not proved', look: 'bad', filter: 'Refused' },
  refused: { verdict: 'Refused', look: 'bad', filter: 'Refused' },
  unplaced: { verdict: 'No load address', look: 'warn', filter: 'Waiting' },
  queued: { verdict: 'Waiting', look: 'idle', filter: 'Waiting' },
  running: { look: 'run', filter: 'Waiting' }, // its verdict is the step
  stopped: { verdict: 'Stopped', look: 'idle', filter: 'Waiting' },
  outdated: { verdict: 'Out of date', look: 'idle', filter: 'Waiting' },
};

const jobs = [];
let numJobs = 0; // that there have ever been
let runningJob = null;
let worker = null;

const isSame = (a, b) => Boolean(a && b) && Object.keys(a).every((name) => Object.is(a[name], b[name]));

// The settings that a job would be run with; null while one is not valid.
function settingsOf({ file }) {
  const settings = { ...entered, BaseAddr: isRawBinary(file) ? entered.BaseAddr : 0 };
  return Object.values(settings).some(Number.isNaN) ? null : settings;
}

const countWarnings = ({ findings }) => findings.filter(({ level }) => level === 'warning').length;

// The one state of a job: a key of STATES.
function stateOf(job) {
  if (job.phase === 'queued' && isRawBinary(job.file) && Number.isNaN(entered.BaseAddr)) {
    return 'unplaced';
  }
  if (job.phase !== 'converted' && job.phase !== 'refused') {
    return job.phase;
  }
  return !isSame(job.settings, settingsOf(job)) ? 'outdated' : job.phase === 'refused' ? 'refused'
    : !job.result.isProved ? 'unproved' : countWarnings(job.result) ? 'warned' : 'proved';
}

function verdictOf(job) {
  const state = stateOf(job);
  const number = state === 'warned' ? `, ${formatCount(countWarnings(job.result), 'warning')}` : '';
  return state === 'running' ? job.step : `${STATES[state].verdict}${number}`;
}

const isGood = (job) => ['proved', 'warned'].includes(stateOf(job));
const isBusy = (job) => job.phase === 'running' || (job.phase === 'queued' && settingsOf(job) !== null);
const isSilent = (job) => job === runningJob && performance.now() - job.heard > SILENCE_MS;
const findingsOf = ({ phase, refusal, result }) => (phase === 'refused' || !result ? refusal : result.findings);

async function hasSameBytes(a, b) {
  for (let i = 0; i < a.size; i += 2 ** 20) {
    const [left, right] = await Promise.all([a, b].map(async (file) =>
      new Uint8Array(await file.slice(i, i + 2 ** 20).arrayBuffer())));
    if (left.some((byte, at) => byte !== right[at])) {
      return false;
    }
  }
  return a.size === b.size;
}

// Whether a file is an older one, chosen again. A browser does not say where a file is, but gives no byte of one that
// has changed since it was chosen.
async function isChosenAgain(file, old) {
  const canRead = await old.slice(0, 1).arrayBuffer().then(() => true, () => false);
  return !canRead || (old.lastModified === file.lastModified && hasSameBytes(old, file).catch(() => false));
}

// Adds files. One that is chosen again takes its place.
async function addFiles(found) {
  const before = [...jobs];
  const added = [];
  for (const { file, path } of found) {
    let job = null;
    for (const old of before.filter((one) => one.path === path && !added.includes(one))) {
      job ??= await isChosenAgain(file, old.file) ? old : null;
    }
    if (!job) {
      job = { id: ++numJobs, path, step: '', result: null, isOpen: false, wantsSave: false };
      jobs.push(job);
    }
    added.push(Object.assign(job, { file }));
  }
  nameOutputs(jobs);
  jobs.forEach((job) => { job.isOpen ||= jobs.length === 1; });
  convert(added);
}

function remove(removed) {
  removed.forEach(endRunOf);
  jobs.splice(0, Infinity, ...jobs.filter((job) => !removed.includes(job)));
  nameOutputs(jobs);
  runNext();
}

function convert(wanted) {
  wanted.forEach((job) => {
    endRunOf(job);
    Object.assign(job, { phase: 'queued', progress: 0, refusal: [] });
  });
  runNext();
}

// Converts again what was done with other settings.
function convertOutdated() {
  convert(jobs.filter((job) => settingsOf(job) &&
    (job === runningJob ? !isSame(job.settings, settingsOf(job)) : stateOf(job) === 'outdated')));
}

function stopAll() {
  wantsZip = false;
  jobs.filter(isBusy).forEach((job) => {
    endRunOf(job);
    Object.assign(job, { phase: 'stopped', wantsSave: false });
  });
}

function endRunOf(job) {
  if (job === runningJob) {
    endRun(true);
  }
}

function endRun(endsWorker) {
  runningJob = null;
  if (endsWorker) {
    worker.onmessage = worker.onerror = null;
    worker.terminate();
    worker = null;
  }
}

function runNext() {
  const job = runningJob ? undefined : jobs.find((candidate) => candidate.phase === 'queued' && isBusy(candidate));
  if (!job) {
    return;
  }
  runningJob = job;
  Object.assign(job, { phase: 'running', step: 'Starting', settings: settingsOf(job), heard: performance.now() });
  const isNew = !worker;
  worker ??= new Worker(workerUrl);
  worker.onmessage = ({ data }) => take(job, data);
  worker.onerror = () => take(job, { isSpent: true, refused: [{
    level: 'error', places: [],
    text: `The conversion ${job.step === 'Starting' ? 'could not start' : 'ended unexpectedly'} in this browser.` }] });
  worker.postMessage({ program: isNew ? program : null, file: job.file, ...job.settings });
}

// Takes what the worker says of a job: how far it is, or how it ended.
function take(job, { step, progress, converted, refused, isSpent }) {
  job.heard = performance.now();
  if (progress !== undefined) {
    Object.assign(job, { step, progress: Math.max(job.progress, progress) });
    drawSoon();
    return;
  }
  endRun(isSpent || job.file.size > SMALL_FILE_BYTES);
  if (refused) {
    Object.assign(job, { phase: 'refused', refusal: refused });
  } else {
    Object.assign(job, { phase: 'converted', result: { ...converted, file: job.file, settings: job.settings } });
  }
  runNext();
  afterRun(job);
  drawSoon();
  if (!runningJob) {
    announce(jobs.length > 1 ? summarise() : `${job.path}: ${verdictOf(job)}. ${reasonOf(job)}`);
  }
}
