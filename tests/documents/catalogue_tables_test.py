#!/usr/bin/env python3
"""catalogue_tables_test.py ROOT

Every table and file that repeats the catalogue of tools agrees with it: has each tool once, under its selector, with its
arguments. The catalogue is taken from the tests' copies of it, which tests of the server hold to the server's own. And
CONTRIBUTING.md names each of these places where it says how a tool is added.
"""

import json
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])
REPLY = "tests/tools/tools_list.json"
SELECTORS = "tests/tools/selectors.tsv"
WORD = re.compile(r"`([a-z_]+)`")


def read(path):
    return (ROOT / path).read_text()


def section(document, heading):
    """The text between a heading and the next one, or the end."""
    found = re.search(rf"^## {re.escape(heading)}\n(.*?)(?=^## |\Z)", read(document), re.MULTILINE | re.DOTALL)
    return found[1] if found else ""


def table_rows(text):
    """The cells of each row of the Markdown tables in a text, without heads and rules."""
    lines = text.splitlines()
    for number, line in enumerate(lines):
        is_head = number + 1 < len(lines) and lines[number + 1].startswith("|--")
        if line.startswith("| ") and not is_head:
            yield [cell.strip() for cell in line.strip("|").split(" | ")]


def tab_rows(path):
    return [line.split("\t") for line in read(path).split("\n") if line and not line.startswith("#")]


TOOLS = json.loads(read(REPLY))["result"]["tools"]
NAMES = [tool["name"] for tool in TOOLS]
ARGUMENTS = {tool["name"]: set(tool["inputSchema"]["properties"]) for tool in TOOLS}

# --- what each place says: pairs of what it is to have, and what it has ---


def selectors():
    rows = tab_rows(SELECTORS)
    yield NAMES, [row[0] for row in rows]
    yield ARGUMENTS, {row[0]: set(row[3].split(",")) - {"-"} for row in rows}


def request_lines():
    yield set(NAMES), {row[0] for row in tab_rows("tests/app/requests.tsv")}


def development_host_selectors():
    found = re.findall(r'^ *\{"(\w[\w:]*)",', read("devhost/requests/selectors.cpp"), re.MULTILINE)
    yield sorted(row[1] for row in tab_rows(SELECTORS)), sorted(found)


def examples():
    yield sorted(NAMES), sorted(row["tool"] for row in json.loads(read("tests/documents/tool_examples.json")))


def calls_of_clients():
    yield sorted(NAMES), sorted(re.findall(r"\{ tool: '(\w+)'", read("tests/clients/support/every_tool.mjs")))


def tools_page():
    yield NAMES, re.findall(r"^## (\w+)$", read("docs/tools.md"), re.MULTILINE)


def host_protocol():
    rows = list(table_rows(section("docs/host_protocol.md", "Selectors")))
    wanted = [(row[1], "" if row[3] == "-" else row[3].replace(",", ", ")) for row in tab_rows(SELECTORS)]
    yield wanted, [(row[0].strip("`"), row[1]) for row in rows]


def kinds(text):
    """Kind to tools, of a table whose rows are kinds."""
    return {row[0]: WORD.findall(row[1]) for row in table_rows(text) if row[0] in ("read", "move", "write")}


def security():
    text = section("docs/security.md", "What a call can change")
    by_kind = kinds(text)
    yield sorted(NAMES), sorted(sum(by_kind.values(), []))
    asked = re.findall(r"mcp__orvane__(\w+)", text.partition('"ask"')[2])
    yield by_kind.get("move", []) + by_kind.get("write", []), asked


def readme():
    yield kinds(section("docs/security.md", "What a call can change")), kinds(section("README.md", "What it can do"))


def development_host():
    answers = read("docs/development_host.md").partition("| Tool | Answer |\n")[2].partition("\n\n")[0]
    yield sorted(NAMES), sorted(name for row in table_rows(answers) for name in WORD.findall(row[0]))


def demo():
    found = re.search(r"kToolCount = (\d+);", read("devhost/demo/conversation.cpp"))
    yield str(len(NAMES)), found and found[1]


# The catalogue itself, what the functions above read, and what the two documents are made from.
PLACES = {
    "src/tools/catalogue.cpp": None,
    REPLY: None,
    SELECTORS: selectors,
    "tests/app/requests.tsv": request_lines,
    "devhost/requests/selectors.cpp": development_host_selectors,
    "devhost/demo/conversation.cpp": demo,
    "tests/documents/tool_examples.json": examples,
    "tests/clients/support/every_tool.mjs": calls_of_clients,
    "docs/tools.md": tools_page,
    "docs/host_protocol.md": host_protocol,
    "docs/security.md": security,
    "docs/development_host.md": development_host,
    "README.md": readme,
}


def differences(wanted, found):
    if isinstance(wanted, (list, set)) and isinstance(found, (list, set)):
        lacking = [str(one) for one in wanted if one not in found]
        surplus = [str(one) for one in found if one not in wanted]
        if lacking or surplus:
            return f"lacks {', '.join(lacking) or 'nothing'}; has too much {', '.join(surplus) or 'nothing'}"
        return f"has another order, or one twice: {found}"
    return f"has {found} instead of {wanted}"


def faults():
    for path, statements in PLACES.items():
        for wanted, found in statements() if statements else ():
            if wanted != found:
                yield f"{path} {differences(wanted, found)}"
    guide = section("CONTRIBUTING.md", "Adding a tool")
    for path in PLACES:
        if path not in guide:
            yield f"CONTRIBUTING.md, Adding a tool, does not name {path}"
    texts = [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md"), *ROOT.glob("packaging/man/*.in"),
             *ROOT.glob("tests/clients/**/*.mjs"), ROOT / "src/tools/catalogue.h"]
    for path in texts:
        if "node_modules" in path.parts:
            continue
        for count in re.findall(r"\b(\d+) tools\b", path.read_text()):
            if int(count) != len(NAMES):
                yield f"{path.relative_to(ROOT)} speaks of {count} tools, not {len(NAMES)}"


def main():
    found = list(faults())
    print("\n".join(found) if found else f"{len(PLACES)} places agree about {len(NAMES)} tools.")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
