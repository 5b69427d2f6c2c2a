"""Python code on the host's behalf.

The plug-in carries numbers, texts, tuples, dictionaries and objects of the
host between the host's language and Python.  This module does the rest in
Python: full error texts, keyword arguments, objects of any class, source
code, ``unicode``, iteration, numbers in bytes, jobs in the background,
streams and virtual environments.  Host code reaches it with
``Quillix.GetModule("quillix")`` and calls its functions with
``GetFunction`` and ``Invoke``.

Values.  A function that answers with a value converts it, all the way down,
to something that every class of the plug-in reads in the same way:

    whole number            ``long`` (``Int64Value``, ``UInt64Value``), or
                            its digits as text beyond 64 bits
    float, bool, None       themselves
    str, unicode            ``str``; unicode becomes UTF-8
    bytearray, buffer       ``str``
    list, tuple, set        ``tuple``
    dict                    ``dict``
    object of the host      itself
    all else                its text, a ``str``

Objects.  A function whose name ends in ``_object``, and ``create``, keeps
what it finds as it is and answers with a name for it, such as
"quillix.objects.7".  The name works

    in ``Quillix.GetModule(name)``, whose fields and functions then are those
    of the object;

    in ``Quillix.GetModule("quillix.objects").GetClass(name)``, whose
    ``CreateInstance`` gives the object as a ``PythonInstance``;

    wherever a function of this module takes an object, and as an argument
    of a call.  "quillix.objects.None" stands for ``None``.

A kept object lives until ``release``.  Where texts come from elsewhere, and
one of them may happen to look like such a name, ``literal`` leaves every
text a text.

Errors.  A function that fails raises ``Error``: ``Invoke`` answers Nil,
``Quillix.GetError`` gives the class and the message of what went wrong in
one line, and ``last_error`` the rest.  An error of anything else that is
still pending when a function of this module is called is taken, and is what
``last_error`` describes.  ``error_text`` is that of what is pending, and of
nothing else.
"""

import __builtin__
import array
import atexit
import collections
import copy
import functools
import itertools
import operator
import os
import struct
import sys
import types

__all__ = [
    'Cancelled', 'Error', 'activate', 'at_address', 'at_address_object',
    'call', 'call_unicode', 'cancel_job', 'checkpoint', 'create', 'deactivate',
    'delete_item', 'end_jobs', 'error_text', 'evaluate', 'evaluate_object',
    'execute', 'execute_file', 'get_attribute', 'get_attribute_object',
    'get_item', 'get_item_object', 'insert_path', 'integer_object', 'iterate',
    'job_result', 'job_result_object', 'keep', 'kept', 'last_error', 'load',
    'next_items', 'next_objects', 'pack', 'poll_job', 'python_info',
    'redirect_errors', 'redirect_input', 'redirect_output', 'release',
    'represent', 'restore_streams', 'run_script', 'set_arguments',
    'set_attribute', 'set_item', 'start_job', 'text', 'type_name',
    'unicode_object', 'unpack', 'unpack_object', 'value', 'wrap',
]
__version__ = '1.0.0'


# Kept objects.  Each stands in sys.modules under its name, where an import,
# and so GetModule, finds it without asking whether it is a module.

_PREFIX = 'quillix.objects.'
_NONE = _PREFIX + 'None'


class _Objects(types.ModuleType):
    """The kept objects: each is what its attribute, when called, returns."""

    def __getattr__(self, name):
        if not _is_kept_name(name) or name not in sys.modules:
            raise AttributeError(name)
        kept_object = sys.modules[name]
        return lambda: kept_object


def _is_kept_name(name):
    return (isinstance(name, str) and name.startswith(_PREFIX) and
            (name[len(_PREFIX):].isdigit() or name == _NONE))


def _keep(kept_object):
    name = _PREFIX + str(next(_objects.numbers))
    sys.modules[name] = kept_object
    return name


def _kept(name):
    try:
        return sys.modules[name]
    except KeyError:
        raise LookupError('%s is not kept' % name)


def _object(given):
    """Return the kept object of that name, or else what was given."""
    return _kept(given) if _is_kept_name(given) else given


def _resolved(names, literal=False):
    return dict((name, given if literal else _object(given))
                for name, given in names.items())


def _sequence(arguments):
    """Return arguments as they are, but refuse a text: it is one of them."""
    if isinstance(arguments, basestring):
        raise TypeError('arguments are given in a tuple or list')
    return arguments or ()


def _arguments(arguments, keywords, literal):
    arguments = _sequence(arguments)
    return (arguments if literal else map(_object, arguments),
            _resolved(keywords or {}, literal))


def _module(name):
    """Import a module; None where there is none of that name."""
    try:
        __import__(name)
    except ImportError as error:
        # Raised by the import itself, which did not find it, or by what is
        # there: code of the module, or a library that cannot be loaded?
        missing = 'No module named '
        if (sys.exc_info()[2].tb_next is None and
                str(error).startswith(missing) and
                ('.' + name).endswith('.' + str(error)[len(missing):])):
            return None
        raise
    return sys.modules[name]


def _named(name):
    """Return what a dotted name, or the name of a kept object, stands for.

    What is no text is returned as it is.
    """
    if isinstance(name, unicode):
        name = name.encode('utf-8')
    if not isinstance(name, str):
        return name
    parts = name.split('.')
    used = '.'.join(parts[:3])
    if _is_kept_name(used):
        found = _kept(used)
        for part in parts[3:]:
            found = getattr(found, part)
        return found
    used = parts[0]
    found = _module(used)
    if found is None:
        try:
            found = getattr(__builtin__, used)
        except AttributeError:
            raise LookupError('there is no module or built-in %r' % used)
    for part in parts[1:]:
        used += '.' + part
        try:
            found = getattr(found, part)
        except AttributeError:
            submodule = None
            if isinstance(found, types.ModuleType):
                submodule = _module(used)
            if submodule is None:
                raise AttributeError('there is no %s' % used)
            found = submodule
    return found


def _callable(target):
    # The module "repr" and its like are not what is meant here.
    found = None
    if isinstance(target, str):
        found = getattr(__builtin__, target, None)
    if found is None:
        found = _named(target)
    if not callable(found):
        raise TypeError('%s cannot be called' % _type_name(found))
    return found


# Values and texts.

def _plain(made):
    """Return a text, also of a subclass, as a bare str in UTF-8."""
    if isinstance(made, unicode):
        return unicode.encode(made, 'utf-8')
    return str.__str__(made)


def _text(given):
    """Return the text of anything, in UTF-8, whatever its class does."""
    for convert in (str, unicode, repr):
        try:
            return _plain(convert(given))
        except:  # noqa: E722, an old-style class can be raised as well
            pass
    return '<%s>' % _type_name(given)


