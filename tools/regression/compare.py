"""Runs CPython's own regression tests in a host process and in plain Python, and compares.

Each test module runs in processes of its own: in the program HOST, which loads the plug-in, and in
the interpreter that runs this file, or another system's that --python names. The run fails when a module does worse in HOST and
differences.tsv does not say so; what that file says and does not happen is reported.
"""

from __future__ import print_function

import argparse
import collections
import multiprocessing.pool
import os
import platform
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from test import regrtest

HERE = os.path.dirname(os.path.abspath(__file__))
IN_PYTHON = ('import sys; _, sys.path[0], name = sys.argv; import run_module; '
             'print(repr(run_module.run(name)))')

# Modules that take two seconds or more, mostly because they wait; --quick leaves them out.
SLOW = """
test_argparse test_capi test_distutils test_email test_epoll test_file2k test_fork1 test_ftplib
test_io test_itertools test_lib2to3 test_logging test_mailbox test_marshal test_multiprocessing
test_poll test_queue test_runpy test_select test_signal test_socket test_ssl test_subprocess
test_telnetlib test_threading test_traceback test_unicode test_wait3 test_wait4 test_xmlrpc
""".split()

# outcome is passed, skipped, failed, timed out, or how the process ended; note is why it was
# skipped; failures are the tests that failed, where the module tells them apart.
Result = collections.namedtuple('Result', 'outcome note tests skipped failures seconds')


def variables(path):
    """Give what a file of lines NAME=VALUE says, as a dictionary."""
    with open(path) as lines:
        return dict(line.rstrip('\n').split('=', 1) for line in lines if '=' in line)


def differences(name):
    """Give what a file of differences says: {module: (tests that fail in the host alone, reason)}.

    A star among the tests stands for whatever comes of the module.
    """
    with open(os.path.join(HERE, name)) as rows:
        cells = [row.rstrip('\n').split('\t') for row in rows if not row.startswith('#')]
    return {module: (frozenset(tests.split()), reason) for module, tests, reason in cells}


def begin_session():
    """Let a process begin as if from a terminal; what it starts can then be ended with it."""
    os.setsid()
    for number in (signal.SIGINT, signal.SIGPIPE):
        signal.signal(number, signal.SIG_DFL)
    # A pseudo-terminal that a test opens becomes that of the session, and hangs up when it closes.
    signal.signal(signal.SIGHUP, signal.SIG_IGN)


def run_in_time(options, command, log, folder):
    """Run a command with its output in a file; give its exit status, None after the timeout."""
    python = options.python
    if python.endswith('.exe'):
        python = 'Z:' + python  # as a program under Wine has it
    environment = dict(os.environ, TMPDIR=folder, QUILLIX_REGRESSION_PYTHON=python,
                       **options.environment)
    # They keep other tests apart from the user's settings, but are a setting to these tests.
    for name in ('PYTHONDONTWRITEBYTECODE', 'PYTHONUSERBASE', 'PYTHONPATH'):
        environment.pop(name, None)
    with open(log, 'wb') as output, open(os.devnull) as nothing:
        process = subprocess.Popen(options.through + command, cwd=folder, env=environment, stdin=nothing,
                                   stdout=output, stderr=subprocess.STDOUT,
                                   preexec_fn=begin_session, close_fds=True)
    deadline = time.time() + options.timeout
    while process.poll() is None and time.time() < deadline:
        time.sleep(0.02)
    status = process.poll()
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except OSError:
        pass  # nothing is left of it
    process.wait()
    return status


def run(options, command, log):
    """Run one module with a command and read its Result from what it wrote."""
    folder = tempfile.mkdtemp(prefix='rt')
    start = time.time()
    try:
        status = run_in_time(options, command, log, folder)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    seconds = time.time() - start

    with open(log, 'rb') as written:
        text = written.read()
    outcomes = re.findall(r"'outcome: (\w+)'", text)
    if status is None:
        outcome = 'timed out'
    elif status < 0:
        outcome = 'signal %d' % -status
    elif status > 0 or not outcomes:
        outcome = 'exit status %d' % status
    else:
        outcome = outcomes[-1]
    notes = re.findall(r'^\w+ skipped -- (.*)$', text, re.M) if outcome == 'skipped' else []
    return Result(outcome, ''.join(notes[-1:]),
                  sum(int(n) for n in re.findall(r'^Ran (\d+) tests? in ', text, re.M)),
                  sum(int(n) for n in re.findall(r'^\w+ \(.*\bskipped=(\d+)', text, re.M)),
                  frozenset(re.findall(r'^(?:FAIL|ERROR): (\S+)', text, re.M)),
                  seconds)


