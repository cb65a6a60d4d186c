// Which processes belong to a run.

import { readdirSync, readlinkSync } from 'node:fs';
import { join } from 'node:path';

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
