"""Installs into a scratch directory, moves the tree, and builds a consumer in C and one in C++ against it.

  install_tree.py --cmake CMAKE --build DIR --libdir LIB --version VERSION --golden FILE --consumer DIR
                  --config CONFIG --cc CC --cxx CXX [--sanitize LIST] [--coverage]
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile


def run(*command, **more):
    result = subprocess.run(command, capture_output=True, text=True, check=False, **more)
    if result.returncode != 0:
        sys.exit(f"{' '.join(command)}\ngave {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


def tree(root):
    found = []
    for folder, folders, names in os.walk(root):
        for name in names + [f for f in folders if os.path.islink(os.path.join(folder, f))]:
            full = os.path.join(folder, name)
            target = f" -> {os.readlink(full)}" if os.path.islink(full) else ""
            found.append(os.path.relpath(full, root) + target)
    return sorted(found)


def golden(a):
    with open(a.golden, encoding="ascii") as f:
        text = f.read().replace("@LIB@", a.libdir).replace("@VERSION@", a.version)
    text = text.replace("@CONFIG@", a.config.lower() or "noconfig")
    return sorted(line for line in text.splitlines() if line and not line.startswith("#"))


def dynamic(library, tag):
    return re.findall(rf"\({tag}\).*\[(.*)\]", run("readelf", "-d", library))


def check_libraries(a, prefix):
    api = os.path.join(prefix, a.libdir, "libqob3xapi.so.1")
    platform = os.path.join(prefix, a.libdir, "libqobplatform.so.1")
    assert dynamic(api, "SONAME") == ["libqob3xapi.so.1"], dynamic(api, "SONAME")
    assert dynamic(platform, "SONAME") == ["libqobplatform.so.1"], dynamic(platform, "SONAME")
    assert "libqobplatform.so.1" in dynamic(api, "NEEDED")
    assert "libqob3xapi.so.1" not in dynamic(platform, "NEEDED")
    # The record engine is the platform library's own affair: nobody who builds against the tree needs to have it.
    assert "libsqlite3.so.0" in dynamic(platform, "NEEDED"), dynamic(platform, "NEEDED")
    assert not [n for n in dynamic(api, "NEEDED") if "sqlite" in n], dynamic(api, "NEEDED")
    for file in tree(prefix):
        if file.endswith((".h", ".pc", ".cmake")):
            with open(os.path.join(prefix, file), encoding="utf-8") as f:
                assert "sqlite" not in f.read().lower(), file


def c_consumer(a, prefix, work, flags, environment):
    found = dict(environment, PKG_CONFIG_PATH=os.path.join(prefix, a.libdir, "pkgconfig"))
    given = run("pkg-config", "--cflags", "--libs", "qob3xapi", env=found).split()
    assert "-lqob3xapi" in given and "-lqobplatform" in given, given
    assert run("pkg-config", "--modversion", "qob3xapi", env=found).strip() == a.version
    program = os.path.join(work, "c-consumer")
    source = os.path.join(a.consumer, "consumer.c")
    run(a.cc, "-std=c11", "-pedantic", "-Wall", "-Wextra", "-Werror", *flags, source, "-o", program, *given)
    run(program, env=dict(environment, LD_LIBRARY_PATH=os.path.join(prefix, a.libdir)))


def cpp_consumer(a, prefix, work, flags, environment):
    build = os.path.join(work, "cpp-consumer")
    run(a.cmake, "-S", a.consumer, "-B", build, f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_C_COMPILER={a.cc}",
        f"-DCMAKE_CXX_COMPILER={a.cxx}", f"-DCMAKE_CXX_FLAGS={' '.join(flags)}", env=environment)
    run(a.cmake, "--build", build, env=environment)
    run(os.path.join(build, "consumer"), env=environment)


def main():
    parser = argparse.ArgumentParser()
    for option in ("cmake", "build", "libdir", "version", "config", "golden", "consumer", "cc", "cxx"):
        parser.add_argument("--" + option, required=True)
    parser.add_argument("--sanitize", default="")
    parser.add_argument("--coverage", action="store_true")
    a = parser.parse_args()
    flags = [f"-fsanitize={a.sanitize}"] if a.sanitize else []
    flags += ["--coverage"] if a.coverage else []

    with tempfile.TemporaryDirectory(prefix="qob-install-") as work:
        environment = {k: v for k, v in os.environ.items() if not k.startswith(("PKG_CONFIG", "CMAKE_", "LD_LIBRARY"))}
        environment.update(QOB_CONFIG_DIR=work, TMPDIR=work)
        run(a.cmake, "--install", a.build, "--prefix", "/opt/mail", env=dict(environment, DESTDIR=work + "/stage"))
        installed, wanted = tree(work + "/stage/opt/mail"), golden(a)
        for name in sorted(set(installed) ^ set(wanted)):
            print(("not in the list: " if name in installed else "not installed: ") + name)
        if installed != wanted or os.listdir(work + "/stage") != ["opt"]:
            return 1
        prefix = shutil.move(work + "/stage/opt/mail", work + "/moved")
        check_libraries(a, prefix)
        c_consumer(a, prefix, work, flags, environment)
        cpp_consumer(a, prefix, work, flags, environment)
    print(f"{len(installed)} files installed, both consumers ran")
    return 0


sys.exit(main())