def does_worse(host, plain):
    """Tell whether a module's result in the host is not as good as in plain Python."""
    ranks = {'passed': 0, 'skipped': 1, 'failed': 2}
    return (ranks.get(host.outcome, 3) > ranks.get(plain.outcome, 3) or
            host.tests < plain.tests or host.skipped > plain.skipped or
            bool(host.failures - plain.failures))


class Comparison(object):
    """One module's results in the host and in plain Python."""

    def __init__(self, options, module):
        """Run the module; plain Python may be spared it when it passes in the host."""
        self.module = module
        log = os.path.join(options.logs, module)
        # Twice when it differs: some tests depend on timing.
        for _ in range(2):
            self.host = run(options,
                            [options.host, 'call', os.path.join(options.logs, 'run_module.py'),
                             'run', module], log + '.host')
            if options.quick and self.host.outcome == 'passed':
                self.plain = self.host
            else:
                self.plain = run(options, [options.python, '-c', IN_PYTHON, options.logs, module],
                                 log + '.python')
            self.differs = does_worse(self.host, self.plain)
            if not self.differs:
                break

    def failures(self):
        """Give the tests that failed in either, in one line."""
        return ', '.join(sorted(self.host.failures | self.plain.failures))


def report(comparison, known):
    """Print what is to be known of a module at once; tell whether it fails the run."""
    tests, reason = known.get(comparison.module, (frozenset(), ''))
    host, plain = comparison.host, comparison.plain
    results = '%s: %s in the host, %s in Python' % (comparison.module, host.outcome, plain.outcome)
    if comparison.differs:
        as_known = (host.failures - plain.failures == tests and host.outcome == 'failed' and
                    (host.tests, host.skipped) == (plain.tests, plain.skipped))
        if as_known or '*' in tests:
            print('%s, as expected: %s' % (results, reason))
            return False
        print('%s, unexpectedly: %d tests (%d skipped), not %d (%d); failed: %s' %
              (results, host.tests, host.skipped, plain.tests, plain.skipped,
               ', '.join(sorted(host.failures - plain.failures)) or 'none that Python passes'))
        return True
    if tests or (reason and host.outcome == 'passed'):
        print('%s; the list of differences expects otherwise' % results)
    elif host.outcome not in ('passed', 'skipped'):
        print('%s: %s' % (results, reason or comparison.failures()))
    return False


def paragraph(names):
    """Give names as lines of no more than 100 characters."""
    text = ', '.join(name[len('test_'):] for name in sorted(names))
    return '\n'.join(re.findall(r'(?:.{1,99}(?:,|$))(?: |$)', text)).replace(' \n', '\n')


def write_table(path, comparisons, known, options):
    """Write all results as a document."""
    def total(side, what):
        return sum(what(getattr(comparison, side)) for comparison in comparisons)

    def line(title, what):
        return '| %s | %d | %d |' % (title, total('host', what), total('plain', what))

    others = [c for c in comparisons if c.differs or c.host.outcome not in ('passed', 'skipped')]
    skipped = collections.defaultdict(list)
    for comparison in comparisons:
        if comparison.host.outcome == 'skipped':
            skipped[comparison.host.note].append(comparison.module)

    lines = [INTRODUCTION.format(count=len(comparisons), version=platform.python_version(),
                                 machine=platform.machine(), jobs=options.jobs,
                                 timeout=options.timeout)]
    lines += ['| | in the host | in plain Python |', '|---|---:|---:|']
    for outcome in ('passed', 'failed', 'skipped'):
        lines.append(line('modules ' + outcome, lambda r: r.outcome == outcome))
    lines.append(line('modules that crashed or took too long',
                      lambda r: r.outcome not in ('passed', 'failed', 'skipped')))
    lines.append(line('single tests run', lambda r: r.tests))
    lines.append(line('single tests skipped', lambda r: r.skipped))
    lines.append(line('single tests failed', lambda r: len(r.failures)))
    lines.append(line('seconds, one after the other', lambda r: r.seconds))

    lines += ['', '## What differs or fails', '',
              '| module | in the host | in plain Python | tests | reason |',
              '|---|---|---|---|---|']
    for c in sorted(others, key=lambda c: (not c.differs, c.module)):
        reason = known.get(c.module, ((), 'not known'))[1]
        lines.append('| %s | %s | %s | %s | %s |' % (c.module, c.host.outcome, c.plain.outcome,
                                                     c.failures() or 'all', reason))
    lines += ['', '## What is skipped', '',
              'In both, for the reason that the module itself gives:', '']
    for note, names in sorted(skipped.items(), key=lambda item: min(item[1])):
        lines.append('- %s: %s' % (note.replace('`', "'"), ', '.join(sorted(names))))
    lines += ['', '## What passes', '', 'In both; each name without its `test_`:', '',
              paragraph(c.module for c in comparisons
                        if c.host.outcome == 'passed' and c not in others)]
    with open(path, 'w') as document:
        document.write('\n'.join(lines) + '\n')


