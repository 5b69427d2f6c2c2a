"""Cannot be imported under its own name."""


def answer():
    """Gives what no other module gives."""
    return 42
