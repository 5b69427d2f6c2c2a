"""One module of CPython's own regression tests, run by the machinery they come with.

The same function runs in a host process, through the plug-in, and in the plain interpreter.
"""

import os
import sys

# What a script finds and an embedding program may or may not give; the tests take it for granted.
# Programs that they start are run by the plain interpreter in both cases.
sys.argv = ['-c']
sys.executable = os.environ['QUILLIX_REGRESSION_PYTHON']

from test import regrtest  # noqa: E402

OUTCOMES = {
    regrtest.PASSED: 'passed',
    regrtest.ENV_CHANGED: 'passed',  # but left a file, a setting or a process behind
    regrtest.FAILED: 'failed',
    regrtest.SKIPPED: 'skipped',
    regrtest.RESOURCE_DENIED: 'skipped',
    regrtest.TEST_DID_NOT_RUN: 'skipped',
}


def run(name):
    """Run the test module of that name in the current folder and say how it ended.

    Because it is to be verbose, its tests report one by one to the sys.stdout that is there.
    """
    outcome, _ = regrtest.runtest(name, verbose=True, quiet=False, use_resources=[])
    return 'outcome: ' + OUTCOMES[outcome]
