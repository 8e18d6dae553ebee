#!/usr/bin/env python3
"""Tests the launcher and the script that builds for it, in a small checkout of their own.

Stand-ins for the tools are first in PATH. That of cmake keeps the real one's rule that a cache
belongs to one folder, and "builds" a program that prints its sources and its arguments."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent

CMAKE = r"""#!/usr/bin/env bash
echo "cmake $*" >>"$TOOL_LOG"
cache=build/release/CMakeCache.txt
case $1 in
  --preset)
    here=$(pwd -P)
    if [[ -f $cache ]] && ! grep -q "^CMAKE_HOME_DIRECTORY:INTERNAL=$here\$" "$cache"; then
      echo "the cache is of another folder"; exit 1
    fi
    printf '%s\n' "CMAKE_HOME_DIRECTORY:INTERNAL=$here" \
      "CMAKE_CACHEFILE_DIR:INTERNAL=$here/build/release" >"$cache" ;;
  --build)
    if grep -q broken src/*.cpp; then echo "it does not compile"; exit 1; fi
    mkdir -p build/release/bin
    printf '#!/bin/sh\necho %s "$@"\n' "$(cat src/*.cpp)" >build/release/bin/kelvo
    chmod +x build/release/bin/kelvo ;;
esac
"""

DPKG_QUERY = r"""#!/usr/bin/env bash
shift 3
for package; do
  [[ $package == bison && ! -f $TOOL_LOG.bison ]] || echo "$package install ok installed"
done
"""

# Whoever installs must hold the lock of the build.
APT_GET = r"""#!/usr/bin/env bash
flock -n build/release/.lock true && echo "apt-get without the lock" >>"$TOOL_LOG"
echo "apt-get $*" >>"$TOOL_LOG"
touch "$TOOL_LOG.bison"
"""


class LauncherTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="kelvo_launcher_")
        base = pathlib.Path(self.folder.name)
        self.checkout = base / "checkout"
        self.log = base / "tools.log"
        tools = base / "tools"
        tools.mkdir()
        for name, text in (("cmake", CMAKE), ("dpkg-query", DPKG_QUERY), ("apt-get", APT_GET),
                           ("sudo", '#!/bin/sh\nshift\nexec "$@"\n')):
            (tools / name).write_text(text)
            (tools / name).chmod(0o755)
        self.log.touch()
        pathlib.Path(f"{self.log}.bison").touch()
        self.environment = dict(os.environ, PATH=f"{tools}:{os.environ['PATH']}",
                                TOOL_LOG=str(self.log))
        (self.checkout / "src").mkdir(parents=True)
        (self.checkout / "cmake").mkdir()
        for name in ("CMakeLists.txt", "CMakePresets.json"):
            (self.checkout / name).touch()
        (self.checkout / "src/main.cpp").write_text("one")
        shutil.copy(ROOT / "kelvo", self.checkout)
        shutil.copytree(ROOT / "scripts", self.checkout / "scripts")

    def tearDown(self):
        self.folder.cleanup()

    def run_kelvo(self, *arguments, cwd=None):
        return subprocess.run([self.checkout / "kelvo", *arguments], env=self.environment, text=True,
                              capture_output=True, cwd=cwd or self.checkout, check=False, timeout=60)

    def builds(self):
        return self.log.read_text().count("cmake --build")

    def expect(self, output, builds, *arguments):
        result = self.run_kelvo(*arguments)
        self.assertEqual((result.stdout, result.returncode), (output, 0), result.stderr)
        self.assertEqual(self.builds(), builds)
        return result

    def age_sources(self):
        """Makes all sources older than the last build, as they are when time has passed."""
        for path in [*self.checkout.rglob("src/*"), self.checkout / "src"]:
            os.utime(path, (1, 1))

    def test_builds_once_and_again_when_a_source_is_newer(self):
        # There is no .git at all: neither a worktree nor an archive has a reflog to go by.
        first = self.expect("one a b\n", 1, "a", "b")
        self.assertIn("Building Kelvo", first.stderr)
        self.age_sources()
        self.assertEqual(self.expect("one a b\n", 1, "a", "b").stderr, "")
        (self.checkout / "src/main.cpp").write_text("two")
        self.expect("two\n", 2)
        self.age_sources()
        (self.checkout / "src/more.cpp").write_text("three")
        self.age_sources()
        os.utime(self.checkout / "src")  # only the folder tells of a file that came or went
        self.expect("twothree\n", 3)

    def test_a_source_that_changes_during_the_build_is_built_the_next_time(self):
        self.expect("one\n", 1)
        self.age_sources()
        stamp = self.checkout / "build/release/.built"
        build = (self.checkout / "build/release/bin/kelvo").stat().st_mtime_ns
        self.assertLessEqual(stamp.stat().st_mtime_ns, build)

    def test_a_build_that_fails_shows_its_end_and_is_tried_again(self):
        self.expect("one\n", 1)
        (self.checkout / "src/main.cpp").write_text("broken")
        for attempt in (2, 3):
            result = self.run_kelvo()
            self.assertEqual((result.stdout, result.returncode), ("", 1))
            self.assertIn("it does not compile", result.stderr)
            self.assertEqual(self.builds(), attempt)
        (self.checkout / "src/main.cpp").write_text("mended")
        self.expect("mended\n", 4)

    def test_missing_packages_are_installed_under_the_lock(self):
        pathlib.Path(f"{self.log}.bison").unlink()
        self.expect("one\n", 1)
        log = self.log.read_text()
        self.assertRegex(log, r"(?m)^apt-get .*install .* bison$")
        self.assertNotIn("without the lock", log)
        self.assertLess(log.index("apt-get"), log.index("cmake"))

    def test_a_moved_checkout_is_run_and_built_again(self):
        self.expect("one\n", 1)
        self.age_sources()
        moved = self.checkout.with_name("moved")
        self.checkout.rename(moved)
        self.checkout = moved
        self.expect("one\n", 1)
        (moved / "src/main.cpp").write_text("two")
        result = self.expect("two\n", 2)
        self.assertIn("has moved", result.stderr)

    def test_a_link_to_the_launcher_finds_its_checkout(self):
        link = self.checkout.with_name("link")
        link.symlink_to(self.checkout / "kelvo")
        result = subprocess.run([link, "x"], env=self.environment, text=True, capture_output=True,
                                cwd="/", check=False, timeout=60)
        self.assertEqual((result.stdout, result.returncode), ("one x\n", 0), result.stderr)

    def test_a_checkout_that_cannot_be_written_is_said_in_one_line(self):
        (self.checkout / "build").touch()  # holds for root as well
        result = self.run_kelvo()
        self.assertEqual((result.stdout, result.returncode), ("", 1))
        self.assertRegex(result.stderr, r"\A[^\n]*is not built[^\n]* cannot be written\n\Z")
        self.assertEqual(self.log.read_text(), "")


if __name__ == "__main__":
    unittest.main()
