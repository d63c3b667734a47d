"""Runs one test method: exit status 0 passed, 1 failed, 77 skipped (with the reason)."""

import sys
import unittest


def main():
    result = unittest.TextTestRunner(verbosity=2).run(unittest.defaultTestLoader.loadTestsFromName(sys.argv[1]))
    if not result.wasSuccessful() or result.testsRun != 1:
        return 1
    return 77 if result.skipped else 0


if __name__ == "__main__":
    sys.exit(main())
