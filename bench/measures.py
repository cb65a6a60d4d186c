"""What is measured of which program: subjects, the lines they are asked, and the measures as tables."""

import dataclasses
import json
import pathlib
import shutil
import subprocess

KIB = 1 << 10
MIB = 1 << 20

# --- the programs ---

SERVER = "OrvaneMCPServer"
C_RELAY = "C relay"
QT_FLOOR = "Qt floor"
SDK = "TypeScript SDK"
COMPANION = "orvane-mcp serve"

PEER_FILES = ["package.json", "package-lock.json", ".npmrc", "same_tools_server.mjs"]


@dataclasses.dataclass
class Subject:
    """A program that is measured; `dialect` is what its lines look like."""
    command: list
    dialect: str


def install_peers(source, target):
    """Installs the peers with npm, unless they are there already. Returns why they are not, or None."""
    if not shutil.which("npm") or not shutil.which("node"):
        return "npm is not installed"
    target.mkdir(parents=True, exist_ok=True)
    lock = target / "node_modules" / ".installed-lock.json"
    wanted = (source / "package-lock.json").read_bytes()
    for name in PEER_FILES:
        shutil.copy(source / name, target / name)
    if lock.exists() and lock.read_bytes() == wanted:
        return None
    done = subprocess.run(["npm", "ci", "--ignore-scripts", "--no-audit", "--no-fund"], cwd=target,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    if done.returncode != 0:
        return "npm could not install the peers: " + done.stdout.strip().splitlines()[-1]
    lock.write_bytes(wanted)
    return None


def find_subjects(build, catalogue_file):
    """The subjects of the build folder `build` by name, and why others are missing: {name: reason}."""
    server = build / "src/app/OrvaneMCPServer"
    subjects = {
        SERVER: Subject([str(server)], "mcp"),
        C_RELAY: Subject([str(build / "bench/c_relay")], "host"),
        QT_FLOOR: Subject([str(build / "bench/qt_floor")], "host"),
    }
    missing = {}
    companion = build / "companion/orvane-mcp"
    if companion.exists():
        subjects[COMPANION] = Subject([str(companion), "serve", "--server", str(server)], "mcp")
    else:
        missing[COMPANION] = "orvane-mcp is not built"
    peers = build / "peers"
    reason = install_peers(pathlib.Path(__file__).parent / "peers", peers)
    if reason:
        missing[SDK] = reason
    else:
        subjects[SDK] = Subject(["node", str(peers / "same_tools_server.mjs"), str(catalogue_file)], "mcp")
    return subjects, missing


# --- what they are asked ---


@dataclasses.dataclass
class Question:
    """A tool call, or the tool list where `tool` is None."""
    tool: str = None
    arguments: dict = dataclasses.field(default_factory=dict)


TOOL_LIST = Question()
SMALL_CALL = Question("current_address")
NAMES = Question("list_procedures")
DESCRIPTIONS = Question("list_procedure_info")
LISTING = Question("procedure_assembly", {"procedure": "main"})
ESCAPED_LINE = Question("set_comment", {"address": "0x401000", "comment": "\u00e9@FILL@"})  # sent as \\u00e9
LONG_LINE = Question("set_comment", {"address": "0x401000", "comment": "@FILL@"})

INITIALIZE = {"protocolVersion": "2025-03-26", "capabilities": {}, "clientInfo": {"name": "bench", "version": "1"}}
INITIALIZED = '{"jsonrpc":"2.0","method":"notifications/initialized"}'


def names_of(members):
    """A call whose reply has that many members: the benchmark's host reads the number from the pattern."""
    return Question("search_procedures", {"pattern": str(members), "case_sensitive": True})


# So many members are a reply of 64 MB.
REPLY_OF_64_MB = 2_100_000


def compact(value):
    return json.dumps(value, separators=(",", ":"))


def mcp_line(method, params, number="@ID@"):
    return compact({"jsonrpc": "2.0", "id": "NUMBER", "method": method, "params": params}).replace('"NUMBER"', number)


def line_for(question, dialect, requests):
    """How `question` is put to a program. Relays are given the very line that the server would send to the host."""
    if dialect == "host":
        request = requests[question.tool]
        return compact({"args": [question.arguments[name] for name in request["argumentNames"]],
                        "request": request["selector"]})
    if question.tool is None:
        return mcp_line("tools/list", {})
    return mcp_line("tools/call", {"name": question.tool, "arguments": question.arguments})


def greeting_options(dialect):
    if dialect == "host":  # the host answers any line
        return ["--greet", compact({"args": [], "request": "initialize"})]
    return ["--greet", mcp_line("initialize", INITIALIZE, "0"), "--tell", INITIALIZED]


# --- the measures ---


@dataclasses.dataclass
class Measure:
    """One figure of several subjects. `options` are the driver's; in a quick run, `quick` replaces some of them, and
    without it the measure is left out."""
    name: str
    kind: str  # the driver's measure
    question: Question
    subjects: list
    options: dict
    quick: dict | None = dataclasses.field(default_factory=dict)
    size: int = 0  # of what grows, in a series
    extra: list = dataclasses.field(default_factory=list)  # more subjects, left out of a quick run


ROUND_TRIPS = [
    Measure("small call", "calls", SMALL_CALL, [SERVER, C_RELAY, QT_FLOOR, SDK, COMPANION],
            {"count": 4000, "warm": 1000}, {"count": 1500, "warm": 500}),
    Measure("tool list", "calls", TOOL_LIST, [SERVER, SDK], {"count": 1000, "warm": 500},
            {"count": 300, "warm": 200}),
    Measure("10,000 calls at once", "burst", SMALL_CALL, [SERVER, C_RELAY, QT_FLOOR],
            {"count": 10000, "warm": 500}, extra=[SDK]),
    Measure("220 KB of assembly", "calls", LISTING, [SERVER, QT_FLOOR], {"count": 100, "warm": 20},
            {"count": 40, "warm": 10}, extra=[SDK]),
    Measure("3 MB of names", "calls", NAMES, [SERVER, QT_FLOOR], {"count": 5, "warm": 2},
            {"count": 3, "warm": 1}, extra=[SDK]),
    Measure("8 MB of infos", "calls", DESCRIPTIONS, [SERVER, QT_FLOOR], {"count": 3, "warm": 1},
            {"count": 1, "warm": 1}, extra=[SDK]),
    Measure("start", "start", None, [SERVER, C_RELAY, QT_FLOOR, SDK], {"count": 5}, {"count": 2}),
    Measure("peak, 220 KB of assembly", "calls", LISTING, [SERVER, QT_FLOOR], {"count": 1}),
    Measure("peak, 3 MB of names", "calls", NAMES, [SERVER, QT_FLOOR], {"count": 1}),
    Measure("peak, 8 MB of infos", "calls", DESCRIPTIONS, [SERVER, QT_FLOOR], {"count": 1}),
    Measure("64 MiB line", "calls", LONG_LINE, [SERVER, QT_FLOOR], {"count": 1, "fill": 64 * MIB}, None),
    Measure("64 MiB line with an escape", "calls", ESCAPED_LINE, [SERVER, COMPANION],
            {"count": 1, "fill": 64 * MIB}, None),
    Measure("after a 64 MB reply", "stays", names_of(REPLY_OF_64_MB), [SERVER], {"count": 1, "warm": 0}, None),
    Measure("after six 64 MB replies", "stays", names_of(REPLY_OF_64_MB), [SERVER], {"count": 6, "warm": 0}, None),
    Measure("idle", "idle", SMALL_CALL, [SERVER], {"count": 100, "seconds": 1}),
]

# Series of growing sizes.
LINE_SIZES = [1 * KIB, 4 * KIB, 16 * KIB, 64 * KIB, 256 * KIB, 1 * MIB, 4 * MIB, 16 * MIB, 64 * MIB]
MEMBER_COUNTS = [1, 10, 100, 1000, 10_000, 100_000, 1_000_000]
MESSAGE_COUNTS = [1, 4, 16, 64, 256, 1024, 4096, 16_384, 25_000, 100_000]

# Small sizes are repeated until they come to about so much together, in full and quick.
REPEATED = {"request line": (16 * MIB, 4 * MIB), "reply members": (400_000, 100_000), "messages at once": (20_000, 4000)}
MOST_REPEATS = 2000

# The largest sizes of a quick run.
QUICK_LIMITS = {"request line": 16 * MIB, "reply members": 100_000, "messages at once": 16_384}


def series_member(series, name, kind, question, repeats, options, size):
    """A measure of `size`; the option `repeats` says how often it is taken."""
    full, quick = [min(MOST_REPEATS, max(1, total // size)) for total in REPEATED[series]]
    in_quick = {repeats: quick} if size <= QUICK_LIMITS[series] else None
    return Measure(name, kind, question, [SERVER], {repeats: full, **options}, in_quick, size)


def growth_series():
    """{series: its measures by growing size}"""
    lines = [series_member("request line", f"request line of {size // KIB:,} KiB", "calls", LONG_LINE, "count",
                           {"warm": 1, "fill": size}, size) for size in LINE_SIZES]
    replies = [series_member("reply members", f"reply of {size:,} members", "calls", names_of(size), "count",
                             {"warm": 1}, size) for size in MEMBER_COUNTS]
    messages = [series_member("messages at once", f"{size:,} messages at once", "burst", SMALL_CALL, "times",
                              {"warm": 500, "count": size}, size) for size in MESSAGE_COUNTS]
    return {"request line": lines, "reply members": replies, "messages at once": messages}
