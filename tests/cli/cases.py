"""Lists and runs the cases of the command line's tests.

  cases.py list              one name and its file on each line, for ctest: CliParse.ReadsAMaildir,parse_test
  cases.py run FILE NAME     runs that case; 0 passed, 1 failed, 77 skipped
"""
import glob
import importlib
import os
import re
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
sys.dont_write_bytecode = True


def camel(name):
    return "".join(word[:1].upper() + word[1:] for word in name.split("_"))


def files():
    return [os.path.basename(path)[:-3] for path in sorted(glob.glob(os.path.join(HERE, "*_test.py")))]


def cases(names):
    """Every (shown name, file, class, method) of these files."""
    for file in names:
        module = importlib.import_module(file)
        for value in vars(module).values():
            if isinstance(value, type) and issubclass(value, unittest.TestCase) and value.__module__ == file:
                for method in unittest.defaultTestLoader.getTestCaseNames(value):
                    name = "%s.%s" % (value.__name__, camel(method[len("test_"):]))
                    assert re.fullmatch(r"[A-Za-z0-9.]+", name), name
                    yield name, file, value, method


def run(file, wanted):
    suite = unittest.TestSuite(cls(method) for name, _, cls, method in cases([file]) if name == wanted)
    if suite.countTestCases() != 1:
        sys.exit("no such case: " + wanted)
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    if result.skipped:
        print("SKIPPED:", result.skipped[0][1])
        sys.exit(77)
    sys.exit(0 if result.wasSuccessful() else 1)


if __name__ == "__main__":
    if sys.argv[1:] == ["list"]:
        rows = list(cases(files()))
        assert len(rows) == len({name for name, _, _, _ in rows}), "two cases of one name"
        print("\n".join("%s,%s" % (name, file) for name, file, _, _ in rows))
    else:
        run(*sys.argv[2:])