INTRODUCTION = """\
# CPython's own regression tests, inside the plug-in

`./dev regrtest` wrote this. It runs the {count} test modules of CPython {version}, each in
processes of its own: once in `quillix-host`, which loads the plug-in, calls the runner of the
tests by way of `GetModule`, `GetFunction` and `Invoke`, and receives everything that the tests
print as events of the console object; and once in plain `python2.7`, with the same runner in the
same environment. A host process at whose end something is still alive that should be gone counts
as failed. No resources are enabled (`-u` of `test.regrtest`), so nothing is fetched and no large
file is written.

The runner gives the tests what an embedding program is free to give, in both: `sys.argv`, and as
`sys.executable` the plain interpreter. Without the first no module runs at all; without the second
those tests fail that start Python programs, as `multiprocessing` and the like would in a host
program. `sys.stdout` in the host is the capture module, as for every program that uses the plug-in.

`./dev regrtest MODULE...` runs single modules, and `./dev regrtest --quick`, which is part of
`.ci/run`, all that take less than two seconds. What each module wrote stands in
`build/PRESET/regrtest/`. With `--preset i386` or `--preset sanitizers` the plug-in is that of
another build; under the sanitizers test_crypt crashes, because they take `crypt` over before the
library that has it is loaded.

`tools/regression/differences.tsv` holds the tests that are expected to fail in the host alone. A
run fails when a module does worse there than in plain Python in any other way: when its outcome is
worse, when it runs fewer tests or skips more, or when another test fails.

The figures are from {machine} with {jobs} modules at a time and {timeout:.0f} seconds for each.
"""


def main():
    """Run the modules and end with a line of totals; the exit status is 1 when one failed."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument('-j', '--jobs', type=int, default=2, help='modules run at a time')
    parser.add_argument('--timeout', type=float, default=120, help='seconds for each run')
    parser.add_argument('--logs', type=os.path.abspath, required=True,
                        help='folder for what the modules write')
    parser.add_argument('--table', help='document to write the results to')
    parser.add_argument('--quick', action='store_true',
                        help='leave slow modules out, and plain Python where the host passes')
    parser.add_argument('--python', default=sys.executable, help='the plain interpreter')
    parser.add_argument('--through', type=shlex.split, default=[], metavar='COMMAND',
                        help='what runs both programs, when they are for another system')
    parser.add_argument('--environment', type=variables, default={}, metavar='FILE',
                        help='lines of NAME=VALUE for both programs')
    parser.add_argument('host', type=os.path.abspath, metavar='HOST',
                        help='the program quillix-host')
    parser.add_argument('modules', metavar='MODULE', nargs='*', help='all when left out')
    options = parser.parse_args()

    every = regrtest.findtests(os.path.join(os.path.dirname(options.python), 'Lib', 'test')
                               if options.python != sys.executable else None)
    unknown = set(options.modules).difference(every)
    if unknown:
        parser.error('no test module ' + ', '.join(sorted(unknown)))
    modules = options.modules or [module for module in every
                                  if not options.quick or module not in SLOW]
    if not os.path.isdir(options.logs):
        os.makedirs(options.logs)
    # There its bytecode is in nobody's way.
    shutil.copy(os.path.join(HERE, 'run_module.py'), options.logs)
    windows = options.python.endswith('.exe')
    known = differences('differences-windows.tsv' if windows else 'differences.tsv')
    comparisons = []
    failed = 0
    outcomes = collections.Counter()
    # Slow ones first, so that none is left running alone at the end.
    modules.sort(key=lambda module: module not in SLOW)
    pool = multiprocessing.pool.ThreadPool(options.jobs)
    for comparison in pool.imap_unordered(lambda module: Comparison(options, module), modules):
        comparisons.append(comparison)
        if report(comparison, known):
            failed += 1
        else:
            outcomes[comparison.host.outcome] += 1
        sys.stdout.flush()

    if options.table:
        write_table(options.table, comparisons, known, options)
    passed, skipped = outcomes['passed'], outcomes['skipped']
    print('%d passed, %d failed, %d skipped, %d known to fail or failing in plain Python too' %
          (passed, failed, skipped, len(comparisons) - passed - failed - skipped))
    return 1 if failed or not passed + skipped else 0


if __name__ == '__main__':
    sys.exit(main())
