#!/usr/bin/env python3
"""The solver includes nothing from outside but GMP, and its folders only what stands below them."""
import os
import re
import sys

# Each folder may include itself and the folders named.
BELOW = {
    "base": [],
    "terms": ["base"],
    "dpll": ["base", "terms"],
    "theory": ["base", "terms", "dpll"],
    "la": ["base", "terms", "dpll", "theory"],
    "preprocessing": ["base", "terms", "dpll"],
    "api": ["base", "terms", "dpll", "theory", "la", "preprocessing"],
}
ALLOWED_LIBRARIES = {"gmp.h"}


def main(root):
    bad = []
    count = 0
    for folder, below in BELOW.items():
        for name in sorted(os.listdir(os.path.join(root, folder))):
            path = os.path.join(root, folder, name)
            for line in open(path):
                match = re.match(r'\s*#\s*include\s*([<"])([^>"]+)', line)
                if not match:
                    continue
                count += 1
                kind, target = match.groups()
                if kind == "<":
                    standard = "." not in target or target == "stddef.h"
                    if not standard and target not in ALLOWED_LIBRARIES:
                        bad.append("%s: <%s>" % (path, target))
                    continue
                parts = target.split("/")
                if parts[0] != "solver" or parts[1] not in below + [folder]:
                    bad.append('%s: "%s"' % (path, target))
    unknown = set(os.listdir(root)) - set(BELOW) - {"CMakeLists.txt", "README.md", "ordax.pc.in"}
    bad += ["unknown folder or file " + name for name in sorted(unknown)]
    print("\n".join(bad) if bad else "%d includes are in order" % count)
    return 1 if bad or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
