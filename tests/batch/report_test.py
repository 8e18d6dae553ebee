#!/usr/bin/python3
"""The report of a batch: its numbers, and how it looks in a browser."""

import html.parser
import json
import pathlib
import re
import shutil
import subprocess
import unittest

from support import BatchTest

CHROMIUM = shutil.which("chromium")
# Measures what is drawn and puts it where --dump-dom shows it.
PROBE = """<script>
const found = {errors: [], charts: 0, marks: 0, width: document.documentElement.scrollWidth};
for (const svg of document.querySelectorAll('svg[role=img]')) {
  const frame = svg.getBoundingClientRect();
  found.charts += frame.width > 300 && frame.height > 150;
  for (const part of svg.querySelectorAll('text, path, circle')) {
    const box = part.getBoundingClientRect();
    const inside = box.left >= frame.left - 1 && box.right <= frame.right + 1 &&
                   box.top >= frame.top - 1 && box.bottom <= frame.bottom + 1;
    if (!inside || box.width + box.height === 0) found.errors.push(part.outerHTML);
  }
  found.marks += svg.querySelectorAll('path.series, circle').length;
}
const bars = document.querySelectorAll('svg.bar rect');
found.bars = Array.from(bars, bar => [bar.getAttribute('class'), bar.getBoundingClientRect().width]);
const probe = document.createElement('pre');
probe.id = 'probe';
probe.textContent = JSON.stringify(found);
document.body.append(probe);
</script></body>"""


class Page(html.parser.HTMLParser):
    """The tables of a page below their headings, and what it loads or leaves open."""

    EMPTY = ("meta",)

    def __init__(self, text):
        super().__init__()
        self.tables, self.links, self.open, self.tags = {}, [], [], []
        self.heading = self.cell = None
        self.feed(text)
        self.close()

    def handle_starttag(self, tag, attrs):
        self.tags.append(tag)
        self.links += [value for name, value in attrs if name in ("src", "href", "data", "action")]
        if tag not in self.EMPTY:
            self.open.append(tag)
        if tag == "table":
            self.tables.setdefault(self.heading, []).append([])
        elif tag == "tr":
            self.tables[self.heading][-1].append([])
        if tag in ("td", "th", "h2"):
            self.cell = ""

    def handle_startendtag(self, tag, attrs):
        self.tags.append(tag)

    def handle_endtag(self, tag):
        assert self.open and self.open[-1] == tag, f"</{tag}> in {self.open}"
        self.open.pop()
        if tag == "h2":
            self.heading = self.cell
        elif tag in ("td", "th"):
            self.tables[self.heading][-1][-1].append(self.cell)

    def handle_data(self, data):
        if self.cell is not None:
            self.cell += data

    def rows(self, heading, number=0):
        """The rows of a table by their first cell, each by the heads of the columns."""
        head, *rows = self.tables[heading][number]
        return {row[0]: list(zip(head, row)) for row in rows}