# A metaclass may hide these behind attributes of its own, which may raise.

def _class_name(kind):
    if issubclass(type(kind), type):
        return type.__dict__['__name__'].__get__(kind)
    return kind.__name__


def _class_module(kind):
    try:
        if issubclass(type(kind), type):
            return _text(type.__dict__['__module__'].__get__(kind))
        return _text(kind.__module__)
    except AttributeError:
        return ''


_HEAP_TYPE = 1 << 9


def _is_capsule(kind):
    """Tell Python's own class from one of that name."""
    return (_class_name(kind) == 'PyCapsule' and
            not type.__dict__['__flags__'].__get__(kind) & _HEAP_TYPE)


def _type_name(given):
    kind = type(given)
    if kind is types.InstanceType:
        kind = given.__class__
    module = _class_module(kind)
    if module in ('__builtin__', 'exceptions', ''):
        return _class_name(kind)
    return '%s.%s' % (module, _class_name(kind))


def _readable(line):
    """Return a text as UTF-8 that is not always well-formed UTF-8."""
    if isinstance(line, unicode):
        return line.encode('utf-8')
    try:
        line.decode('utf-8')
    except UnicodeDecodeError:
        return line.decode('latin-1').encode('utf-8')
    return line


class _Conversion(object):
    """Makes values as the module's description says, each container once.

    A container that contains itself is written there as Python's repr()
    writes it.  Where a container stands in more than one place, so does
    what was made of it.
    """

    def __init__(self, with_host_objects=True):
        self._with_host_objects = with_host_objects
        # By id: a container, what was made of it, and the ids of those
        # around it that are cut off in there.
        self._made = {}
        self._around = set()
        self._cut = set()

    def value(self, given):
        kind = type(given)
        if given is None or kind in (str, bool, float, long):
            if kind is long and not -2 ** 63 <= given < 2 ** 64:
                return str(given)
            return given
        if issubclass(kind, int):
            return int.__long__(given)
        if issubclass(kind, long):
            return self.value(long.__long__(given))
        if issubclass(kind, str):
            return str.__str__(given)
        if issubclass(kind, unicode):
            return unicode.encode(given, 'utf-8')
        if issubclass(kind, float):
            return float.__pos__(given)
        if issubclass(kind, bytearray):
            return bytearray.__str__(given)
        if kind is buffer:
            return str(given)
        if kind is memoryview:
            return given.tobytes()
        if issubclass(kind, dict):
            return self._container(given, self._dict, '{...}')
        if issubclass(kind, (list, tuple, set, frozenset)):
            return self._container(given, self._tuple, '[...]')
        if self._with_host_objects and _is_capsule(kind):
            return given
        return _text(given)

    def _container(self, given, make, mark):
        number = id(given)
        if number in self._around:
            self._cut.add(number)
            return mark
        if number in self._made:
            _, made, cut = self._made[number]
            if cut <= self._around:
                self._cut |= cut
                return made
        cut_beside, self._cut = self._cut, set()
        self._around.add(number)
        try:
            made = make(given)
        finally:
            self._around.remove(number)
        self._cut.discard(number)
        self._made[number] = given, made, self._cut
        self._cut = self._cut | cut_beside
        return made

    def _dict(self, given):
        return dict((self._key(key), self.value(item))
                    for key, item in given.items())

    def _tuple(self, given):
        return tuple([self.value(item) for item in given])

    def _key(self, key):
        made = self.value(key)
        try:
            hash(made)
        except TypeError:
            return _text(key)
        return made


def _value(given):
    return _Conversion().value(given)


def _decoded(given, literal, known=None):
    """Return `given` with every text as unicode, but for kept names.

    literal: these as well.  known: what became of the containers so far, by
    their ids.
    """
    if isinstance(given, str):
        is_name = not literal and _is_kept_name(given)
        return given if is_name else given.decode('utf-8')
    if not isinstance(given, (list, tuple, dict)):
        return given
    known = {} if known is None else known
    if id(given) not in known:
        if isinstance(given, tuple):
            # Not by the class's own rules: a named tuple takes its items
            # one by one.
            known[id(given)] = tuple.__new__(
                type(given), [_decoded(item, literal, known) for item in given])
        elif isinstance(given, list):
            made = known[id(given)] = copy.copy(given)
            made[:] = [_decoded(item, literal, known) for item in given]
        else:
            made = known[id(given)] = {}
            for key, item in given.items():
                made[_decoded(key, literal, known)] = _decoded(item, literal,
                                                               known)
    return known[id(given)]


# Errors.

class Error(Exception):
    """What the functions of this module raise, with one line about it."""

    def __init__(self, *arguments):
        Exception.__init__(self, *arguments)
        # Python makes the instance when somebody catches what _raise()
        # raised.
        last = _objects.last_error
        told = len(arguments) == 1 and arguments[0] is last['text']
        self._description = last if told else None


_NO_ERROR = {'class': '', 'module': '', 'message': '', 'text': '',
             'arguments': (), 'traceback': '', 'file': '', 'line': 0L}


def _here(traceback):
    return traceback.tb_frame.f_code.co_filename == _here.func_code.co_filename


def _note_error():
    """Describe the exception that is being handled; return it in a line."""
    kind, raised, position = sys.exc_info()
    try:
        description = None
        if kind is Error:
            description = getattr(raised, '_description', None)
        if description is None:
            while position is not None and _here(position):
                position = position.tb_next
            description = _description(kind, raised, position)
        _objects.last_error = description
        return description['text']
    finally:
        del position, raised


def _description(kind, raised, position):
    """Describe an exception, whatever its class does."""
    name = _class_name(kind)
    is_syntax_error = issubclass(kind, SyntaxError)
    message = _text(raised)
    if is_syntax_error:
        told = _attribute_of(raised, 'msg')
        message = '' if told is None else _text(told)
    line = _readable(name + (': ' + message if message else ''))
    file_name, number = _place(raised, position, is_syntax_error)
    return {
        'class': name,
        'module': _class_module(kind),
        'message': _readable(message),
        'text': line,
        'arguments': _arguments_of(raised),
        'traceback': _traceback(kind, raised, position, line),
        'file': file_name,
        'line': number,
    }


def _attribute_of(raised, name):
    try:
        return getattr(raised, name)
    except:  # noqa: E722, any class can be raised
        return None


def _place(raised, position, is_syntax_error):
    """Return where it was raised: a file and a line."""
    if is_syntax_error:
        file_name = _attribute_of(raised, 'filename')
        number = _attribute_of(raised, 'lineno')
        if isinstance(file_name, basestring) and file_name:
            is_number = isinstance(number, (int, long))
            return _plain(file_name), _value(number) if is_number else 0L
    if position is None:
        return '', 0L
    while position.tb_next is not None:
        position = position.tb_next
    return position.tb_frame.f_code.co_filename, long(position.tb_lineno)


