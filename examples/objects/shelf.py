"""Keeps objects of the host in Python's own structures. Python 2.7.

To Python, an object of the host is a capsule: it can be kept, passed on and given back, and nothing
else. As long as Python has it, the host's object lives.
"""

_shelf = {}     # documents by title
_history = []   # (number, title, document), in the order of arrival


def put(title, document):
    _shelf[title] = document
    _history.append((len(_history) + 1, title, document))


def get(title):
    """The document, or None when there is none of that title."""
    return _shelf.get(title)


def first():
    """The first entry of the history: a tuple with a document in it."""
    return _history[0]


def everything():
    """All documents twice, in a tuple: a dict by title, and a list in the order of titles."""
    return dict(_shelf), [_shelf[title] for title in sorted(_shelf)]


def remove(title):
    """A title that is not there raises KeyError."""
    document = _shelf.pop(title)
    # The history has it too; without this, the document would live on.
    _history[:] = [entry for entry in _history if entry[2] is not document]
