import json
import tempfile
import unittest
from pathlib import Path

import growth
import report
from figure import Figure, Results


class ResultsTest(unittest.TestCase):
    def setUp(self):
        self._folder = tempfile.TemporaryDirectory()
        self.addCleanup(self._folder.cleanup)
        self.path = Path(self._folder.name)

    def test_verdicts_are_written_for_programs(self):
        report.write(Results([Figure("a.one", "A", 3.0, "ms", 2.0)]), {"cores": 2}, self.path)
        written = json.loads((self.path / "results.json").read_text(encoding="utf-8"))
        self.assertEqual(written["machine"], {"cores": 2})
        self.assertEqual(written["figures"][0]["verdict"], "missed")


class DocumentsTest(unittest.TestCase):
    def test_they_have_all_figures_and_charts_and_nothing_of_before(self):
        with tempfile.TemporaryDirectory() as folder:
            docs = Path(folder)
            page = docs / "measurements.md"
            page.write_text("old", encoding="utf-8")
            machine = {"processor": "P", "cores": 2, "kernel": "K", "load": 0.5, "seconds": {"a": 60},
                       "realtime": False}
            results = Results([Figure("a.one", "A", 3.0)])
            results.charts["some.svg"] = "<svg/>"
            report.update_documents(results, machine, docs)
            text = page.read_text(encoding="utf-8")
            self.assertEqual((docs / "charts/some.svg").read_text(encoding="utf-8"), "<svg/>")
        self.assertIn("| A | 3.000 | 1 |", text)
        self.assertIn("P, 2 virtual processors", text)
        self.assertIn("](charts/some.svg)", text)
        self.assertNotIn("old", text)


class RatioChartTest(unittest.TestCase):
    def test_it_shows_the_ratios_beside_a_bare_loop_and_nothing_else(self):
        results = Results([Figure("bare.a", "A, beside a bare loop: CPU time", 1.0, "", 1.01, 0.9, 1.1),
                           Figure("bare.b", "B, beside a bare loop: memory", 5.0, "KB", 256, 4.0, 6.0),
                           Figure("bare.c", "C, beside a bare loop over one: CPU time", 1.2, "", 1.01, 1.1, 1.3)])
        with tempfile.TemporaryDirectory() as folder:
            report.write(results, {}, Path(folder))
            chart = (Path(folder) / "bare-loop.svg").read_text(encoding="utf-8")
        self.assertIn(">A: CPU time<", chart)
        self.assertNotIn("memory", chart)
        self.assertNotIn("over one", chart)


class GrowthTest(unittest.TestCase):
    def test_growth_is_measured_from_the_least_before(self):
        self.assertAlmostEqual(growth._growth([2.0, 1.0, 1.1, 1.3]), 1.3)

    def test_falling_costs_do_not_grow(self):
        self.assertEqual(growth._growth([3.0, 2.0, 1.0]), 1.0)


if __name__ == "__main__":
    unittest.main()