def _arguments_of(raised):
    # What is kept here must not keep an object of the host alive.
    try:
        return _Conversion(with_host_objects=False).value(tuple(raised.args))
    except:  # noqa: E722, with any `args` or none
        return ()


def _traceback(kind, raised, position, line):
    import traceback
    lines = traceback.format_tb(position)
    if lines:
        lines.insert(0, 'Traceback (most recent call last):\n')
    try:
        if issubclass(kind, SyntaxError):
            told = traceback.format_exception_only(kind, raised)
        else:
            told = [line + '\n']
        return ''.join(map(_readable, lines + told))
    except:  # noqa: E722, a SyntaxError of odd parts
        return ''.join(map(_readable, lines)) + line + '\n'


def _note_pending():
    """Take and describe an error that was pending when host code called.

    Result: whether there was one.

    What takes a C number looks whether -1 stands for an error, and raises
    it; the end of a loop would do so too, but swallow a StopIteration.
    """
    try:
        xrange(-1)
        return False
    except:  # noqa: E722, whatever it is
        _note_error()
        return True


def _raise(line):
    """Raise Error with a bare str as the error's value.

    That is what GetError can read.  A raise statement would make an
    instance of it at once, and so would a try statement around this.
    """
    set_error = _error_setter()
    if set_error is None:
        raise Error(line)
    set_error(Error, line)


def _error_setter():
    global _set_error
    if _set_error is _UNKNOWN:
        try:
            from ctypes import PYFUNCTYPE, py_object, pythonapi
            _set_error = PYFUNCTYPE(None, py_object, py_object)(
                ('PyErr_SetObject', pythonapi))
        except Exception:
            _set_error = None
    return _set_error


_UNKNOWN = object()
_set_error = _UNKNOWN


def _public(function):
    """Make a function of the module raise nothing but Error."""
    @functools.wraps(function)
    def guarded(*arguments, **keywords):
        _note_pending()
        try:
            return function(*arguments, **keywords)
        except:  # noqa: E722, also what is no Exception
            line = _note_error()
        _raise(line)
    return guarded


def last_error():
    """Describe the last error.

    That is the last failure of a function of this module, or of anything
    else whose error was still pending when one of them was called.

    Result: a dict with the keys "class", its name; "module", where that is
    defined; "message"; "text", class and message in one line; "arguments",
    a tuple of what the exception was made with; "traceback", as Python
    prints it; "file" and "line", where it was raised; "pending", whether it
    was pending just now, and not an old story.  All are empty while nothing
    has failed.
    """
    pending = _note_pending()
    return dict(_objects.last_error, pending=pending)


def error_text():
    """Take the error that is pending, and tell it in one line.

    Result: class and message, such as "KeyError: 'melon'"; an empty text
    when nothing was pending.
    """
    return _objects.last_error['text'] if _note_pending() else ''


@_public
def load(name):
    """Import a module, and say readably why that fails.

    name: as for GetModule.  Result: the name, to get the module with.
    Errors: ImportError, SyntaxError, and whatever the module's own code
    raises.
    """
    __import__(name)
    return name


# Calls.

@_public
def call(target, arguments=(), keywords=None, literal=False):
    """Call something with positional and keyword arguments.

    target: what to call: the name of a built-in such as "len", a dotted
    name such as "json.dumps", the name of a kept object, also with further
    names behind it ("quillix.objects.7.append"), or anything that can be
    called.
    arguments: a tuple or list.  keywords: a dict.  In both, the name of a
    kept object stands for the object, unless `literal`.

    Result: the result as a value.  Errors: whatever the call raises;
    LookupError or AttributeError when there is no such target.
    """
    arguments, keywords = _arguments(arguments, keywords, literal)
    return _value(_callable(target)(*arguments, **keywords))


@_public
def call_unicode(target, arguments=(), keywords=None, literal=False):
    """Call something like call(), with all texts in unicode.

    Every ``str`` among the arguments and keywords, also inside tuples,
    lists and dicts, is decoded from UTF-8.

    Result and errors: those of call(); UnicodeDecodeError for a text that
    is not UTF-8.
    """
    arguments, keywords = _arguments(_decoded(arguments, literal),
                                     _decoded(keywords or {}, literal),
                                     literal)
    return _value(_callable(target)(*arguments, **keywords))


@_public
def create(target, arguments=(), keywords=None, literal=False):
    """Call a class, or anything else, and keep what it returns.

    Arguments and errors: those of call().

    Result: the name of the new object.
    """
    arguments, keywords = _arguments(arguments, keywords, literal)
    return _keep(_callable(target)(*arguments, **keywords))


class _Wrapped(object):
    """A callable whose failures are told and whose results are values."""

    def __init__(self, target, literal):
        self._target = target
        self._literal = literal

    def _invoke(self, *arguments):
        arguments, keywords = _arguments(arguments, None, self._literal)
        return _value(self._target(*arguments, **keywords))

    invoke = _public(_invoke)


@_public
def wrap(target, literal=False):
    """Make a function of which nothing is lost when it fails.

    target, literal: as for call().

    Result: the name of an object with one function, "invoke", which takes
    the target's arguments: ``GetModule(name).GetFunction("invoke")``.  Its
    results and errors are those of call().
    """
    return _keep(_Wrapped(_callable(target), literal))


# Objects.

@_public
def keep(given):
    """Keep an object.

    given: any object, for instance one that a ``PythonEntity`` holds, or a
    dotted name.  Result: the name of the object.
    """
    return _keep(_named(given))


@_public
def kept():
    """Tell which objects are kept.

    Result: a tuple of their names, oldest first.
    """
    numbers = [int(name[len(_PREFIX):]) for name in list(sys.modules)
               if _is_kept_name(name) and name != _NONE]
    return tuple([_PREFIX + str(number) for number in sorted(numbers)])


@_public
def release(*names):
    """Let go of kept objects.

    names: the names of objects, or none, which means all of them.

    Result: how many were kept.  Names that are not kept are passed over.
    """
    # All are taken out before the first of them goes.
    released = [sys.modules.pop(name) for name in names or kept()
                if _is_kept_name(name) and name != _NONE and
                name in sys.modules]
    return long(len(released))


@_public
def value(given):
    """Read an object as a value.

    given: an object or the name of a kept one.  Result: its value.
    """
    return _value(_object(given))


@_public
def text(given):
    """Read the text of an object, as ``print`` writes it.

    given: an object or the name of a kept one.  Result: a str in UTF-8,
    also for an object whose own methods fail.
    """
    return _text(_object(given))


@_public
def represent(given):
    """Read an object as Python source would write it, where it can be.

    given: an object or the name of a kept one.  Result: a str in UTF-8.
    Errors: whatever the object's ``__repr__`` raises.
    """
    return repr(_object(given))


