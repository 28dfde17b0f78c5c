"""Includes go down, never up, and no two files include each other in a circle.

  include_floors.py ROOT

Holds every file of src/, include/, tools/ and examples/ against the tables below. docs/architecture.md tells what each
folder is for.
"""
import os
import re
import sys

# Each folder's floor. frame/ has two ends: the configuration that everybody reads is on the ground floor, the start-up that
# calls everybody near the roof; the error texts lean on nothing.
FLOORS = {
    "platform/os": 0, "platform/spool": 0, "platform/log": 0, "platform/mq": 0,
    "platform/store": 0, "platform/btrieve": 0, "platform/tessera": 0,
    "frame/config": 1, "frame/errors": 1, "lineio": 1, "util": 1,
    "dates": 2, "rfc822": 2, "charset": 2, "macfile": 2,
    "mime": 3, "queue": 3, "db": 3,
    "frame/startup": 4, "notify": 4,
}

# Which folder may include headers of which other folders.
ALLOWED = {
    "platform/os": [],
    "platform/store": ["platform/os"],
    "platform/spool": ["platform/os", "platform/store"],
    "platform/btrieve": ["platform/os", "platform/spool", "platform/store"],
    "platform/tessera": ["platform/os", "platform/spool", "platform/store"],
    "platform/log": ["platform/os", "platform/spool"],
    "platform/mq": ["platform/log", "platform/os", "platform/spool", "platform/store"],
    "frame/config": ["platform/log", "platform/os", "platform/spool"],
    "frame/errors": ["frame/config"],
    "lineio": ["frame/config", "platform/os"],
    "util": ["frame/config", "lineio", "platform/os", "platform/spool"],
    "dates": ["frame/config", "platform/os"],
    "rfc822": ["dates", "frame/config", "lineio", "platform/os", "util"],
    "charset": ["frame/config", "lineio", "platform/os", "rfc822", "util"],
    "macfile": ["frame/config", "lineio", "platform/os", "util"],
    "mime": ["charset", "frame/config", "lineio", "macfile", "platform/os", "platform/spool", "rfc822",
             "util"],
    "queue": ["dates", "frame/config", "frame/errors", "lineio", "platform/btrieve", "platform/mq", "platform/os", "platform/spool",
              "platform/store", "rfc822", "util"],
    "db": ["frame/config", "platform/os", "platform/spool", "platform/store", "platform/tessera"],
    "notify": ["charset", "db", "frame/config", "lineio", "mime", "platform/mq", "platform/os", "platform/spool", "queue", "rfc822",
               "util"],
    "frame/startup": ["frame/config", "lineio", "platform/log", "platform/mq", "platform/os", "platform/spool", "platform/tessera",
                      "rfc822"],
}

# The files of frame/ that are not of its configuration end.
FRAME_FILES = {"startup.cc": "frame/startup", "errors.cc": "frame/errors"}

# Which folder stands behind a public header.
BEHIND = {
    "qob3xapi/frame.h": "frame/config", "qob3xapi/errors.h": "frame/errors", "qob3xapi/lineio.h": "lineio",
    "qob3xapi/util.h": "util", "qob3xapi/address.h": "rfc822", "qob3xapi/header822.h": "rfc822",
    "qob3xapi/mimeparse.h": "mime", "qob3xapi/mimebody.h": "mime", "qob3xapi/mimebuild.h": "mime", "qob3xapi/rfc1522.h": "charset", "qob3xapi/japanese.h": "charset",
    "qob3xapi/dates.h": "dates", "qob3xapi/macfile.h": "macfile", "qobplatform/logapi.h": "platform/log",
    "qobplatform/mqapi.h": "platform/mq", "qobplatform/btrcall.h": "platform/btrieve", "qobplatform/tessera.h": "platform/tessera",
    "qob3xapi/queueid.h": "queue",
    "qob3xapi/envelope.h": "queue", "qob3xapi/submit.h": "queue", "qob3xapi/magic.h": "db", "qob3xapi/peer.h": "db",
    "qob3xapi/bounce.h": "notify", "qob3xapi/dsn.h": "notify", "qob3xapi/generate.h": "notify",
    # The record's layout is what all who stand on a queue directory agree upon.
    "qob3xapi/mesgdb.h": "platform/spool",
}

