"""Every public header compiles alone, twice in one file, as C11 and as C++20, with nothing but include/ to find.

  public_headers.py INCLUDE c|c++ COMPILER...
"""
import os
import subprocess
import sys

LANGUAGES = {"c": ["-x", "c", "-std=c11"], "c++": ["-x", "c++", "-std=c++20"]}
STRICT = ["-pedantic", "-Wall", "-Wextra", "-Wconversion", "-Wshadow", "-Werror", "-fsyntax-only"]


def main(include, language, *compilers):
    failed = done = 0
    for family in ("qob3xapi", "qobplatform"):
        for name in sorted(os.listdir(os.path.join(include, family))):
            header = f"{family}/{name}"
            text = f"#include <{header}>\n#include <{header}>\n"
            if language == "c":
                text += "int only_the_header(void);\n"
            for compiler in compilers:
                command = [compiler, *LANGUAGES[language], *STRICT, "-I", include, "-"]
                if language == "c++":
                    command.insert(-3, "-Wold-style-cast")
                result = subprocess.run(command, input=text, capture_output=True, text=True, check=False)
                done += 1
                if result.returncode != 0 or result.stderr:
                    failed += 1
                    print(f"{header} with {compiler}:\n{result.stderr}")
    print(f"{done} compiled, {failed} failed")
    return 1 if failed or done == 0 else 0


sys.exit(main(*sys.argv[1:]))
