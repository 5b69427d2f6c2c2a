"""Python code that extends a class of its host. Python 2.7.

The host publishes the module ``bank`` before it imports this one: the class ``Account``, whose methods
are functions of the host, and ``open_account``, which gives the host's own part of an account.
"""

import bank


class Account(bank.Account):
    """An account for Python code. `record` is an object of the host, which Python only hands on."""

    def __init__(self, owner):
        self.record = bank.open_account(owner)

    def deposit(self, cents):
        bank.Account.deposit(self, self.record, cents)

    def balance(self):
        return bank.Account.balance(self, self.record)


class SavingsAccount(Account):
    """Adds what the host knows nothing about: interest, and a limit for withdrawals."""

    def __init__(self, owner, percent):
        Account.__init__(self, owner)
        self.percent = percent

    def add_interest(self):
        self.deposit(self.balance() * self.percent // 100)

    def withdraw(self, cents):
        if cents * 2 > self.balance():
            raise ValueError('no more than half of the savings at a time')
        bank.Account.withdraw(self, self.record, cents)


def use():
    """Gives the account's record, so that the host sees what has become of it."""
    account = SavingsAccount('Zo\xc3\xab', 3)
    account.deposit(20000)
    account.add_interest()
    print 'with interest:', account.balance()

    # An error that the host raises is an exception like any other.
    try:
        account.deposit(-5)
    except ValueError as error:
        print 'the host refused:', error
    try:
        bank.Account.balance(account, 'no record')
    except TypeError as error:
        print 'the host refused:', error

    account.withdraw(600)
    return account.record


def try_to_withdraw(cents):
    """For the host: True, or the text of the error. The text of an exception that Python code raises
    and does not catch would not reach the host."""
    account = SavingsAccount('Ada', 3)
    account.deposit(1000)
    try:
        account.withdraw(cents)
        return True
    except ValueError as error:
        return str(error)