STANDARD = set("""
algorithm any array atomic barrier bit bitset charconv chrono codecvt compare complex concepts condition_variable coroutine
deque exception execution filesystem format forward_list fstream functional future initializer_list iomanip ios iosfwd iostream
istream iterator latch limits list locale map memory memory_resource mutex new numbers numeric optional ostream queue random
ranges ratio regex scoped_allocator semaphore set shared_mutex source_location span sstream stack stdexcept stop_token
streambuf string string_view strstream syncstream system_error thread tuple type_traits typeindex typeinfo unordered_map
unordered_set utility valarray variant vector version
cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib
cstring ctime cuchar cwchar cwctype
assert.h ctype.h errno.h inttypes.h limits.h stdbool.h stddef.h stdint.h stdio.h stdlib.h string.h time.h
emmintrin.h immintrin.h nmmintrin.h smmintrin.h tmmintrin.h wmmintrin.h
""".split())

# The only files of the command line that may ask the system themselves.
TOOL_SYSTEM_FILE = re.compile(r"^tools/qob/system[a-z_]*\.(cc|h)$")
# The example that shows what a program must write durably by itself.
EXAMPLE_ON_POSIX = "examples/delivery_agent.c"
# The queue's commands look at the queue itself: what lies in its directory and in its database.
TOOL_QUEUE_FILE = re.compile(r"^tools/qob/queue/[a-z_]*\.(cc|h)$")
TOOL_QUEUE_FOLDERS = ["platform/store", "platform/spool"]
TOOL_LIBRARIES = re.compile(r"^(CLI/|nlohmann/)")

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(?:<([^>]+)>|"([^"]+)")', re.MULTILINE)
SYSTEM_NAME = re.compile(r"\b(_WIN32|_WIN64|__linux__|__unix__|__APPLE__|__FreeBSD__)\b")


def sources(root, top):
    for folder, _, names in os.walk(os.path.join(root, top)):
        for name in sorted(names):
            if name.endswith((".h", ".cc", ".c")):
                yield os.path.relpath(os.path.join(folder, name), root)


def folder_of(path):
    """platform/os for src/platform/os/posix/file.cc; None outside src/."""
    parts = path.split("/")
    if parts[0] != "src":
        return None
    if parts[1] == "platform":
        return "/".join(parts[1:3])
    if parts[1] == "frame":
        return FRAME_FILES.get(parts[-1], "frame/config")
    return parts[1]


