# -*- coding: utf-8 -*-
"""Python code that lives inside a host program and calls back into it.

The host publishes the module ``bank`` before it imports this one: functions
that are host functions, and the class ``Ledger`` whose methods are host
functions too. Everything printed here reaches the host's console handler.
"""

import bank


class Account(bank.Ledger):
    """A class of the host, extended in Python.

    The host's part of an account is a host object. Python code only carries it
    about, in a capsule.
    """

    def __init__(self, owner):
        self.record = bank.open_account(owner)

    def deposit(self, amount):
        bank.Ledger.deposit(self, self.record, amount)
        return self

    def balance(self):
        return bank.Ledger.balance(self, self.record)


def show_values():
    """Sends one value of every type to the host and gets it back."""
    values = [
        5, -(2 ** 31), 2 ** 31, -(2 ** 63), 2 ** 64 - 1, 2.5, True, None,
        'Z\xc3\xbcrich', 'a NUL \0 inside', (1, 'two'), [1, 2, 3], {'k': 'v'},
    ]
    for value in values:
        returned = bank.echo(value)
        same = 'the same' if returned == value else 'now %r' % (returned,)
        print '%-22s is %-26s and came back %s' % (
            repr(value), bank.kind_of(value), same)


def show_object():
    """Lets a host object travel through Python's own containers."""
    record = bank.open_account('Grace')
    baggage = {'inside': [('deeper', record)]}
    print 'the host object came back the same:', bank.is_account_of(
        baggage['inside'][0][1], 'Grace')


def show_class():
    """Uses the host's class through a subclass written in Python."""
    account = Account('Zo\xc3\xab').deposit(70).deposit(30)
    print 'balance of', bank.owner(account.record), 'is', account.balance()


def show_errors():
    """Catches what the host raises."""
    try:
        Account('Ada').deposit(-5)
    except ValueError, error:
        print 'the host refused:', error


def run():
    show_values()
    show_object()
    show_class()
    show_errors()
    return 'done', bank.accounts_opened()
