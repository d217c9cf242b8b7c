// Goes in front of the programs of the node package, into the same scope: corrects where emscripten differs from a
// native program.

const os = require('os');
const path = require('path');

Module.wasmBinary = require('fs').readFileSync(__filename.replace(/js$/, 'wasm'));
Module.thisProgram = path.basename(__filename, '.js');
Module.arguments = process.argv.slice(2);
if (process.platform === 'win32') {
  Module.arguments = Module.arguments.map((argument) => argument.replace(/\\/g, '/'));
}

function homeFolder() {
  try {
    return process.env.HOME ?? os.homedir().replace(/\\/g, '/');
  } catch {
    return undefined;  // this user has none
  }
}

Module.preRun = () => {
  if (typeof ENV !== 'undefined') {  // blockfit-check reads no variables
    ENV.HOME = homeFolder();
  }
};

Module.onRuntimeInitialized = () => {
  // The system finds relative paths, and those with a drive letter; to take '..' out here goes wrong after a link.
  SYSCALLS.calculateAt = (folder, name) => name;

  // Lets a program recognize the file that standard output goes to.
  FS.stat = _wrapNodeError((name) => (typeof name === 'number' ? fs.fstatSync(name) : fs.statSync(name)));
  FS.streams[1].path = 1;

  const open = FS.open;
  FS.open = (name, ...rest) => {
    if (name.split('/').some((part) => part.length > 255)) {
      throw new FS.ErrnoError(ERRNO_CODES.ENAMETOOLONG);  // it would be cut
    }
    const stream = open(name, ...rest);
    stream.seekable = fs.fstatSync(stream.nfd).isFile();  // a pipe is not
    return stream;
  };

  // Instead of closing standard error. A program that fails for lack of memory has at least half of it.
  FS.quit = () => {
    if (EXITSTATUS !== 0 && HEAPU8.length > 0x70000000) {
      fs.writeSync(2, `${Module.thisProgram}: if memory ran out, the file is too large for this build, which has 4 GiB\n`);
    }
  };
};
