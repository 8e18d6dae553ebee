#!/usr/bin/env python3
"""Installs the built solver into a folder of its own, and builds and runs a C project against it.

  install_test.py BUILD_DIR GUIDE_C SOURCE_DIR

GUIDE_C is the program of the guide, SOURCE_DIR the CMake project that is given to it.
"""
import glob
import os
import shutil
import subprocess
import sys
import tempfile

EXPECTED = "within 5: no\nend = 11/2\n"


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit("%s\nfailed:\n%s%s" % (" ".join(command), done.stdout, done.stderr))
    return done.stdout


def tools_of(build):
    """The compilers of the build and their flags: sanitizers want to be linked by the user, too."""
    names = ["CMAKE_%s_%s" % (language, part) for language in ("C", "CXX")
             for part in ("COMPILER", "FLAGS")]
    with open(os.path.join(build, "CMakeCache.txt"), encoding="utf-8") as cache:
        entries = dict(line.rstrip("\n").split("=", 1) for line in cache if "=" in line)
    values = {key.split(":")[0]: value for key, value in entries.items()}
    return ["-D%s=%s" % (name, values[name]) for name in names if name in values]


def embed(prefix, tools):
    """The whole archive has to go into a shared library, by what its pkg-config file says."""
    values = dict(tool[2:].split("=", 1) for tool in tools)
    found = glob.glob(os.path.join(prefix, "**", "ordax.pc"), recursive=True)
    if len(found) != 1 or shutil.which("pkg-config") is None:
        if not found:
            sys.exit("no pkg-config file is installed")
        return
    environment = dict(os.environ, PKG_CONFIG_PATH=os.path.dirname(found[0]))
    flags = subprocess.run(["pkg-config", "--cflags", "--libs", "ordax"], env=environment,
                           capture_output=True, text=True, check=True).stdout.split()
    run(values["CMAKE_CXX_COMPILER"], *values["CMAKE_CXX_FLAGS"].split(), "-shared", "-o",
        os.path.join(prefix, "embedded.so"), "-Wl,--whole-archive",
        *[flag for flag in flags if flag.startswith(("-L", "-lordax"))], "-Wl,--no-whole-archive",
        *[flag for flag in flags if not flag.startswith("-lordax")])


def main():
    build, guide, source = sys.argv[1:4]
    with tempfile.TemporaryDirectory() as folder:
        prefix = os.path.join(folder, "prefix")
        project = os.path.join(folder, "project")
        run("cmake", "--install", build, "--component", "ordax", "--prefix", prefix)
        shutil.copytree(source, project)
        shutil.copy(guide, os.path.join(project, "main.c"))
        run("cmake", "-S", project, "-B", os.path.join(project, "build"),
            "-DCMAKE_PREFIX_PATH=" + prefix, *tools_of(build))
        run("cmake", "--build", os.path.join(project, "build"))
        output = run(os.path.join(project, "build", "schedule"))
        if output != EXPECTED:
            sys.exit("the installed library answered\n" + output)
        embed(prefix, tools_of(build))


if __name__ == "__main__":
    main()
