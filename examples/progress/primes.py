"""A long calculation that tells its host how far it is. Python 2.7.

The module ``ui`` is the host's: it is published before this one is imported.
"""

import ui


class Cancelled(Exception):
    """The host does not want to wait any longer."""


def sieve(limit, step):
    flags = bytearray([1]) * limit
    found = 0
    for n in xrange(2, limit):
        if flags[n]:
            found += 1
            flags[n * n::n] = bytearray(len(flags[n * n::n]))
        if (n + 1) % step == 0 and not ui.progress(n + 1, limit, '%d primes' % found):
            raise Cancelled(n + 1)
    return found


def count_primes(limit, step):
    """Counts the primes below `limit`, and calls the host after every `step` numbers. Gives the
    number and True; or how far it came and False, when the host has cancelled it."""
    try:
        return sieve(limit, step), True
    except Cancelled as cancelled:
        return cancelled.args[0], False


def call_it_wrong():
    ui.progress('half')