@_public
def type_name(given):
    """Tell the class of an object.

    given: an object or the name of a kept one.

    Result: the name, such as "int" or "collections.OrderedDict".
    """
    return _type_name(_object(given))


def _attribute(given, name):
    found = _named(given)
    for part in name.split('.'):
        found = getattr(found, part)
    return found


@_public
def get_attribute(given, name):
    """Read an attribute as a value.

    given: an object, the name of a kept one, or a dotted name.
    name: of the attribute; with dots, of an attribute of an attribute.

    Result: the attribute's value.  Errors: AttributeError.
    """
    return _value(_attribute(given, name))


@_public
def get_attribute_object(given, name):
    """Keep what an attribute holds.

    Arguments and errors: those of get_attribute().  Result: its name.
    """
    return _keep(_attribute(given, name))


@_public
def set_attribute(given, name, new, literal=False):
    """Set an attribute.

    given, name: as for get_attribute().  new: what it shall hold; the name
    of a kept object stands for the object, unless `literal`.  Errors:
    AttributeError.
    """
    owner, _, last = name.rpartition('.')
    owner = _attribute(given, owner) if owner else _named(given)
    setattr(owner, last, new if literal else _object(new))


@_public
def get_item(given, key):
    """Read an item of a list, dict or anything with items, as a value.

    given: an object or the name of a kept one.  key: an index or key; the
    name of a kept object stands for the object.

    Result: the item's value.  Errors: IndexError, KeyError.
    """
    return _value(_object(given)[_object(key)])


@_public
def get_item_object(given, key):
    """Keep an item of a list, dict or anything with items.

    Arguments and errors: those of get_item().  Result: its name.
    """
    return _keep(_object(given)[_object(key)])


@_public
def set_item(given, key, new, literal=False):
    """Set an item.

    given, key: as for get_item().  new: the item; the name of a kept object
    stands for the object, unless `literal`, as in the key.  Errors:
    IndexError, KeyError, TypeError.
    """
    _object(given)[key if literal else _object(key)] = (
        new if literal else _object(new))


@_public
def delete_item(given, key):
    """Delete an item.

    Arguments and errors: those of get_item().
    """
    del _object(given)[_object(key)]


@_public
def unicode_object(given, encoding='utf-8'):
    """Keep a text as ``unicode``.

    given: a str.  encoding: the encoding of its bytes.

    Result: the name of the object.  Errors: UnicodeDecodeError.
    """
    return _keep(given.decode(encoding))


@_public
def integer_object(digits, base=10):
    """Keep a whole number of any size.

    digits: the number as text.  base: 2 to 36, or 0 for Python's prefixes.

    Result: the name of the object.  Errors: ValueError.
    """
    return _keep(long(digits, base))


# Iteration.

class _Batches(object):
    """An iterator that is asked for many items at a time."""

    def __init__(self, iterable):
        self._iterator = iter(iterable)
        self._error = None

    is_batches = True  # also for the class of before a reload

    def take(self, count, convert):
        """Return up to `count` items; a failure waits for the next call."""
        if self._error is not None:
            kind, raised, position = self._error
            self._error = None
            raise kind, raised, position
        items = []
        try:
            for item in itertools.islice(self._iterator, count):
                items.append(convert(item))
        except:  # noqa: E722, raised again, or by the next call
            if not items:
                raise
            self._error = sys.exc_info()
        return items


@_public
def iterate(given):
    """Begin to go through an iterable.

    given: an object or the name of a kept one.

    Result: a name for next_items() and next_objects().  Errors: TypeError
    for what cannot be iterated.
    """
    return _keep(_Batches(_object(given)))


def _next(name, count, convert):
    if count < 1:
        raise ValueError('a batch has at least one item')
    batches = _object(name)
    if not hasattr(type(batches), 'is_batches'):
        raise TypeError('%s is not from iterate()' % _text(name))
    items = batches.take(count, convert)
    if not items:
        sys.modules.pop(name, None)
    return tuple(items)


@_public
def next_items(name, count=100):
    """Take the next items as values.

    name: what iterate() gave.  count: how many items at most.

    Result: a tuple.  The empty tuple says that there are no more; `name` is
    then released.  Errors: whatever the iterable raises, or reading an item
    does, once the items before that have been handed out; the next call goes
    on behind it.  ValueError for a count below 1.
    """
    return _next(name, count, _value)


@_public
def next_objects(name, count=100):
    """Take the next items and keep each.

    Arguments and errors: those of next_items().

    Result: a tuple of names, empty when there are no more items.
    """
    return _next(name, count, _keep)


# Numbers in bytes, as a MemoryBlock has them.

# The code of struct and ctypes, the bytes of one, NumPy's name.
_NUMBERS = {
    'double': ('d', 8, 'f8'), 'single': ('f', 4, 'f4'),
    'int8': ('b', 1, 'i1'), 'uint8': ('B', 1, 'u1'),
    'int16': ('h', 2, 'i2'), 'uint16': ('H', 2, 'u2'),
    'int32': ('i', 4, 'i4'), 'uint32': ('I', 4, 'u4'),
    'int64': ('q', 8, 'i8'), 'uint64': ('Q', 8, 'u8'),
}
_WHOLE = set((int, long, bool))
_AT_ONCE = 4096  # of which struct is told by one format


