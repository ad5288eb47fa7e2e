import unittest

from figure import Figure
from statistic import interleaved, median, ratio


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


class RatioTest(unittest.TestCase):
    def test_ratios_are_taken_round_by_round(self):
        found = ratio([2.0, 30.0, 4.0], [1.0, 10.0, 1.0])
        self.assertEqual((found.value, found.low, found.high), (3.0, 2.0, 4.0))


class InterleavedTest(unittest.TestCase):
    def test_every_other_round_goes_in_the_opposite_order(self):
        calls = []
        results = interleaved({name: lambda name=name: calls.append(name) or len(calls) for name in "abc"}, 3)
        self.assertEqual("".join(calls), "abc" "cba" "abc")
        self.assertEqual(results, {"a": [1, 6, 7], "b": [2, 5, 8], "c": [3, 4, 9]})


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

    def test_without_instructions_an_interval_that_holds_the_target_leaves_it_open(self):
        self.assertEqual(Figure("k", "t", 1.10, "", 1.03, 0.7, 1.5, 9).verdict, "open")
        self.assertEqual(Figure("k", "t", 1.02, "", 1.03, 0.7, 1.5, 9).verdict, "open")
        self.assertEqual(Figure("k", "t", 1.02, "", 1.03, 0.7, 1.03, 9).verdict, "reached")
        self.assertEqual(Figure("k", "t", 1.10, "", 1.03, 1.05, 1.5, 9).verdict, "missed")

    def test_a_figure_without_target_has_no_verdict(self):
        self.assertEqual(Figure("k", "t", 5.0).verdict, "")


if __name__ == "__main__":
    unittest.main()
