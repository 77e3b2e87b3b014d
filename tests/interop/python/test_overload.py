"""Clients that send as fast as they can. The figures are those of overload.py; here is what no busy machine excuses.

| covered                                                                   | kind       |
|---------------------------------------------------------------------------|------------|
| a master that reads is served while three clients flood, and three deaf   | robustness |
| those who flood have equal shares                                         | robustness |
"""

import unittest

from overload import LEAST_SHARE, Load, measure

SECONDS = 1
# A flood that is not held back costs seconds. What a busy machine adds is far below this.
LIMIT_MS = 100


class Overload(unittest.TestCase):
    def assert_served(self, load):
        result = measure(load, SECONDS)
        self.assertLess(result.median, LIMIT_MS)
        self.assertGreater(result.share, LEAST_SHARE)

    def test_three_that_read(self):
        self.assert_served(Load(3, False))

    def test_three_that_never_read(self):
        self.assert_served(Load(3, True))


if __name__ == "__main__":
    unittest.main()
