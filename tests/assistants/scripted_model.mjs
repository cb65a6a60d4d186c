// A model on the loopback interface that always makes the same tool calls, in the provider API that the assistant
// speaks (models/*.mjs). Such a module has
//   conversationOf(body)             {tools, outputs} of a request: the tools that are offered, as {name, handle}, and
//                                    the texts of the tools' answers so far; undefined if it is no conversation
//   reply(response, content, path)   writes {text} or {call: {handle, arguments}} as the reply to a request for `path`

import { once } from 'node:events';
import { createServer } from 'node:http';

const kFinalText = 'The script is at its end.';

export class ScriptedModel {
  /// The answers that the calls got, as the assistant has told them to the model.
  outputs = [];
  /// What did not go by the script.
  problems = [];
  #api;
  #calls;
  #server;

  /// Listens; `calls` are `{tool, arguments}`.
  static async listen(apiName, calls) {
    const model = new ScriptedModel();
    model.#api = await import(`./models/${apiName}.mjs`);
    model.#calls = calls;
    model.#server = createServer((request, response) => model.#serve(request, response));
    model.#server.listen(0, '127.0.0.1');
    await once(model.#server, 'listening');
    return model;
  }

  get url() {
    return `http://127.0.0.1:${this.#server.address().port}`;
  }

  close() {
    this.#server.closeAllConnections();
    this.#server.close();
  }

  async #serve(request, response) {
    const chunks = await request.toArray();
    if (request.method !== 'POST') return response.writeHead(404).end();
    const conversation = this.#api.conversationOf(JSON.parse(Buffer.concat(chunks).toString('utf8')));
    if (conversation === undefined) return response.writeHead(404).end();
    return this.#api.reply(response, this.#next(conversation), request.url);
  }

  /// The next call of the script; the last text when it is at its end, and for whoever offers none of our tools: the
  /// assistants also ask for titles and summaries.
  #next({ tools, outputs }) {
    const ours = tools.filter(({ name }) => name.includes('orvane'));
    if (ours.length === 0) return { text: kFinalText };
    this.outputs = outputs;
    if (outputs.length >= this.#calls.length) return { text: kFinalText };
    const { tool, arguments: parameters } = this.#calls[outputs.length];
    const offered = ours.find(({ name }) => name.endsWith(tool));
    if (offered === undefined) {
      this.problems.push(`The assistant offers no ${tool}, only ${ours.map(({ name }) => name).join(', ')}`);
      return { text: kFinalText };
    }
    return { call: { handle: offered.handle, arguments: parameters } };
  }
}
