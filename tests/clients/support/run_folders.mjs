// A folder of its own for each run; whatever works in it ends with the run, and with this program.

import { mkdtempSync, readdirSync, readlinkSync, realpathSync, rmSync } from 'node:fs';
import { join } from 'node:path';

const kStopSignals = ['SIGINT', 'SIGTERM', 'SIGHUP'];

const runFolders = new Set();

export function makeRunFolder() {
  const folder = realpathSync(mkdtempSync('/tmp/orvane-'));
  runFolders.add(folder);
  return folder;
}

export function removeRunFolder(folder) {
  endProcessesIn(folder);
  rmSync(folder, { recursive: true, force: true, maxRetries: 5 });
  runFolders.delete(folder);
}

/// Removes what is there when a signal ends this program.
export function removeRunFoldersOnSignals() {
  for (const signal of kStopSignals) {
    process.on(signal, () => {
      runFolders.forEach(removeRunFolder);
      process.exit(1);
    });
  }
}

/// The processes that work in `folder` or below it, told by their working directory, which children inherit.
export function processesIn(folder) {
  return readdirSync('/proc')
    .filter((name) => /^\d+$/.test(name))
    .filter((pid) => {
      try {
        const place = readlinkSync(join('/proc', pid, 'cwd'));
        return place === folder || place.startsWith(`${folder}/`);
      } catch {
        return false; // It has ended meanwhile.
      }
    })
    .map(Number);
}

/// Ends every process that still works in `folder`; returns how many there were.
export function endProcessesIn(folder) {
  const left = processesIn(folder);
  for (const pid of left) {
    try {
      process.kill(pid, 'SIGKILL');
    } catch {
      // It has ended meanwhile.
    }
  }
  return left.length;
}