class _Numbers(object):
    """Numbers of one type and byte order."""

    def __init__(self, kind, order):
        try:
            self.code, self.size, numpy_name = _NUMBERS[kind.lower()]
            sign = {'little': '<', 'big': '>'}[order.lower()]
        except (KeyError, AttributeError):
            raise ValueError('numbers are %s; their order little or big' %
                             ', '.join(sorted(_NUMBERS)))
        self.kind = kind
        self.is_swapped = order.lower() != sys.byteorder
        self.numpy_name = sign + numpy_name if self.size > 1 else (
            '|' + numpy_name)
        # The system's own format is faster, but no float is too large to it.
        self.sign = sign if self.is_swapped or self.code == 'f' else '@'
        self.count = None  # of what `struct` is for
        # The array module has none of 64 bits where C's long has not.
        self.array_code = {'q': 'l', 'Q': 'L'}.get(self.code, self.code)
        if array.array(self.array_code).itemsize != self.size:
            self.array_code = None

    def format(self, count):
        if count != self.count:
            self.count = count
            self.struct = struct.Struct('%s%d%s' %
                                        (self.sign, count, self.code))
        return self.struct

    def bytes_of(self, data):
        if isinstance(data, memoryview):
            data = data.tobytes()
        elif isinstance(data, (bytearray, buffer)):
            data = bytes(data)
        elif not isinstance(data, bytes):
            raise TypeError('numbers are read from a str, not from %s' %
                            _type_name(data))
        if len(data) % self.size:
            raise ValueError('%d bytes are no whole number of %s, which have '
                             '%d' % (len(data), self.kind, self.size))
        return data

    def to_array(self, data):
        if not self.array_code:
            raise ValueError('array.array has no %s here; a list has' %
                             self.kind)
        made = array.array(self.array_code, data)
        if self.is_swapped:
            made.byteswap()
        return made

    def to_list(self, data):
        if self.array_code:
            return self.to_array(data).tolist()
        made = []
        for at in xrange(0, len(data), _AT_ONCE * self.size):
            part = data[at:at + _AT_ONCE * self.size]
            made += self.format(len(part) // self.size).unpack(part)
        return made

    def to_numpy(self, data):
        import numpy
        made = numpy.frombuffer(data, dtype=self.numpy_name)
        return made.astype(made.dtype.newbyteorder('='))

    def packed(self, numbers):
        kind = getattr(numbers, 'dtype', None)
        if kind is not None and kind.str == self.numpy_name:
            return numbers.tostring()
        if isinstance(numbers, array.array) and (
                numbers.typecode == self.array_code):
            if self.is_swapped:
                numbers = copy.copy(numbers)
                numbers.byteswap()
            return numbers.tostring()
        if hasattr(numbers, 'tolist'):
            numbers = numbers.tolist()
        elif not isinstance(numbers, (list, tuple)):
            numbers = list(numbers)
        return b''.join(self.packed_part(numbers, at)
                        for at in xrange(0, len(numbers), _AT_ONCE))

    def packed_part(self, numbers, at):
        part = numbers[at:at + _AT_ONCE]
        try:
            return self.pack(part)
        except (struct.error, OverflowError, TypeError):
            # Which of them?
            for i, number in enumerate(part, at):
                try:
                    self.pack((number,))
                except (struct.error, OverflowError, TypeError):
                    raise ValueError('item %d is no %s: %s' %
                                     (i, self.kind, repr(number)[:100]))
            raise

    def pack(self, numbers):
        # By itself struct cuts off what is behind the point.
        if self.code not in 'df' and not set(map(type, numbers)) <= _WHOLE:
            numbers = map(operator.index, numbers)
        return self.format(len(numbers)).pack(*numbers)


def _unpacked(data, kind, order, into):
    numbers = _Numbers(kind, order)
    made_by = {'list': numbers.to_list, 'array': numbers.to_array,
               'numpy': numbers.to_numpy}
    if into not in made_by:
        raise ValueError('numbers are put into a list, array or numpy')
    return made_by[into](numbers.bytes_of(_object(data)))


@_public
def unpack(data, kind, order='little', into='list'):
    """Make numbers of bytes, for Python code.

    data: a str, bytearray, buffer or memoryview.

    kind: "double", "single", "int8", "uint8" and so on to "uint64".

    order: "little", as in a MemoryBlock unless it was told otherwise, or
    "big".

    into: "list"; "array", an ``array.array``, which has no 64 bits on
    Windows and 32-bit systems; "numpy", a NumPy array.

    Result: the list or array itself.  Errors: ValueError for a length that
    is no whole number of these, or for an unknown name; ImportError without
    NumPy.
    """
    return _unpacked(data, kind, order, into)


@_public
def unpack_object(data, kind, order='little', into='list'):
    """Make numbers of bytes, and keep them.

    Arguments and errors: those of unpack().  Result: the name of the list or
    array.
    """
    return _keep(_unpacked(data, kind, order, into))


@_public
def pack(numbers, kind, order='little'):
    """Make bytes of numbers.

    numbers: a list, tuple, array, NumPy array or anything to iterate over,
    or the name of a kept one.  kind and order: those of unpack().

    Result: a str, with which a MemoryBlock can be made.  Errors: ValueError
    for what is no number or does not fit the type, with its place; no
    ``float`` counts as a whole number.
    """
    return _Numbers(kind, order).packed(_object(numbers))


def _at_address(address, kind, count):
    import ctypes
    numbers = _Numbers(kind, sys.byteorder)
    if not address or count < 0:
        raise ValueError('%d numbers at address %d' % (count, address))
    kinds = dict((getattr(ctypes, name)._type_, getattr(ctypes, name))
                 for name in ('c_double', 'c_float', 'c_byte', 'c_ubyte',
                              'c_short', 'c_ushort', 'c_int', 'c_uint'))
    kinds.update(q=ctypes.c_int64, Q=ctypes.c_uint64)
    return (kinds[numbers.code] * count).from_address(address)


@_public
def at_address(address, kind, count):
    """Read and write the host's memory in place, from Python code.

    address: where it begins.  kind: as of unpack().  count: how many numbers
    there are.  The order is the processor's.

    Result: an array of ctypes, without a copy: it must not be used once the
    host has let go of that memory, nor does anything check that.
    Errors: ValueError for no address or an unknown name.
    """
    return _at_address(address, kind, count)


@_public
def at_address_object(address, kind, count):
    """Read and write the host's memory in place, and keep that.

    Arguments and errors: those of at_address().  Result: the name of the
    array; ``release`` it before the memory goes.
    """
    return _keep(_at_address(address, kind, count))


# Source code.

_REMEMBERED_SOURCES = 32


def _compile(source, filename, mode):
    """Compile a source in UTF-8, unless it has a coding line.

    What has no file's name gets one of its own, under which the last few
    sources are remembered for the lines of tracebacks.
    """
    import linecache
    import re
    if isinstance(source, unicode):
        source = source.encode('utf-8')
    if filename is None:
        filename = '<source %d>' % next(_objects.source_numbers)
        lines = source.splitlines(True)
        linecache.cache[filename] = len(source), None, lines, filename
        _objects.sources.append(filename)
        if len(_objects.sources) > _REMEMBERED_SOURCES:
            linecache.cache.pop(_objects.sources.pop(0), None)
    bom = '\xef\xbb\xbf'
    head = source.splitlines()[:2]
    if not source.startswith(bom) and not any(
            re.match(r'[ \t\f]*#.*?coding[:=]', line) for line in head):
        source = bom + source
    return compile(source, filename, mode, 0, True)


def _scope(namespace):
    found = _named(namespace)
    return found if isinstance(found, dict) else vars(found)


def _evaluated(expression, namespace):
    if namespace is None:
        scope = {}
    elif isinstance(namespace, dict):
        scope = _resolved(namespace)
    else:
        scope = _scope(namespace)
    return eval(_compile(expression.strip(), None, 'eval'), scope)


@_public
def evaluate(expression, namespace=None):
    """Evaluate an expression.

    expression: its source, in UTF-8.  namespace: what its names mean: a
    dict, in which the name of a kept object stands for the object; or the
    name of a module, of a kept dict or of what execute() gave; or None, for
    the built-ins only.

    Result: the value.  Errors: SyntaxError and whatever is raised.
    """
    return _value(_evaluated(expression, namespace))


@_public
def evaluate_object(expression, namespace=None):
    """Evaluate an expression and keep the result.

    Arguments and errors: those of evaluate().  Result: its name.
    """
    return _keep(_evaluated(expression, namespace))


def _executed(source, namespace, filename, names):
    code = _compile(source, filename, 'exec')
    if isinstance(namespace, dict):
        namespace.update(_resolved(namespace), **names)
        exec code in namespace
        return None
    name = namespace
    if namespace is None:
        module = types.ModuleType('')
        name = module.__name__ = _keep(module)
    try:
        scope = _scope(name)
        scope.update(names)
        exec code in scope
    except:  # noqa: E722, raised again
        if namespace is None:
            sys.modules.pop(name, None)
        raise
    return name


@_public
def execute(source, namespace=None):
    """Execute statements.

    source: their source, in UTF-8 unless it has a coding line.
    namespace: as for evaluate(), but None for a new, empty module.

    Result: the name of the namespace, for ``GetModule``, evaluate() or
    another execute(); None when it was given as a dict.  Errors:
    SyntaxError and whatever is raised; a new module is then released.
    """
    return _executed(source, namespace, None, {})


@_public
def execute_file(path, namespace=None):
    """Execute a file of source code.

    path: of the file.  namespace: as for execute().  The namespace's
    ``__file__`` is the path.

    Result and errors: those of execute(); IOError.
    """
    with open(path, 'rb') as source:
        return _executed(source.read(), namespace, path, {'__file__': path})


@_public
def run_script(path, arguments=()):
    """Run a file as ``python path arguments...`` would.

    path: of the file, or of a folder or zip file with a ``__main__.py``.
    arguments: a tuple or list of texts, for ``sys.argv``.  ``sys.argv``,
    ``sys.path`` and ``__main__`` are set back afterwards.

    Result: the exit status.  Errors: whatever is raised, but SystemExit.
    """
    import runpy
    import zipfile
    before = vars(sys).get('argv'), sys.path, sys.path[:]
    try:
        sys.argv = [path] + map(_text, _sequence(arguments))
        if not os.path.isdir(path) and not zipfile.is_zipfile(path):
            # Else runpy puts the folder or zip file itself there.
            sys.path.insert(0, os.path.dirname(os.path.abspath(path)))
        runpy.run_path(path, run_name='__main__')
        return 0L
    except SystemExit as end:
        if end.code is None:
            return 0L
        if isinstance(end.code, (int, long)):
            return long(end.code)
        sys.stderr.write(_text(end.code) + '\n')
        return 1L
    finally:
        argv, sys.path, sys.path[:] = before
        if argv is None:
            vars(sys).pop('argv', None)
        else:
            sys.argv = argv


@_public
def set_arguments(arguments):
    """Set ``sys.argv``, which Python code reads as its command line.

    arguments: a tuple or list of texts; the first is the program's name.
    """
    sys.argv = map(_text, _sequence(arguments))


# Jobs.

class Cancelled(BaseException):
    """What ends a cancelled job, through all that catches an Exception."""


class _Job(object):
    """A call on a thread of its own."""

    def __init__(self, target, arguments, keywords):
        import threading
        self.state = 'running'
        self.progress = (0.0, 0.0, '')
        self.printed = collections.deque()
        self.is_cancelled = False
        self.ended = threading.Event()
        self._call = (target, arguments, keywords)
        self._result = None
        self._description = None
        self._lock = threading.Lock()
        self._runs_code = self._is_interrupted = False
        self._thread = threading.Thread(target=self._run)
        # Python would wait for it before anything could cancel it.
        self._thread.daemon = True
        self._thread.start()

    def _run(self):
        number = _thread_number()
        _objects.jobs_by_thread[number] = self
        state = None
        try:
            while True:
                try:
                    if state is None:
                        state = 'cancelled'  # unless it gets further
                        state = self._outcome()
                    with self._lock:
                        self._runs_code = False
                        if self._is_interrupted:
                            _interrupt(number, False)
                    break
                except Cancelled:
                    pass  # too late
        finally:
            del _objects.jobs_by_thread[number]
            self.state = state
            self.ended.set()

    def _outcome(self):
        target, arguments, keywords = self._call
        try:
            with self._lock:
                self._runs_code = True
            if self.is_cancelled:
                raise Cancelled('the job was cancelled before it began')
            self._result = target(*arguments, **keywords)
            return 'done'
        except:  # noqa: E722, whatever it is
            kind, raised, position = sys.exc_info()
            try:
                while position is not None and _here(position):
                    position = position.tb_next
                self._description = _description(kind, raised, position)
                return 'cancelled' if kind is Cancelled else 'failed'
            finally:
                del position, raised

    def cancel(self, at_once):
        self.is_cancelled = True
        if not at_once:
            return
        with self._lock:
            if self._runs_code:
                self._is_interrupted = _interrupt(self._thread.ident, True)

    def is_alive(self):
        """Whether its thread still refers to it: it shall not go there, with
        the last of an object of the host."""
        return self._thread.is_alive()

    def result(self):
        if self.state == 'running':
            raise RuntimeError('the job is still running')
        if self.state == 'done':
            return self._result
        description = self._description or _description(
            Cancelled, Cancelled('the job was cancelled'), None)
        error = Error(description['text'])
        error._description = description
        raise error


class _JobOutput(object):
    """sys.stdout or sys.stderr while jobs run.

    What a job prints waits for the thread that polls: an event of the host
    on another thread is what it does not expect.
    """

    def __init__(self, stream):
        self._stream = stream

    def write(self, written):
        job = _objects.jobs_by_thread.get(_thread_number())
        if job is None:
            self._stream.write(written)
        else:
            job.printed.append((self._stream, written))

    def writelines(self, lines):
        for line in lines:
            self.write(line)

    def __getattr__(self, name):
        return getattr(self._stream, name)


def _interrupt(number, is_wanted):
    """Have Cancelled raised on a thread, within its next hundred steps, or
    not any more; False where Python was built without what that takes.
    """
    try:
        from ctypes import c_long, py_object, pythonapi
    except ImportError:
        return False
    pythonapi.PyThreadState_SetAsyncExc(
        c_long(number), py_object(Cancelled) if is_wanted else None)
    return True


def _thread_number():
    import thread
    return thread.get_ident()


def _collect_output():
    for name in ('stdout', 'stderr'):
        stream = getattr(sys, name, None)
        if stream is not None and not isinstance(stream, _JobOutput):
            setattr(sys, name, _JobOutput(stream))


def _print_collected():
    """Print what jobs have, and give the streams back after the last."""
    for job in _objects.jobs:
        while job.printed:
            stream, written = job.printed.popleft()
            stream.write(written)
    _objects.jobs = [job for job in _objects.jobs if job.is_alive()]
    if _objects.jobs:
        _collect_output()
        return
    for name in ('stdout', 'stderr'):
        stream = getattr(sys, name, None)
        if isinstance(stream, _JobOutput):
            setattr(sys, name, stream._stream)


def _job(name):
    found = _named(name)
    if not isinstance(found, _Job):
        raise TypeError('%s is no job' % _readable(_text(name)))
    return found


@_public
def start_job(target, arguments=(), keywords=None, literal=False):
    """Start a call in the background, on a thread of Python's.

    It runs while Python code does, as a rule in poll_job().  Functions of
    the host are not for it: they would run on its thread.  What it prints is
    printed by poll_job().

    target, arguments, keywords, literal: as for call().

    Result: the name of the job.  Errors: those of call() for the target.
    """
    arguments, keywords = _arguments(arguments, keywords, literal)
    target = _callable(target)
    if not _objects.ends_jobs:
        atexit.register(_end_all)
        _objects.ends_jobs = True
    _collect_output()
    # The lines of errors are read with it; a job would have to import it.
    import traceback  # noqa: F401
    job = _Job(target, arguments, keywords)
    _objects.jobs.append(job)
    return _keep(job)


@_public
def poll_job(job, milliseconds=0):
    """Let jobs run for a while, and tell how far one of them is.

    job: its name.  milliseconds: how long at most; less when it ends.  Code
    that never gives way, one long call into C, keeps the turn longer.

    Result: a dict with the keys "state", which is "running", "done",
    "failed" or "cancelled"; "done", "total", both float, and "text", as
    checkpoint() was told.
    """
    found = _job(job)
    found.ended.wait(milliseconds / 1000.0)
    _print_collected()
    done, total, told = found.progress
    return {'state': found.state, 'done': done, 'total': total, 'text': told}


@_public
def job_result(job):
    """Tell what became of a job.

    Result: its result as a value.  Errors: what the job raised, with the
    traceback; Cancelled; RuntimeError while it is running.
    """
    return _value(_job(job).result())


@_public
def job_result_object(job):
    """Keep the result of a job.

    Result: its name.  Errors: those of job_result().
    """
    return _keep(_job(job).result())


@_public
def cancel_job(job, at_once=False):
    """Ask a job to end: its next checkpoint() raises Cancelled.

    at_once: raise it at the job's next step in Python code, wherever that
    is.  A call into C is not interrupted.  What has ended is left alone.
    """
    _job(job).cancel(at_once)


def _end(seconds):
    """Cancel all jobs, and wait for their end; with None, as long as it takes."""
    import thread
    import threading
    import time
    end = None if seconds is None else time.time() + seconds
    jobs = _objects.jobs
    for job in jobs:
        job.cancel(True)
    for job in jobs:
        while job.is_alive():
            if end is not None and time.time() >= end:
                return
            job.ended.wait(0.05)
            time.sleep(0.001)
    # A thread that has ended in Python still has to leave it.
    for _ in range(200):
        if thread._count() < threading.active_count():
            break
        time.sleep(0.001)


def _end_all():
    _end(None)
    _print_collected()


@_public
def end_jobs(milliseconds):
    """Cancel all jobs at once and wait for their end, before Finalize.

    Result: how many are still running after that time.  Finalize would wait
    for them.
    """
    _end(milliseconds / 1000.0)
    _print_collected()
    return long(len(_objects.jobs))


def checkpoint(done=None, total=None, text=None):
    """Tell how far the job is, and end it here when it is cancelled.

    For Python code; outside of a job it does nothing.

    done, total: numbers; text: what is being done.  None leaves what was
    told before.  Errors: Cancelled.
    """
    job = _objects.jobs_by_thread.get(_thread_number())
    if job is None:
        return
    before = job.progress
    job.progress = (before[0] if done is None else float(done),
                    before[1] if total is None else float(total),
                    before[2] if text is None else _text(text))
    if job.is_cancelled:
        raise Cancelled('the job was cancelled')


# Streams.

class _Stream(object):
    """What Python's own streams have, as far as it means anything here."""

    encoding = 'UTF-8'
    errors = None
    newlines = None
    closed = False

    def __init__(self, name, mode, target):
        self.name = name
        self.mode = mode
        self._target = target

    def isatty(self):
        return False

    def fileno(self):
        import io
        raise io.UnsupportedOperation('fileno')

    def flush(self):
        pass

    def close(self):
        pass


class _Output(_Stream):

    softspace = 0

    def write(self, written):
        if isinstance(written, unicode):
            written = written.encode('utf-8')
        elif not isinstance(written, str):
            raise TypeError('write() takes a text, not ' +
                            _type_name(written))
        self._target(written)

    def writelines(self, lines):
        for line in lines:
            self.write(line)


class _Input(_Stream):

    _rest = ''

    def _more(self):
        """Ask for more; False at the end."""
        line = self._target()
        if line is None:
            return False
        if isinstance(line, unicode):
            line = line.encode('utf-8')
        elif not isinstance(line, str):
            raise TypeError('a line of input is a text, not ' +
                            _type_name(line))
        self._rest += line if line.endswith('\n') else line + '\n'
        return True

    def _take(self, count):
        taken, self._rest = self._rest[:count], self._rest[count:]
        return taken

    def readline(self, size=-1):
        if not self._rest:
            self._more()
        end = self._rest.find('\n') + 1
        return self._take(min(end, size) if size >= 0 else end)

    def read(self, size=-1):
        while (size < 0 or len(self._rest) < size) and self._more():
            pass
        return self._take(size if size >= 0 else len(self._rest))

    def readlines(self, sizehint=-1):
        return list(self)

    def __iter__(self):
        return self

    def next(self):
        line = self.readline()
        if not line:
            raise StopIteration
        return line


def _redirect(name, stream):
    _objects.streams.setdefault(name, getattr(sys, name, None))
    setattr(sys, name, stream)


def _output(name, target):
    if target is None:
        import aview

        def write(written):
            # The console takes no NUL; the symbol for it passes.
            aview.write(written.replace('\0', '\xe2\x90\x80'))
    else:
        write = _callable(target)
    _redirect(name, _Output('<%s>' % name, 'w', write))


@_public
def redirect_output(target=None):
    """Send standard output somewhere, through a stream like Python's own.

    It accepts ``unicode``, which becomes UTF-8, and has ``encoding``,
    ``isatty`` and ``writelines``.

    target: what to call with each text, as for call(), such as the name of
    a function that the host published; None for the console object.
    Errors: TypeError, or what call() says, for no such target.
    """
    _output('stdout', target)


@_public
def redirect_errors(target=None):
    """Send standard error somewhere, and with it what ``warnings`` shows.

    Arguments and errors: those of redirect_output().
    """
    _output('stderr', target)


@_public
def redirect_input(target):
    """Take standard input from a function.

    target: what to call, as for call(), such as the name of a function that
    the host published.  It takes no argument and returns one line, with or
    without its end, or None for the end of input.  Errors: those of
    redirect_output().
    """
    _redirect('stdin', _Input('<stdin>', 'r', _callable(target)))


@_public
def restore_streams():
    """Undo every redirect_output(), redirect_errors() and redirect_input().
    """
    while _objects.streams:
        setattr(sys, *_objects.streams.popitem())


# Python itself.

@_public
def python_info():
    """Tell which Python runs.

    Result: a dict with the keys "version", such as "2.7.18"; "version_info",
    a tuple; "full_version"; "platform"; "executable"; "prefix";
    "exec_prefix"; "path", a tuple of the search path; "environment", the
    active virtual environment or ""; "bits", 32 or 64; "support", the
    version of this module.
    """
    return _value({
        'version': '%d.%d.%d' % sys.version_info[:3],
        'version_info': tuple(sys.version_info),
        'full_version': sys.version,
        'platform': sys.platform,
        'executable': sys.executable or '',
        'prefix': sys.prefix,
        'exec_prefix': sys.exec_prefix,
        'path': sys.path,
        'environment': _objects.environment or '',
        'bits': 64 if sys.maxsize > 2 ** 32 else 32,
        'support': __version__,
    })


@_public
def insert_path(path):
    """Put a folder first on the search path, before Python's own.

    path: of the folder.  If it is on the search path already, it moves.
    """
    sys.path[:] = [path] + [other for other in sys.path if other != path]


_ENVIRONMENT_NAMES = 'prefix', 'exec_prefix', 'real_prefix', 'base_prefix'
_ENVIRONMENT_VARIABLES = 'PATH', 'VIRTUAL_ENV', 'PYTHONHOME'


def _state():
    """Return what a virtual environment changes."""
    return (sys.path[:],
            [(name, vars(sys).get(name)) for name in _ENVIRONMENT_NAMES],
            [(name, os.environ.get(name)) for name in _ENVIRONMENT_VARIABLES])


def _without(old, inside, now):
    """Return the folders `now` as they would be had they never been `inside`.

    What came before or behind those stays there; what has gone stays away.
    """
    known = [folder in inside for folder in now]
    first = known.index(True) if True in known else 0
    back = [folder for folder in old if folder in now or folder not in inside]
    return (now[:first] + back +
            [folder for folder in now[first:]
             if folder not in inside and folder not in back])


def _leave():
    """Undo what entering the active environment changed, and no more."""
    inside, outside, now = _objects.inside, _objects.outside, _state()

    def unchanged(part):
        return [(name, old if new == entered else new)
                for (name, old), (_, entered), (_, new) in
                zip(outside[part], inside[part], now[part])]

    def folders(state):
        path = dict(state[2])['PATH']
        return path.split(os.pathsep) if path else []

    variables = dict(unchanged(2))
    if variables['PATH'] != dict(outside[2])['PATH']:
        variables['PATH'] = os.pathsep.join(
            _without(folders(outside), folders(inside), folders(now)))
    _set_state((_without(outside[0], inside[0], now[0]), unchanged(1),
                variables.items()))
    _objects.environment = None


def _set_state(state):
    path, attributes, variables = state
    sys.path[:] = path
    for name, old in attributes:
        if old is not None:
            setattr(sys, name, old)
        else:
            vars(sys).pop(name, None)
    for name, old in variables:
        if old is not None:
            os.environ[name] = old
        else:
            os.environ.pop(name, None)


def _enter(folder, path):
    """Use a virtual environment that has no script for it.

    path: of its folder, as it was given.
    """
    import site
    version = 'python%d.%d' % sys.version_info[:2]
    packages = [os.path.join(folder, *rest) for rest in (
        ('lib', version, 'site-packages'),
        ('lib64', version, 'site-packages'),
        ('Lib', 'site-packages'))]
    packages = [entry for entry in packages if os.path.isdir(entry)]
    if not packages:
        raise ValueError('%s is no virtual environment for %s' %
                         (path, version))
    before = set(sys.path).difference(packages)
    for entry in packages:
        site.addsitedir(entry)
    sys.path.sort(key=lambda entry: entry in before)
    programs = os.path.join(folder, 'Scripts' if os.name == 'nt' else 'bin')
    os.environ['PATH'] = os.pathsep.join(
        filter(None, [programs, os.environ.get('PATH')]))
    os.environ['VIRTUAL_ENV'] = folder
    os.environ.pop('PYTHONHOME', None)
    sys.real_prefix = sys.prefix
    sys.prefix = sys.exec_prefix = folder


@_public
def activate(path):
    """Use a virtual environment: its packages come first from now on.

    path: of its folder.  Its own ``activate_this.py`` is run where it has
    one.  Another that is active is left first.

    Result: the environment's folder.  Errors: ValueError for a folder that
    is no virtual environment for this version of Python; whatever
    ``activate_this.py`` raises.  Nothing is changed then.
    """
    folder = os.path.abspath(path)
    active = _objects.environment
    before = _state()
    if active is not None:
        _leave()
    outside = _state()
    try:
        for programs in 'bin', 'Scripts':
            script = os.path.join(folder, programs, 'activate_this.py')
            if os.path.isfile(script):
                execfile(script, {'__file__': script, '__name__': 'activate'})
                break
        else:
            _enter(folder, path)
    except:  # noqa: E722, raised again
        _set_state(before)
        _objects.environment = active
        raise
    _objects.environment = folder
    _objects.outside, _objects.inside = outside, _state()
    return folder


@_public
def deactivate():
    """Leave the virtual environment that activate() entered.

    Modules that were imported from it stay imported.

    Result: whether there was one.
    """
    if _objects.environment is None:
        return False
    _leave()
    return True


# Kept with the objects, so that nothing is lost when this module is reloaded.
if _PREFIX[:-1] in sys.modules:
    _objects = sys.modules[_PREFIX[:-1]]
    Error, Cancelled = _objects.Error, _objects.Cancelled
else:
    _objects = _Objects(_PREFIX[:-1], _Objects.__doc__)
    _objects.Error, _objects.Cancelled = Error, Cancelled
    _objects.last_error = _NO_ERROR
    _objects.jobs = []
    _objects.jobs_by_thread = {}
    _objects.ends_jobs = False
    _objects.numbers = itertools.count(1)
    _objects.source_numbers = itertools.count(1)
    _objects.sources = []
    _objects.streams = {}
    _objects.environment = _objects.outside = _objects.inside = None
    sys.modules[_PREFIX[:-1]] = _objects
    sys.modules[_NONE] = None
    # While Python still has all that they need to go.
    atexit.register(release)
