"""A module with one attribute of each kind, for host code to hold and use."""
import sys

number = 5
big = 1 << 40
fraction = 1.5
truth = True
text = 'text'
pair = (1, 'two')
items = [3, 1, 2]
mapping = {'number': 5, 'big': big, 'fraction': fraction, 'truth': truth,
           'text': text, 'pair': pair, 'items': items, 'mapping': {}}


class Class(object):
    """Carries the attributes of the module."""

    number, big, fraction, truth, text = number, big, fraction, truth, text
    pair, items, mapping = pair, items, mapping

    def call(self, *arguments):
        """Answers with its arguments."""
        return arguments


class Classic:
    """A class of the old kind."""

    text = text


def call(*arguments):
    """Prints, calls host code with the arguments, and answers with its answer."""
    import published
    sys.stdout.write(u'calling ')
    return published.function(*arguments)


def give_tuple():
    """Gives a tuple."""
    return pair


def give_dict():
    """Gives a dict."""
    return mapping
