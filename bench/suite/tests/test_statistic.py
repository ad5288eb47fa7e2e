import unittest

from figure import Figure
from statistic import interleaved, median


class MedianTest(unittest.TestCase):
    def test_interval_of_eleven_leaves_out_one_value_at_either_end(self):
        found = median([7, 1, 3, 11, 5, 9, 2, 10, 4, 8, 6])
        self.assertEqual((found.value, found.low, found.high, found.count), (6, 2, 10, 11))

    def test_interval_of_few_values_spans_all_of_them(self):
        found = median([3.0, 1.0, 2.0, 5.0, 4.0])
        self.assertEqual((found.value, found.low, found.high), (3.0, 1.0, 5.0))

    def test_one_value_is_its_own_interval(self):
        found = median([2.5])
        self.assertEqual((found.value, found.low, found.high, found.count), (2.5, 2.5, 2.5, 1))

    def test_interval_narrows_with_more_values(self):
        found = median(list(range(101)))
        self.assertEqual((found.low, found.high), (40, 60))


class InterleavedTest(unittest.TestCase):
    def test_either_side_comes_first_in_every_other_pair(self):
        calls = []
        pairs = interleaved(lambda: calls.append("a") or "a", lambda: calls.append("b") or "b", 3)
        self.assertEqual(calls, ["a", "b", "b", "a", "a", "b"])
        self.assertEqual(pairs, [("a", "b")] * 3)


class VerdictTest(unittest.TestCase):
    def test_instructions_decide_where_the_interval_does_not_contradict(self):
        self.assertEqual(Figure("k", "t", 1.02, "", 1.01, 0.99, 1.05, 9, 1.0).verdict, "reached")

    def test_an_interval_above_the_target_contradicts(self):
        self.assertEqual(Figure("k", "t", 1.03, "", 1.01, 1.02, 1.05, 9, 1.0).verdict, "missed")

    def test_instructions_above_the_target_miss_it(self):
        self.assertEqual(Figure("k", "t", 0.9, "", 1.01, 0.8, 1.0, 9, 1.02).verdict, "missed")

    def test_a_figure_without_interval_is_compared_itself(self):
        self.assertEqual(Figure("k", "t", 1250, "", 1250).verdict, "reached")
        self.assertEqual(Figure("k", "t", 1251, "", 1250).verdict, "missed")

    def test_a_median_above_the_target_is_open_while_its_interval_is_not(self):
        self.assertEqual(Figure("k", "t", 1.10, "", 1.03, 0.7, 1.5, 9).verdict, "open")
        self.assertEqual(Figure("k", "t", 1.02, "", 1.03, 0.7, 1.5, 9).verdict, "reached")
        self.assertEqual(Figure("k", "t", 1.10, "", 1.03, 1.05, 1.5, 9).verdict, "missed")

    def test_a_figure_without_target_has_no_verdict(self):
        self.assertEqual(Figure("k", "t", 5.0).verdict, "")


if __name__ == "__main__":
    unittest.main()
