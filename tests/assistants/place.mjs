// What an assistant is started in: a home folder in which there is nothing, and an environment of its own.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { copyFileSync, mkdirSync, writeFileSync } from 'node:fs';
import { basename, dirname, join } from 'node:path';
import { stripVTControlCharacters } from 'node:util';
import { makeRunFolder, removeRunFolder } from '../clients/support/run_folders.mjs';

const kCommandLimitMs = 120000;
const kModules = join(import.meta.dirname, 'node_modules');

export class Place {
  folder = makeRunFolder();
  home = this.#makeFolder('home');
  temporary = this.#makeFolder('tmp');
  project = this.#makeFolder('project');
  #programs = this.#makeFolder('bin');

  /// With the companion and the server in one folder, as they are installed.
  constructor({ server, companion }) {
    for (const program of [server, companion]) copyFileSync(program, join(this.#programs, basename(program)));
    this.companion = join(this.#programs, basename(companion));
  }

  remove() {
    removeRunFolder(this.folder);
  }

  /// Runs a command to its end: `{status, output}`, the output without colours.
  async run([program, ...args], environment = {}) {
    const child = spawn(program, args, {
      cwd: this.project,
      env: { ...this.#environment(), ...environment },
      stdio: ['ignore', 'pipe', 'pipe'],
      timeout: kCommandLimitMs,
      killSignal: 'SIGKILL',
    });
    let output = '';
    for (const stream of [child.stdout, child.stderr]) {
      stream.setEncoding('utf8').on('data', (text) => (output += text));
    }
    const [status] = await once(child, 'close');
    return { status, output: stripVTControlCharacters(output) };
  }

  /// Runs the assistant of `row`, a row of assistants.json; `words` are values for more of the words that begin with $.
  runAssistant(row, { arguments: args, environment = {} }, words = {}) {
    const fill = (value) => this.#filled(value, words);
    this.#writeFiles(fill(row.files ?? {}));
    return this.run(fill([...row.command, ...args]), fill({ ...row.environment, ...environment }));
  }

  /// Writes the files with which the assistant of `row` trusts the project's folder.
  trustProject(row) {
    this.#writeFiles(this.#filled(row.trust));
  }

  #writeFiles(files) {
    for (const [path, content] of Object.entries(files)) {
      mkdirSync(dirname(path), { recursive: true });
      writeFileSync(path, typeof content === 'string' ? content : JSON.stringify(content));
    }
  }

  #makeFolder(name) {
    const path = join(this.folder, name);
    mkdirSync(path);
    return path;
  }

  /// Nothing from outside: it could have keys and switches of the assistants.
  #environment() {
    return {
      HOME: this.home,
      LANG: 'C.UTF-8',
      NO_COLOR: '1',
      PATH: '/usr/bin:/bin',
      TMPDIR: this.temporary,
      XDG_CACHE_HOME: join(this.home, '.cache'),
      XDG_CONFIG_HOME: join(this.home, '.config'),
      XDG_DATA_HOME: join(this.home, '.local/share'),
      XDG_STATE_HOME: join(this.home, '.local/state'),
    };
  }

  #filled(value, words = {}) {
    const all = {
      $FOLDER: this.folder,
      $HOME: this.home,
      $MODULES: kModules,
      $NODE: process.execPath,
      $PROJECT: this.project,
      ...words,
    };
    const text = Object.entries(all).reduce((filled, [word, to]) => filled.replaceAll(word, to), JSON.stringify(value));
    return JSON.parse(text);
  }
}