class ReportTest(BatchTest):
    def setUp(self):
        super().setUp()
        self.write_problems(4)
        (self.folder / "references.csv").write_text(
            "problem,makespan\np00,17/12\nproblems/p01,17/6\np02,\nother,3\n")
        self.call("run", "-o", self.results, self.problems, "-t", "0.3", "--wall-time", "20",
                  "-c", "good=--do plan", "-c", "none=--do proven", "-c", "spin=--do spin",
                  "-c", "bad <b>&\"'=--do plan:wrong", "-c", "open=--do undecided", status=3)

    def report(self, *words):
        output, _ = self.call("report", self.results, "--references", self.folder / "references.csv",
                              *words)
        return pathlib.Path(output.strip()).read_text(encoding="utf-8")

    def test_its_numbers_are_those_of_the_runs(self):
        page = Page(self.report())
        runs = list(self.rows().values())
        coverage = page.rows("Coverage")
        self.assertEqual(list(coverage), ["good", "none", "spin", "bad <b>&\"'", "open"])
        for name, row in coverage.items():
            cells = dict(row)
            outcomes = [run["outcome"] for run in runs if run["configuration"] == name]
            solved = sum(outcome in ("plan", "no-solution proven") for outcome in outcomes)
            self.assertEqual(cells["solved"], f"{solved} of 4")
            for outcome in {run["outcome"] for run in runs}:
                self.assertEqual(cells[outcome], str(outcomes.count(outcome)), (name, outcome))
            seconds = sum(float(run["cpu_s"]) for run in runs if run["configuration"] == name)
            self.assertAlmostEqual(float(cells["CPU seconds"]), seconds, delta=0.06)
        # All plans last 17/6: half as good as the first reference, as good as the second; of the other
        # problems the plan of the batch is the best.
        self.assertEqual([cell for _, cell in page.rows("Score by domain")["all"]],
                         ["all", "4", "4", "3.50", "4", "4.00", "0", "0.00", "0", "0.00", "0", "0.00"])
        self.assertEqual([cell for _, cell in page.rows("Makespans against references")["good"]],
                         ["good", "2", "0.75", "1", "1"])
        runs_of_p00 = [cell for _, cell in page.rows("Runs")["problems/p00"]]
        self.assertEqual(runs_of_p00[1], "1.42")
        self.assertEqual(runs_of_p00[3], "2.83")
        failures = [row for table in page.tables["Failures by outcome"] for row in table[1:]]
        self.assertEqual(len(failures), 12)
        self.assertIn("the condition does not hold, at time 1.", {row[4] for row in failures})

    def test_it_is_one_page_whatever_the_names(self):
        text = self.report("--title", "<script>alert(1)</script>", "--compare", "good", "bad <b>&\"'")
        page = Page(text)
        self.assertEqual(page.open, [])
        self.assertEqual(page.links, [])
        self.assertNotIn("script", page.tags)
        self.assertNotIn("b", page.tags)
        self.assertNotRegex(re.sub(r"<code>.*?</code>", "", text), r"https?://|@import|url\(")

    def test_what_is_wrong_is_told(self):
        cases = ((["--compare", "good", "better"], "The batch has no configuration 'better'; it has "),
                 (["--references", "/no/file"], "The references cannot be read"),
                 (["--references", self.problems / "p00.anml"], "no columns 'problem' and 'makespan'"),
                 (["-o", "/no/folder/report.html"], "/no/folder/report.html cannot be written"))
        for words, message in cases:
            _, errors = self.call("report", self.results, *words, status=1)
            self.assertIn(message, errors)
        (self.folder / "references.csv").write_text("instance,makespan\np00,many\n")
        _, errors = self.call("report", self.results, "--references", self.folder / "references.csv",
                              status=1)
        self.assertIn("references.csv:2: ", errors)

    def test_a_batch_that_has_just_begun(self):
        other = self.folder / "other"
        self.call("run", "-o", other, self.problems, "-c", "a=--do plan", "--slurm")
        output, _ = self.call("report", other)
        page = Page(pathlib.Path(output.strip()).read_text(encoding="utf-8"))
        self.assertEqual(dict(page.rows("Coverage")["a"])["no result yet"], "4")

    @unittest.skipUnless(CHROMIUM, "chromium is not installed; scripts/install-deps.sh does that")
    def test_it_is_drawn(self):
        text = self.report("--compare", "good", "none")
        path = self.folder / "page.html"
        path.write_text(text.replace("</body>", PROBE), encoding="utf-8")
        done = subprocess.run(
            [CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
             f"--user-data-dir={self.folder}/profile", "--window-size=1200,900", "--dump-dom",
             f"file://{path}"], check=True, capture_output=True, text=True, timeout=120)
        shown = json.loads(re.search(r'<pre id="probe">(.*?)</pre>', done.stdout, re.DOTALL)[1])
        self.assertEqual(shown["errors"], [])
        self.assertEqual(shown["charts"], 3)
        self.assertLessEqual(shown["width"], 1200)
        # Lines of the two configurations that solve something, a point for each problem, and one line of
        # qualities.
        self.assertEqual(shown["marks"], 2 + 4 + 1)
        widths = {kind for kind, width in shown["bars"] if width > 300}
        self.assertEqual(widths, {"plan", "no-solution_proven", "timeout", "invalid_plan",
                                  "no-solution_undecided"})


if __name__ == "__main__":
    unittest.main()