class House:
    def __init__(self, root):
        self.root = root
        self.errors = []
        self.edges = {}
        self.pairs = set()

    def error(self, path, text):
        self.errors.append(f"{path}: {text}")

    def resolve(self, quoted):
        for base in ("src", "include"):
            if os.path.exists(os.path.join(self.root, base, quoted)):
                return f"{base}/{quoted}"
        return None

    def check_file(self, path):
        with open(os.path.join(self.root, path), encoding="ascii", errors="replace") as f:
            text = f.read()
        self.edges[path] = []
        for angled, quoted in INCLUDE.findall(text):
            if angled:
                self.check_angled(path, angled)
            else:
                self.check_quoted(path, quoted)
        if path.startswith("src/") and not path.startswith("src/platform/os/") and SYSTEM_NAME.search(text):
            self.error(path, "asks which system it is built for; only platform/os may")

    def check_angled(self, path, name):
        if name.startswith(("qob3xapi/", "qobplatform/")):
            self.edges[path].append("include/" + name)
            if not os.path.exists(os.path.join(self.root, "include", name)):
                self.error(path, f"<{name}> is no public header")
            elif name in BEHIND and path.startswith("src/"):
                self.check_pair(path, BEHIND[name])
            return
        if name in STANDARD or path.startswith("src/platform/os/") or TOOL_SYSTEM_FILE.match(path):
            return
        if path == EXAMPLE_ON_POSIX:
            return
        if name == "sqlite3.h" and path.startswith("src/platform/store/"):
            return
        if path.startswith("tools/") and TOOL_LIBRARIES.match(name):
            return
        self.error(path, f"<{name}> is a header of the system; only platform/os may include it")

    def check_quoted(self, path, name):
        for base in (os.path.dirname(path), "tools/qob"):
            beside = os.path.normpath(os.path.join(base, name))
            if path.startswith(("tools/", "examples/")) and os.path.exists(os.path.join(self.root, beside)):
                self.edges[path].append(beside)
                return
        target = self.resolve(name)
        if target is None:
            self.error(path, f'"{name}" is not found below src/ or include/')
            return
        self.edges[path].append(target)
        if target.startswith("include/"):
            self.error(path, f'"{name}" is a public header: <{name}>')
            return
        if TOOL_QUEUE_FILE.match(path) and folder_of(target) in TOOL_QUEUE_FOLDERS:
            return
        if not path.startswith("src/"):
            self.error(path, f'"{name}" is the library\'s own; only include/ may be used here')
            return
        if "/posix/" in target and folder_of(path) != "platform/os":
            self.error(path, f"{target} belongs to one system's half of platform/os")
        self.check_pair(path, folder_of(target))

    def check_pair(self, path, there):
        here = folder_of(path)
        if here == there:
            return
        self.pairs.add((here, there))
        if there not in ALLOWED.get(here, []):
            self.error(path, f"{here} may not include headers of {there}")

    def check_tables(self):
        for here, others in ALLOWED.items():
            for there in others:
                if FLOORS[there] > FLOORS[here]:
                    self.error("the tables", f"{here} to {there} goes up")
        if circle(ALLOWED):
            self.error("the tables", "folders in a circle: " + " -> ".join(circle(ALLOWED)))
        for path in self.edges:
            if path.startswith("src/") and folder_of(path) not in FLOORS:
                self.error(path, "its folder stands on no floor")
            if path.startswith("include/qob3xapi/") and path[8:] not in BEHIND and path[8:] != "qob3xapi/qob3xapi.h":
                self.error(path, "no folder is known to stand behind it")

    def check_circles(self):
        found = circle(self.edges)
        if found:
            self.error(found[0], "includes itself: " + " -> ".join(found))


def circle(edges):
    """A path of nodes that leads back to its start, or None."""
    state = {}
    for start in edges:
        stack = [(start, iter(edges[start]))]
        if start in state:
            continue
        state[start] = "open"
        while stack:
            node, rest = stack[-1]
            for target in rest:
                if state.get(target) == "open":
                    names = [n for n, _ in stack]
                    return names[names.index(target):] + [target]
                if target in edges and target not in state:
                    state[target] = "open"
                    stack.append((target, iter(edges[target])))
                    break
            else:
                state[node] = "done"
                stack.pop()
    return None


def self_test():
    assert circle({"a": ["b"], "b": ["c"], "c": ["a"]}) == ["a", "b", "c", "a"]
    assert circle({"a": ["b", "c"], "b": ["c"], "c": []}) is None
    assert circle({"a": ["a"]}) == ["a", "a"]
    house = House("/nonexistent")
    house.edges["src/rfc822/x.cc"] = []
    house.check_pair("src/rfc822/x.cc", "mime")
    house.check_angled("src/rfc822/x.cc", "unistd.h")
    house.check_angled("src/platform/os/posix/x.cc", "unistd.h")
    assert len(house.errors) == 2, house.errors


def main(root):
    self_test()
    house = House(root)
    for top in ("include", "src", "tools", "examples"):
        for path in sources(root, top):
            house.check_file(path)
    house.check_tables()
    house.check_circles()
    for line in house.errors:
        print(line)
    print(f"{len(house.edges)} files, {len(house.pairs)} folder pairs, {len(house.errors)} errors")
    return 1 if house.errors or len(house.edges) < 100 else 0


sys.exit(main(sys.argv[1]))
