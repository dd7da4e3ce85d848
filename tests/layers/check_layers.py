#!/usr/bin/env python3
"""Checks that includes run downwards only: check_layers.py LIB_FOLDER

The folder tree is the architecture. A folder may include itself and the folders listed for it; the math
library's own headers may be included in math/ and in the one engine file that drives its direct solver.
"""
import pathlib
import re
import sys

MAY_INCLUDE = {
    "math": set(),
    "containers": {"math"},
    "skyline": {"math", "containers"},
    "sparse": {"math", "containers"},
    "solution": {"math", "containers", "skyline", "sparse"},
    "si": {"math", "containers", "skyline", "sparse", "solution"},
}
# Single headers that stand on their own and may be used from a lower folder.
STANDALONE = {"si/OneNormEst.h"}
MATH_LIBRARY = re.compile(r"mkl|lapacke|cblas|omp\.h")
MATH_LIBRARY_USERS = re.compile(r"^(math/|solution/MklPardisoEngine\.)")
# The ordering libraries are named in the ordering stage only.
ORDERING_LIBRARY = re.compile(r"^(metis|amd)\.h$")


def complaints(lib):
    for source in sorted(p for p in lib.rglob("*") if p.suffix in {".h", ".cpp"}):
        name = source.relative_to(lib).as_posix()
        folder = name.split("/")[0]
        if folder not in MAY_INCLUDE:
            continue
        for number, line in enumerate(source.read_text(encoding="utf-8").splitlines(), 1):
            found = re.match(r'\s*#\s*include\s*([<"])([^>"]+)[>"]', line)
            if not found:
                continue
            bracket, included = found.groups()
            where = f"{name}:{number}: includes {included}"
            if bracket == "<" or MATH_LIBRARY.search(included):
                if MATH_LIBRARY.search(included) and not MATH_LIBRARY_USERS.match(name):
                    yield f"{where}: the math library is reached through math/ only"
                if ORDERING_LIBRARY.match(included) and not name.startswith("sparse/"):
                    yield f"{where}: ordering libraries belong to sparse/"
                continue
            target = (source.parent / included).resolve()
            if not target.is_file():
                target = lib / included
            if not target.is_file():
                yield f"{where}: no such header in the library"
                continue
            target = target.resolve().relative_to(lib).as_posix()
            other = target.split("/")[0]
            if other != folder and other not in MAY_INCLUDE[folder] and target not in STANDALONE:
                yield f"{where}: {folder} may not depend on {other}"


def main():
    lib = pathlib.Path(sys.argv[1]).resolve()
    found = list(complaints(lib))
    print("\n".join(found) or f"includes of {lib.name} run downwards only")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
