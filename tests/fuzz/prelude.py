"""What Python does with what host code hands over."""

import cStringIO

number = 5
big = 1 << 40
huge = 1 << 70
fraction = 1.5
truth = True
text = 'text'
pair = (1, 'two')
items = [3, 1, 2]
mapping = {'number': 1, 'text': 'x', 5: 'five', (1, 'two'): []}
capsule = cStringIO.cStringIO_CAPI
held = []


class Survivor(object):
    """Outlives its interpreter, with a function that was published to it."""

    def __init__(self):
        import published
        self.circle, self.function = self, published.function


survivor = Survivor()


def first(*arguments):
    """Answers with the first argument."""
    return arguments[0]


def echo(*arguments):
    """Answers with a tuple of the arguments."""
    return arguments


def hold(*arguments):
    """Keeps the arguments, and answers with all that is kept."""
    held.extend(arguments[:3])
    return held


def release(*arguments):
    """Lets go of what was kept."""
    del held[:]


def back(*arguments):
    """Calls the host."""
    import published
    return published.function(*arguments)


def say(*arguments):
    """Prints to the console."""
    print 'said', len(arguments)


def fail(*arguments):
    """Raises an exception."""
    raise ValueError(arguments)


def unwind(*arguments):
    """Lets go of a host object while an exception is in flight."""
    import published
    error = ValueError(arguments)

    def fail():
        raise error
    try:
        first(published.make(), fail())
    except ValueError, caught:
        if caught is not error:
            raise SystemError('another exception')


def change(*arguments):
    """Changes whatever can be changed."""
    for argument in arguments:
        if isinstance(argument, list):
            argument[1:] = [argument, 'changed', 1L, 2.5]
        elif isinstance(argument, dict):
            argument.clear()
            argument['text'] = argument


class Odd(object):
    """Calls the host at every occasion."""

    text = 'class'

    def _call(self, *arguments):
        back(self, *arguments)
        return True

    __eq__ = __nonzero__ = __getattr__ = __setattr__ = __delattr__ = _call
    __lt__ = __call__ = __cmp__ = _call

    def __hash__(self):
        self._call()
        return hash('text')

    def __del__(self):
        self._call()


class Class(object):
    """Carries attributes."""

    def __init__(self):
        self.number, self.text, self.items = 5, 'text', [1, 2]

    def call(self, *arguments):
        """Answers with the instance."""
        return self


class Int(int):
    """An int that is none."""

    __cmp__ = back


class Str(str):
    """A str that is none."""

    __eq__ = back

    def __hash__(self):
        return hash('text')


def odd(*arguments):
    """Makes values that behave in their own way."""
    return (Odd(), Int(5), Str('text'), float('nan'), huge, capsule, u'text', None,
            big, -big, 1 << 63, -5L, Class(), {Odd(): 1}, [Odd(), Odd()], fraction, truth)
