# SPDX-License-Identifier: MIT
"""The benchmark page: names, ratios and what the page says of a slower row."""
import os
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "bench", "page"))

import page  # noqa: E402
from notes import Notes  # noqa: E402
from rows import format_factor, format_rate, format_time, ratio, read_cases, split_name  # noqa: E402

NOTES = os.path.join(os.path.dirname(page.__file__), "notes.toml")


def run(name, index, cpu, real, family=0, **more):
    return {"name": name, "run_type": "iteration", "repetition_index": index, "family_index": family,
            "per_family_instance_index": 0, "cpu_time": cpu, "real_time": real, "time_unit": "ns", **more}


class NameTest(unittest.TestCase):
    def test_parts(self):
        self.assertEqual(split_name("hit/curves/cairo"), ("hit", "curves", "cairo", False))

    def test_arguments_belong_to_the_case_and_settings_to_nobody(self):
        self.assertEqual(split_name("pool/add/glib/10/iterations:5/real_time"), ("pool", "add 10", "glib", True))

    def test_a_name_without_three_parts_is_refused(self):
        with self.assertRaises(ValueError):
            split_name("hit/curves")


class RatioTest(unittest.TestCase):
    def test_is_the_peers_median_over_ours(self):
        self.assertAlmostEqual(ratio([1, 2, 30], [4, 50, 6]).middle, 3)

    def test_spread_is_the_quartiles_of_all_pairs(self):
        found = ratio([1, 1], [1, 2, 3])
        self.assertEqual((found.low, found.high), (1.25, 2.75))

    def test_one_round_has_no_spread(self):
        found = ratio([2], [4])
        self.assertEqual((found.low, found.middle, found.high), (2, 2, 2))

    def test_within_three_per_cent_is_level(self):
        self.assertEqual([ratio([100], [peer]).verdict for peer in (96, 98, 102, 104)],
                         ["slower", "level", "level", "faster"])


class ReadTest(unittest.TestCase):
    def test_shuffled_runs_come_back_in_order_with_the_clock_that_the_name_asks_for(self):
        cases = read_cases([{"benchmarks": [
            run("a/second/tovkit/real_time", 0, 1, 7, family=2), run("a/first/peer", 1, 6, 9, family=1),
            run("a/first/tovkit", 0, 2, 9), run("a/first/peer", 0, 4, 9, family=1)]}])
        self.assertEqual([case.name for case in cases], ["first", "second"])
        self.assertEqual(cases[0].rows["peer"].times, [4, 6])
        self.assertEqual(cases[1].ours.times, [7])

    def test_time_units_are_equal_in_the_end(self):
        cases = read_cases([{"benchmarks": [run("a/b/tovkit", 0, 2, 2, time_unit="us")]}])
        self.assertEqual(cases[0].ours.times, [2000])

    def test_a_failed_row_has_no_ratio(self):
        cases = read_cases([{"benchmarks": [
            run("a/b/tovkit", 0, 1, 1), run("a/b/peer", 0, 0, 0, error_occurred=True, error_message="broken")]}])
        self.assertIsNone(cases[0].ratio("peer"))
        self.assertEqual(cases[0].rows["peer"].error, "broken")


class FormatTest(unittest.TestCase):
    def test_three_digits_count(self):
        self.assertEqual([format_time(t) for t in (1.234, 12.34, 999, 12345, 2.5e9)],
                         ["1.23 ns", "12.3 ns", "999 ns", "12.3 µs", "2.50 s"])
        self.assertEqual([format_factor(f) for f in (0.00234, 0.86, 17.94, 129.4)], ["0.0023×", "0.86×", "17.9×", "129×"])
        self.assertEqual([format_rate(r) for r in (3.9e6, 47.1e9)], ["3.90 MB/s", "47.1 GB/s"])


class PageTest(unittest.TestCase):
    def render(self, name, peer_time):
        notes = Notes(NOTES)
        facility, case, who = name.split("/")
        cases = read_cases([{"benchmarks": [run(f"{facility}/{case}/tovkit", 0, 100, 100),
                                            run(f"{facility}/{case}/{who}", 0, peer_time, peer_time, family=1)]}])
        return "\n".join(page.render(notes.arrange(cases), notes, [], [], 9, {}))

    def test_a_slower_row_stands_with_its_reason(self):
        text = self.render("codec/encode_jpeg/qt", 76)
        self.assertIn("**0.76×** (0.76 to 0.76)<br>**slower**", text)
        self.assertIn("- encode_jpeg (Qt 6, 0.76×): Qt always stores color at half size", text)

    def test_a_slower_row_without_a_reason_says_so(self):
        self.assertIn(page.NO_REASON, self.render("codec/never_heard_of/qt", 50))

    def test_a_faster_row_needs_no_reason(self):
        text = self.render("codec/encode_jpeg/qt", 200)
        self.assertIn("**2.00×**", text)
        self.assertNotIn("Slower than a peer", text)

    def test_a_bound_is_no_peer(self):
        text = self.render("base64_encode/64KiB/memcpy", 50)
        self.assertIn("*at best*", text)
        self.assertNotIn("Slower than a peer", text)

    def test_a_form_of_more_than_twice_the_least_stands_with_its_reason(self):
        text = self.render("form_letters/500_pixels/least", 25)
        self.assertNotIn("Slower than a peer", text)
        self.assertIn("- form_letters: 500_pixels (4.00×): The ink grows with the square", text)
        self.assertIn(page.NO_REASON, self.render("form_never/heard_of/least", 25))

    def test_a_form_of_twice_the_least_needs_no_reason(self):
        self.assertNotIn("More than twice", self.render("form_letters/500_pixels/least", 50))

    def test_missed_goals_end_the_tables_of_their_section(self):
        text = self.render("codec/encode_png_page/libpng", 300)
        self.assertIn("Goals that are missed, what takes the time, and what was tried:\n\n- PNG with a palette", text)
        self.assertNotIn("Goals that are missed", self.render("base64_encode/64KiB/memcpy", 50))

    def test_a_facility_without_notes_is_shown(self):
        self.assertIn("## unheard_of", self.render("unheard_of/case/peer", 100))


if __name__ == "__main__":
    unittest.main()
