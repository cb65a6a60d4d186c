#!/usr/bin/env python3
"""tools_document.py SERVER DEVHOST [--write]

docs/tools.md: the tools as the server lists them, with an example of each. Compares the document with what the
server says, or writes it.
"""

import argparse
import json
import sys

from example_session import DOCS, HERE, example_session, keep_or_write, shown

HEAD = """# The tools

<!-- Made by tests/documents/tools_document.py from what the server answers. Do not edit: ./run documents -->

The {count} tools, in the order of `tools/list`. **The descriptions of tools and arguments are quotations**: they are shown
as the server sends them, misspellings included, because assistants have learnt to read them so.

An assistant receives the list once in each session ({list_bytes:,} bytes as one line), and each answer in full; its size is
given here. Every argument is optional, and one of the wrong type counts as missing. Begin comments and names with a word: a
text that begins with `{{` or `[` and is not JSON arrives as `null` ([why](security.md#what-a-hostile-file-can-hide)).

The examples are calls of one session, in order, with [`orvane-devhost`](development_host.md) and a small program,
[`vault.s`](../tests/documents/vault.s). Orvane itself may word its answers differently. A JSON answer arrives as one line
and is wrapped here.
"""


def section(tool, example, answer):
    lines = [f"\n## {tool['name']}\n", tool["description"] + "\n"]
    properties = tool["inputSchema"]["properties"]
    if properties:
        lines += ["| Argument | Type | Meaning |", "|---|---|---|"]
        lines += [f"| `{name}` | {argument['type']} | {argument['description']} |"
                  for name, argument in properties.items()]
        lines.append("")
    size = len(answer.encode())
    lines += ["```json", json.dumps({"name": tool["name"], "arguments": example}), "```",
              f"Answer, {size:,} bytes:" if size else "Answer: an empty text."]
    if size:
        lines += ["```", shown(answer).rstrip("\n"), "```"]
    return "\n".join(lines) + "\n"


def document(session):
    examples = json.loads((HERE / "tool_examples.json").read_text())
    reply = session.ask("tools/list", {})[1]
    tools = json.loads(reply)["result"]["tools"]
    answers = {example["tool"]: (example.get("arguments", {}), session.call(example["tool"], example.get("arguments", {})))
               for example in examples}
    return HEAD.format(count=len(tools), list_bytes=len(reply.encode())) + "".join(
        section(tool, *answers[tool["name"]]) for tool in tools)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("server")
    parser.add_argument("devhost")
    parser.add_argument("--write", action="store_true", help="write the document")
    arguments = parser.parse_args()
    with example_session(arguments.server, arguments.devhost) as session:
        text = document(session)
    return keep_or_write(DOCS / "tools.md", text, arguments.write)


if __name__ == "__main__":
    sys.exit(main())
